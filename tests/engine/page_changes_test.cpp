#include <gtest/gtest.h>

#include <cstdlib>
#include <cstring>
#include <functional>
#include <string>
#include <vector>

#include "egtb/nalimov/block_cache.h"
#include "engine/page_fixture.h"
#include "support/made_tables.h"

namespace torval {
namespace {

// ---- What a host may do -------------------------------------------------------------------------

TEST_F(PageTest, RefusesWhatAControlIsNotFor) {
    struct Row {
        const char* name;
        std::function<HRESULT(IPropertyPage*)> call;
        HRESULT answer;
    };
    const std::string too_long_path(1025, 'x');
    const Row rows[] = {
        {"margin at its limit", [](auto* p) { return p->SetText(204, "12345"); }, S_OK},
        {"margin beyond it", [](auto* p) { return p->SetText(204, "123456"); }, E_INVALIDARG},
        {"thompson beyond it",
         [](auto* p) { return p->SetText(212, "12345678901234567890"); },
         E_INVALIDARG},
        {"nalimov beyond it",
         [&](auto* p) { return p->SetText(214, too_long_path.c_str()); },
         E_INVALIDARG},
        {"null text", [](auto* p) { return p->SetText(204, nullptr); }, E_POINTER},
        {"text of a box", [](auto* p) { return p->SetText(213, "x"); }, E_INVALIDARG},
        {"text of a list", [](auto* p) { return p->SetText(211, "640 kb"); }, E_INVALIDARG},
        {"text of a label", [](auto* p) { return p->SetText(0, "x"); }, E_INVALIDARG},
        {"no such control", [](auto* p) { return p->SetText(999, "x"); }, E_INVALIDARG},
        {"a control of the other page", [](auto* p) { return p->SetText(205, "1"); }, E_INVALIDARG},
        {"check an edit", [](auto* p) { return p->SetChecked(204, true); }, E_INVALIDARG},
        {"select in an edit", [](auto* p) { return p->Select(204, 0); }, E_INVALIDARG},
        {"select far beyond", [](auto* p) { return p->Select(211, 0xFFFFFFFF); }, E_INVALIDARG},
        {"count nowhere", [](auto* p) { return p->GetControlCount(nullptr); }, E_POINTER},
        {"control nowhere", [](auto* p) { return p->GetControl(0, nullptr); }, E_POINTER},
        {"item nowhere", [](auto* p) { return p->GetItem(211, 0, nullptr); }, E_POINTER},
        {"info nowhere", [](auto* p) { return p->GetPageInfo(nullptr); }, E_POINTER},
        {"control behind the last",
         [](auto* p) {
             ControlInfo info;
             return p->GetControl(7, &info);
         },
         E_INVALIDARG},
    };
    for (const Row& row : rows) {
        Show(CLSID_EngineSettings);
        EXPECT_EQ(row.call(page_.Get()), row.answer) << row.name;
        EXPECT_EQ(page_->IsPageDirty(), row.answer == S_OK ? S_OK : S_FALSE) << row.name;
        EXPECT_EQ(TextOf(204), row.answer == S_OK ? "12345" : "0") << row.name;
    }
}

TEST_F(PageTest, HasNoControlsOutsideAnActivation) {
    std::strcpy(ThompsonPath, "/kept");
    Create(CLSID_EngineSettings);
    const auto expect_none = [&] {
        std::uint32_t count = 0;
        ControlInfo control{};
        const char* text = nullptr;
        EXPECT_EQ(page_->GetControlCount(&count), E_UNEXPECTED);
        EXPECT_EQ(page_->GetControl(0, &control), E_UNEXPECTED);
        EXPECT_EQ(page_->GetItem(211, 0, &text), E_UNEXPECTED);
        EXPECT_EQ(page_->SetText(204, "1"), E_UNEXPECTED);
        EXPECT_EQ(page_->SetChecked(213, true), E_UNEXPECTED);
        EXPECT_EQ(page_->Select(211, 0), E_UNEXPECTED);
        EXPECT_EQ(page_->Apply(), E_UNEXPECTED);
        EXPECT_EQ(page_->Deactivate(), E_UNEXPECTED);
        EXPECT_STREQ(ThompsonPath, "/kept");
    };
    expect_none();
    ASSERT_EQ(page_->Activate(), S_OK);
    EXPECT_EQ(page_->Activate(), E_UNEXPECTED);
    ASSERT_EQ(page_->SetText(212, "/lost"), S_OK);
    ASSERT_EQ(page_->Deactivate(), S_OK);
    expect_none();
    EXPECT_EQ(page_->IsPageDirty(), S_FALSE);
    ASSERT_EQ(page_->Activate(), S_OK);
    EXPECT_EQ(TextOf(212), "/kept");
}

// ---- What makes a page dirty --------------------------------------------------------------------

TEST_F(PageTest, TellsItsSiteOnceWhenItBecomesDirty) {
    struct Row {
        const char* name;
        GUID class_id;
        std::function<HRESULT(IPropertyPage*)> change;
        bool dirty;
    };
    const Row rows[] = {
        {"thread margin", CLSID_EngineSettings, [](auto* p) { return p->SetText(204, "1"); }, true},
        {"thompson", CLSID_EngineSettings, [](auto* p) { return p->SetText(212, "/"); }, true},
        {"nalimov", CLSID_EngineSettings, [](auto* p) { return p->SetText(214, "/"); }, true},
        {"cache size", CLSID_EngineSettings, [](auto* p) { return p->SetText(215, "9"); }, true},
        {"table size", CLSID_EngineSettings, [](auto* p) { return p->Select(211, 1); }, true},
        {"priority alone does not",
         CLSID_EngineSettings,
         [](auto* p) { return p->SetChecked(213, true); },
         false},
        {"confidence", CLSID_BookSettings, [](auto* p) { return p->SetText(210, "1"); }, true},
        {"book margin", CLSID_BookSettings, [](auto* p) { return p->SetText(205, "1"); }, true},
        {"mode 0", CLSID_BookSettings, [](auto* p) { return p->SetChecked(206, true); }, true},
        {"mode 3", CLSID_BookSettings, [](auto* p) { return p->SetChecked(209, true); }, true},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.name);
        const Ref<RecordingPageSite> site = [] {
            Ref<RecordingPageSite> made;
            *made.Receive() = MakeObject<RecordingPageSite>();
            return made;
        }();
        Create(row.class_id);
        ASSERT_EQ(page_->SetPageSite(site.Get()), S_OK);
        ASSERT_EQ(page_->Activate(), S_OK);
        EXPECT_EQ(page_->IsPageDirty(), S_FALSE) << "filling is no change";
        const std::vector<std::uint32_t> once(row.dirty ? 1 : 0, PageStatusDirty);
        const std::vector<std::uint32_t> twice(row.dirty ? 2 : 0, PageStatusDirty);
        EXPECT_TRUE(site->told.empty());
        ASSERT_EQ(row.change(page_.Get()), S_OK);
        ASSERT_EQ(row.change(page_.Get()), S_OK);
        EXPECT_EQ(page_->IsPageDirty(), row.dirty ? S_OK : S_FALSE);
        EXPECT_EQ(site->told, once);
        ASSERT_EQ(page_->Apply(), S_OK);
        EXPECT_EQ(page_->IsPageDirty(), S_FALSE);
        ASSERT_EQ(row.change(page_.Get()), S_OK);
        EXPECT_EQ(site->told, twice) << "after an apply it can become dirty again";
        ASSERT_EQ(page_->SetPageSite(nullptr), S_OK);
    }
}

TEST_F(PageTest, StandsASiteThatCallsBack) {
    Ref<RecordingPageSite> site;
    *site.Receive() = MakeObject<RecordingPageSite>();
    struct Row {
        const char* name;
        std::function<void()> then;
        std::uint32_t margin;
    };
    const Row rows[] = {
        {"applies", [&] { page_->Apply(); }, 5},
        {"deactivates", [&] { page_->Deactivate(); }, 0},
        {"takes itself away", [&] { page_->SetPageSite(nullptr); }, 0},
        {"lets the page go", [&] { page_.Reset(); }, 0},
    };
    for (const Row& row : rows) {
        settings_block.ThreadMargin = 0;
        Show(CLSID_EngineSettings);
        page_->SetPageSite(site.Get());
        site->then = row.then;
        EXPECT_EQ(page_->SetText(204, "5"), S_OK) << row.name;
        EXPECT_EQ(settings_block.ThreadMargin, row.margin) << row.name;
    }
    EXPECT_EQ(site->told.size(), std::size(rows));
    page_.Reset();
    EXPECT_EQ(site->AddRef(), 2U) << "every page has given its reference back";
    site->Release();
}

// ---- The databases' second initialisation -------------------------------------------------------

TEST_F(PageTest, HasTheDatabasesInitialisedAgainAfterWhatConcernsThem) {
    struct Row {
        const char* name;
        std::function<void(IPropertyPage*)> change;
        bool renews;
    };
    const Row rows[] = {
        {"nothing", [](auto*) {}, false},
        {"nalimov path", [](auto* p) { p->SetText(214, "/x"); }, true},
        {"the same nalimov path", [](auto* p) { p->SetText(214, ""); }, true},
        {"other cache size", [](auto* p) { p->SetText(215, "5"); }, true},
        {"the same cache size", [](auto* p) { p->SetText(215, "4"); }, false},
        {"no cache size", [](auto* p) { p->SetText(215, "x"); }, false},
        {"thompson path", [](auto* p) { p->SetText(212, "/x"); }, false},
    };
    for (const Row& row : rows) {
        NalimovPath[0] = 0;
        CacheSizeMB = 4;
        Show(CLSID_EngineSettings);
        row.change(page_.Get());
        EXPECT_FALSE(DatabasesWereRenewed()) << row.name << ": not before Apply";
        ASSERT_EQ(page_->Apply(), S_OK);
        EXPECT_EQ(DatabasesWereRenewed(), row.renews) << row.name;
        ASSERT_EQ(page_->Apply(), S_OK);
        EXPECT_EQ(DatabasesWereRenewed(), row.renews) << row.name << ": a further apply";
        page_->Deactivate();
        page_->Activate();
        ASSERT_EQ(page_->Apply(), S_OK);
        EXPECT_FALSE(DatabasesWereRenewed()) << row.name << ": filling forgets it";
    }
}

TEST_F(PageTest, HandsTheNewPathAndSizeToTheDatabases) {
    const MadeTables tables({"kqk"});
    Show(CLSID_EngineSettings);
    page_->SetText(214, tables.Folder().c_str());
    page_->SetText(215, "2");
    ASSERT_EQ(page_->Apply(), S_OK);
    EXPECT_EQ(MaxTablebaseMen, 3);
    EXPECT_GT(block_cache.slots, 1'000'000 / sizeof(CacheSlot));
    EXPECT_LE(block_cache.slots, 2 * 1024 * 1024 / sizeof(CacheSlot));
}

TEST(EnginePageDeathTest, LeavesTheDatabasesAloneUntilTheEngineHasInitialisedThem) {
    // In a process of its own, where no other test has initialised them.
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    constexpr int kUntouched = -100;
    const auto apply = [] {
        MaxTablebaseMen = kUntouched;
        Ref<IPropertyPage> page;
        const bool applied =
            CreateInstance(CLSID_EngineSettings, IID_IPropertyPage, page.ReceiveVoid()) == S_OK &&
            page->Activate() == S_OK && page->SetText(214, "/x") == S_OK && page->Apply() == S_OK;
        std::_Exit(applied && MaxTablebaseMen == kUntouched ? 0 : 1);
    };
    EXPECT_EXIT(apply(), testing::ExitedWithCode(0), "");
}

}  // namespace
}  // namespace torval
