// A host for tests of the engine object: it records the callbacks in order, and can act within
// them.
#pragma once

#include <gtest/gtest.h>

#include <functional>
#include <string>
#include <vector>

#include "engine/engine_thread.h"
#include "state/flags.h"
#include "torval/apartment.h"
#include "torval/library.h"
#include "torval/object.h"

namespace torval {

using for_tests::live_objects;

class RecordingSite final : public Object<RecordingSite, IChessEngineSite> {
public:
    void* FindInterface(const GUID& iid) {
        const bool known = iid == IID_IUnknown || iid == IID_IChessEngineSite;
        return known ? static_cast<IChessEngineSite*>(this) : nullptr;
    }
    HRESULT OutputMove(W_BOARD* ev) override {
        return Note("move " + std::to_string(ev->Mask) + " ply " + std::to_string(ev->brd.ply_no));
    }
    HRESULT OutputNextMove(std::int32_t, std::int32_t, EVAR) override { return Note("next"); }
    HRESULT OutputClocks(CLOCKS* clocks) override {
        return Note("clocks " + std::to_string(clocks->Command));
    }
    HRESULT OutputMainVar(MAINVAR* line) override {
        if (line->iCommand == 4) finals.push_back(*line);
        return Note("line " + std::to_string(line->iCommand));
    }
    HRESULT OutputProgress(B_STATS*, std::uint16_t) override { return Note("progress"); }
    HRESULT OutputMsgBook(const char*) override { return Note("book text"); }
    HRESULT OutputMsg(std::int32_t id, std::int32_t p1, std::int32_t, const char* txt) override {
        return Note("message " + std::to_string(id) + " " + std::to_string(p1) + " " + txt);
    }

    /// How often a note begins with the text.
    int Count(const std::string& start) const {
        int count = 0;
        for (const std::string& note : notes) count += note.starts_with(start) ? 1 : 0;
        return count;
    }

    std::vector<std::string> notes;
    std::vector<MAINVAR> finals;
    std::function<void(const std::string&)> on_note;  ///< what the host does in a callback
    ThreadId thread = CurrentThread();

private:
    HRESULT Note(const std::string& note) {
        EXPECT_EQ(CurrentThread(), thread) << "a callback arrived on another thread: " << note;
        notes.push_back(note);
        if (on_note) on_note(note);
        return S_OK;
    }
};

/// A started engine with every notification on; at the end nothing of it may remain.
class ComponentTest : public testing::Test {
protected:
    ComponentTest() {
        EnterApartment();
        objects_ = live_objects;
        Create();
    }
    ~ComponentTest() override {
        Destroy();
        EXPECT_EQ(live_objects, objects_) << "a reference was kept";
        LeaveApartment();
    }

    void Create(bool start = true) {
        ASSERT_EQ(CreateInstance("TORVAL.Engine", IID_IChessEngine2, engine.ReceiveVoid()), S_OK);
        Ref<IPersistStreamInit> settings;
        ASSERT_EQ(engine->QueryInterface(IID_IPersistStreamInit, settings.ReceiveVoid()), S_OK);
        ASSERT_EQ(settings->InitNew(), S_OK);
        *site.Receive() = MakeObject<RecordingSite>();
        engine->put_EventMask(kAllEvents);
        if (!start) return;
        ASSERT_EQ(engine->Start(site.Get()), S_OK);
        PumpUntil([this] { return site->Count("message 50") == 1; });
        engine->NewGame();
        PutLevel(0, 3);
        site->notes.clear();
    }
    void Destroy() {
        if (engine) engine->Stop();
        engine.Reset();
        site.Reset();
        EngineFlags = 0;
    }
    void PutLevel(std::uint16_t mode, std::int16_t depth) {
        LEVEL level;
        engine->get_LEVEL(&level);
        level.mode = mode;
        level.depth1 = depth;
        ASSERT_EQ(engine->put_LEVEL(&level), S_OK);
    }
    HRESULT Play(const char* text) {
        MOVES moves;
        return engine->DoMove(text, &moves);
    }
    /// Dispatches messages until the condition holds; fails loudly when it never does.
    void PumpUntil(const std::function<bool()>& condition) {
        constexpr int kPatience = 600;
        for (int i = 0; i < kPatience && !condition(); ++i) {
            WaitForMessage(100);
            PumpMessages();
        }
        ASSERT_TRUE(condition()) << "waited in vain";
    }

    static constexpr std::uint32_t kAllEvents = 31 + EventPondering;
    Ref<IChessEngine2> engine;
    Ref<RecordingSite> site;

private:
    int objects_ = 0;
};

}  // namespace torval
