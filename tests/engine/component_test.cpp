#include <array>
#include <random>
#include <thread>

#include "board/piece.h"
#include "engine/component_fixture.h"
#include "game/game.h"

namespace torval {

namespace {

TEST_F(ComponentTest, AnswersForEachOfItsInterfacesAndNoOther) {
    for (const GUID& iid : {IID_IUnknown,
                            IID_IChessEngine,
                            IID_IChessEngine2,
                            IID_IChessBook,
                            IID_IPersistStreamInit,
                            IID_ISpecifyPropertyPages}) {
        Ref<IUnknown> found;
        EXPECT_EQ(engine->QueryInterface(iid, found.ReceiveVoid()), S_OK);
        Ref<IUnknown> identity;
        EXPECT_EQ(found->QueryInterface(IID_IUnknown, identity.ReceiveVoid()), S_OK);
        EXPECT_EQ(identity.Get(), static_cast<IUnknown*>(engine.Get()));
    }
    Ref<IUnknown> none;
    EXPECT_EQ(engine->QueryInterface(IID_IStream, none.ReceiveVoid()), E_NOINTERFACE);
}

TEST_F(ComponentTest, PlaysAndTellsTheHostInOrder) {
    EXPECT_EQ(Play("e4"), S_OK);
    EXPECT_EQ(engine->StartComputerMove(0), S_OK);
    EXPECT_EQ(engine->IsThinking(), S_OK);
    PumpUntil([this] { return !site->finals.empty(); });
    EXPECT_EQ(engine->IsThinking(), S_FALSE);
    ASSERT_EQ(site->finals.size(), 1U);
    EXPECT_GE(site->finals[0].vlen, 1);
    // On a busy machine the clock may tick before the move is made.
    std::erase(site->notes, "clocks 1");
    EXPECT_EQ(site->notes[0], "clocks 3");
    EXPECT_EQ(site->notes[1], "move 3 ply 1");
    EXPECT_EQ(site->notes.back(), "line 4");
    EXPECT_GT(site->Count("next"), 0);
    EXPECT_GT(site->Count("line 1"), 0);
    site->notes.clear();
    EXPECT_EQ(engine->MoveBack(0), S_OK);
    EXPECT_EQ(site->notes, (std::vector<std::string>{"move 1 ply 0", "clocks 3"}));
}

TEST_F(ComponentTest, SendsOnlyTheFinalResultWithoutAMask) {
    engine->put_EventMask(0);
    engine->StartComputerMove(0);
    PumpUntil([this] { return !site->finals.empty(); });
    EXPECT_EQ(site->notes, std::vector<std::string>{"line 4"});
}

TEST_F(ComponentTest, SendsPonderLinesOnlyWhenTheyAreAskedFor) {
    for (const bool asked : {false, true}) {
        engine->NewGame();
        site->notes.clear();
        engine->put_EventMask(EventMainVar | (asked ? EventPondering : 0U));
        PutLevel(0, 4);
        ASSERT_EQ(engine->StartPondering(0), S_OK);
        EXPECT_EQ(engine->StartPondering(0), S_FALSE) << "while one runs";
        EXPECT_EQ(engine->MoveNow(), 14);
        EVAR expected;
        PumpUntil([&] { return engine->GetHint(&expected) == S_OK; });
        EXPECT_EQ(engine->StopComputing(true), S_OK);
        EXPECT_EQ(site->Count("line 2") > 0, asked);
        EXPECT_TRUE(site->finals.empty());
    }
}

TEST_F(ComponentTest, RefusesWhatWouldDisturbItsOwnMove) {
    PutLevel(6, 0);
    engine->StartComputerMove(0);
    PumpUntil([this] { return engine->IsCptrmv() == S_OK; });
    CHSBRD before;
    engine->get_Position(&before);
    LEVEL level;
    CLOCKS clocks{};
    EVAR move;
    engine->get_LEVEL(&level);
    W_BOOKMOVES book;
    EXPECT_EQ(Play("e4"), 6);
    EXPECT_EQ(engine->put_Position(&before), 6);
    EXPECT_EQ(engine->MoveBack(1), 6);
    EXPECT_EQ(engine->put_LEVEL(&level), 6);
    EXPECT_EQ(engine->put_CLOCKS(&clocks), 6);
    EXPECT_EQ(engine->StartComputerMove(0), 6);
    EXPECT_EQ(engine->StartPondering(1), 6);
    EXPECT_EQ(engine->GetHint(&move), 6);
    EXPECT_EQ(engine->DoNextBestMove(&move), 6);
    EXPECT_EQ(engine->AddBookMoves(0, 1, 0, 0), 6);
    EXPECT_EQ(engine->GetBookMoves(&book), S_OK);
    EXPECT_EQ(book.iStatus, 6);
    EXPECT_EQ(engine->StartGame(), 13);
    EXPECT_EQ(engine->StopComputing(true), S_OK);
    PumpUntil([this] { return !site->finals.empty(); });
    EXPECT_EQ(site->finals[0].vlen, 0) << "stopped without a result";
    EXPECT_EQ(engine->IsCptrmv(), S_FALSE);
}

TEST_F(ComponentTest, GivesItsBestMoveNow) {
    PutLevel(6, 0);
    engine->StartComputerMove(0);
    PumpUntil([this] {
        if (site->Count("line 1") > 0) engine->MoveNow();
        return !site->finals.empty();
    });
    EXPECT_GE(site->finals[0].vlen, 1);
}

TEST_F(ComponentTest, LeavesOutTheMovesOfASkipList) {
    CHSBRD corner{};
    corner.board[0] = 22;   // white king a1
    corner.board[63] = 14;  // black king h8
    corner.castle = 0x77;
    ASSERT_EQ(engine->put_Position(&corner), S_OK);
    const std::array<EVAR, 2> skip = {EVAR{0x00, 0x01, 6, 0}, EVAR{0x00, 0x10, 6, 0}};
    engine->StartComputerMove2(2, skip.data());
    PumpUntil([this] { return !site->finals.empty(); });
    EXPECT_EQ(site->finals[0].bstvar[0].to, 0x11);
}

/// Plays the fool's mate and asks the mated side to move.
TEST_F(ComponentTest, EndsAGameByMate) {
    for (const char* move : {"f3", "e5", "g4", "Qh4"}) EXPECT_EQ(Play(move), S_OK);
    EXPECT_EQ(site->Count("message 6 0"), 1);
    EXPECT_EQ(engine->StartGame(), S_OK) << "no game runs any more";
    engine->StartComputerMove(0);
    PumpUntil([this] { return !site->finals.empty(); });
    EXPECT_EQ(site->finals[0].vlen, 0);
    EXPECT_EQ(site->Count("message 7"), 0) << "mate is no stalemate";
}

/// The last move is gone although there was nothing to put in its place.
TEST_F(ComponentTest, ShowsTheTakeBackOfAnAlternativeThatCannotBePlayed) {
    ASSERT_EQ(Play("e4"), S_OK);
    constexpr EVAR kE4 = {0x14, 0x34, 1, 0};
    constexpr EVAR kNotLegal = {0x00, 0x70, 4, 0};
    next_best_list = {{kE4, kNotLegal}, {}, 2, 0};
    EVAR move;
    EXPECT_EQ(engine->DoNextBestMove(&move), 20);
    CHSBRD board;
    std::uint16_t color = 1;
    EXPECT_EQ(engine->get_Position(&board), S_OK);
    EXPECT_EQ(engine->get_PlayColor(&color), S_OK);
    EXPECT_EQ(board.ply_no, 0);
    EXPECT_EQ(board.color, White);
    EXPECT_EQ(board.board[12], 0x11) << "the pawn is back on e2";
    EXPECT_EQ(color, White);
    EXPECT_EQ(Play("d4"), S_OK);
}

TEST_F(ComponentTest, StartsOnOneThreadOnly) {
    std::thread([this] {
        EnterApartment();
        {
            Ref<IChessEngine2> second;
            Ref<IPersistStreamInit> settings;
            CreateInstance("TORVAL.Engine", IID_IChessEngine2, second.ReceiveVoid());
            second->QueryInterface(IID_IPersistStreamInit, settings.ReceiveVoid());
            settings->InitNew();
            EXPECT_EQ(second->Start(site.Get()), RPC_E_WRONG_THREAD);
        }
        LeaveApartment();
    }).join();
    PutLevel(0, 3);
    engine->StartComputerMove(0);
    PumpUntil([this] { return !site->finals.empty(); });
    EXPECT_GE(site->finals[0].vlen, 1) << "the first thread is still served";
}

/// Cases that no game covers, by method: a null pointer, and the simple answer.
TEST_F(ComponentTest, AnswersTheQuietMethods) {
    Ref<IChessBook> book;
    Ref<IPersistStreamInit> settings;
    engine->QueryInterface(IID_IChessBook, book.ReceiveVoid());
    engine->QueryInterface(IID_IPersistStreamInit, settings.ReceiveVoid());
    W_INFO info = {};
    info.memtype = 77;
    std::uint32_t mask = 0;
    std::uint32_t version = 5;
    std::uint64_t size = 0;
    GUID id = {};
    char text[] = "text";
    char* position_text = text;
    EVAR move;
    struct Case {
        const char* method;
        HRESULT answer;
        HRESULT expected;
    };
    for (const Case& c : {
             Case{"GetInfo(null)", engine->GetInfo(nullptr), E_POINTER},
             Case{"GetInfo", engine->GetInfo(&info), S_OK},
             Case{"get_PlayColor(null)", engine->get_PlayColor(nullptr), E_POINTER},
             Case{"get_EventMask(null)", engine->get_EventMask(nullptr), E_POINTER},
             Case{"get_EventMask", engine->get_EventMask(&mask), S_OK},
             Case{"GetClassID(null)", settings->GetClassID(nullptr), E_POINTER},
             Case{"GetClassID", settings->GetClassID(&id), S_OK},
             Case{"GetSizeMax(null)", settings->GetSizeMax(nullptr), E_POINTER},
             Case{"GetSizeMax", settings->GetSizeMax(&size), S_OK},
             Case{"GetBookVersion(null)", book->GetBookVersion(nullptr), E_POINTER},
             Case{"GetBookVersion", book->GetBookVersion(&version), S_OK},
             Case{"CreateBook", engine->CreateBook("a", "b"), E_NOTIMPL},
             Case{"CreateBook of the book", book->CreateBook("a", "b", 0), E_NOTIMPL},
             Case{"put_BookPositionText", engine->put_BookPositionText("a"), E_NOINTERFACE},
             Case{"get_BookPositionText", engine->get_BookPositionText(&position_text), S_FALSE},
             Case{"get_BookPositionText(null)", engine->get_BookPositionText(nullptr), E_POINTER},
             Case{"IsPondering", engine->IsPondering(), S_FALSE},
             Case{"DoNextBestMove(null)", engine->DoNextBestMove(nullptr), E_POINTER},
             Case{"DoNextBestMove", engine->DoNextBestMove(&move), 20},
         }) {
        EXPECT_EQ(c.answer, c.expected) << c.method;
    }
    EXPECT_EQ(info.Revision[0], 5);
    EXPECT_EQ(info.transp, 255);
    EXPECT_EQ(info.memtype, 77) << "left as it was";
    EXPECT_EQ(info.PawnValue, 128);
    EXPECT_EQ(info.MateValue, 10000);
    EXPECT_STREQ(reinterpret_cast<const char*>(info.MainBook), "TORVAL.BK1");
    EXPECT_EQ(mask, kAllEvents);
    EXPECT_EQ(id, CLSID_CChessEngine);
    EXPECT_EQ(size, 1678U) << "with the longest path";
    EXPECT_EQ(version, 0U);
    EXPECT_EQ(position_text, nullptr);
    PutLevel(6, 0);
    engine->StartPondering(1);
    EXPECT_EQ(engine->IsPondering(), S_OK);
    engine->StopComputing(true);
}

/// Random commands against what the flags must say after each.
TEST_F(ComponentTest, KeepsItsStateUnderRandomCommands) {
#if defined(__SANITIZE_THREAD__) || defined(__SANITIZE_ADDRESS__)
    constexpr int kCommands = 150;
#else
    constexpr int kCommands = 600;
#endif
    std::mt19937 random(20261122);
    std::size_t started = 0;
    PutLevel(6, 0);
    for (int i = 0; i < kCommands; ++i) {
        switch (random() % 9) {
            case 0: {
                const HRESULT result = engine->StartComputerMove(0);
                EXPECT_TRUE(result == S_OK || result == 6) << result;
                if (result == S_OK) ++started;
                break;
            }
            case 1: {
                const HRESULT result = engine->StartPondering(0);
                // Right after a final result the thread may still be returning from the callback.
                EXPECT_TRUE(result == S_OK || result == S_FALSE || result == 6);
                break;
            }
            case 2:
                EXPECT_EQ(engine->StopComputing(true), S_OK);
                EXPECT_EQ(engine->IsThinking(), S_FALSE);
                EXPECT_EQ(engine->IsCptrmv(), S_FALSE);
                break;
            case 3: engine->StopComputing(false); break;
            case 4: engine->MoveNow(); break;
            case 5: {
                const HRESULT result = engine->MoveBack(1);
                EXPECT_TRUE(result == S_OK || result == 11 || result == 6) << result;
                break;
            }
            case 6:
                EXPECT_EQ(engine->NewGame(), S_OK);
                EXPECT_EQ(engine->IsThinking(), S_FALSE);
                break;
            case 7: {
                const HRESULT result = Play(random() % 2 ? "e4" : "Nf3");
                EXPECT_TRUE(result == S_OK || result == 6 || result == 8) << result;
                break;
            }
            default: {
                CHSBRD board;
                CLOCKS clocks;
                EVAR move;
                std::uint16_t completion = 0;
                B_STATS stats;
                EXPECT_EQ(engine->get_Position(&board), S_OK);
                EXPECT_EQ(engine->get_CLOCKS(&clocks), S_OK);
                EXPECT_EQ(engine->GetProgress(&stats, &completion), S_OK);
                engine->GetHint(&move);
                break;
            }
        }
        PumpMessages();
    }
    EXPECT_EQ(engine->StopComputing(true), S_OK);
    PumpUntil([&] { return site->finals.size() == started; });
    EXPECT_FALSE(AnyFlag(FlagBusy | FlagAbort | FlagMoveNow | FlagEngineToMove));
}

}  // namespace

}  // namespace torval
