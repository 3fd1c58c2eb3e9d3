#include "search/move_picker.h"

#include <algorithm>
#include <map>

#include "board/attack.h"
#include "search/engine_test.h"

namespace torval {

namespace {

constexpr int kMvvLva[6][7] = {{0, 0, 0, 0, 0, 0, 0},
                               {0, 5, -4, -5, -15, -35, -4},
                               {0, 23, 14, 13, 3, -17, 14},
                               {0, 25, 16, 15, 5, -15, 16},
                               {0, 45, 36, 35, 25, 5, 36},
                               {0, 85, 76, 75, 65, 45, 75}};

/// A plain picker over the two chains of a generated list.
class SlowPicker {
public:
    SlowPicker(std::vector<Move> quiets, std::vector<Move> captures, int ply, TableMove hash)
        : quiets_(std::move(quiets)), captures_(std::move(captures)), ply_(ply), hash_(hash) {}

    std::vector<Move> Order(const Stage* stage) {
        for (; *stage != StageEnd; ++stage) Run(*stage);
        return handed_out_;
    }

private:
    template <typename Wanted>
    bool Take(std::vector<Move>* list, Wanted wanted) {
        const auto found = std::find_if(list->begin(), list->end(), wanted);
        if (found == list->end()) return false;
        handed_out_.push_back(*found);
        list->erase(found);
        return true;
    }

    void TakeCandidate(Move c) {
        Take(c.capture ? &captures_ : &quiets_, [c](Move m) {
            return m.from == c.from && m.to == c.to && (c.flags == 0 || m.flags == c.flags);
        });
    }

    void TakePacked(TableMove packed, bool captures_only) {
        Move c = {static_cast<Square>(packed & 255), static_cast<Square>(packed >> 8), 0, 0};
        if (packed == 0 || position.Board[c.from] == 0) return;
        if (c.to & 0x80) {
            c.flags = static_cast<std::uint8_t>((c.to & 0x70) | 1);
            c.to = static_cast<Square>((c.to & 7) + (c.from >= 0x20 ? 0x70 : 0));
        }
        c.capture = position.Board[c.to];
        if (c.capture || !captures_only) TakeCandidate(c);
    }

    void TakeRootLine(bool captures_only) {
        const Move c = ply_ < 16 ? LineTable[0][static_cast<unsigned>(ply_)] : Move{};
        if (IsEmpty(c)) think_controller.FollowLineFlag = false;
        if (think_controller.FollowLineFlag && (c.capture || !captures_only)) TakeCandidate(c);
    }

    static int Value(Move m) { return kMvvLva[m.capture & 7][m.flags & 7]; }

    static std::int32_t Key(Move m) {
        const int from = (m.from & 7) + 8 * (m.from >> 4);
        const int to = (m.to & 7) + 8 * (m.to >> 4);
        const int index = to * 256 + position.SideToMove * 64 + from;
        return static_cast<std::int32_t>(static_cast<std::uint32_t>(Value(m) * 2048) +
                                         HistoryTable[static_cast<unsigned>(index)]);
    }

    void Run(Stage stage) {
        const Killers& killers = KillerTable[static_cast<unsigned>(ply_)];
        switch (stage) {
            case StageRootLine: return TakeRootLine(false);
            case StageRootLineCapture: return TakeRootLine(true);
            case StageHashMove: return TakePacked(hash_, false);
            case StageNewestKiller: return TakePacked(killers.newest, false);
            case StageOlderKiller: return TakePacked(killers.older, false);
            case StageNewestKillerCapture: return TakePacked(killers.newest, true);
            case StageOlderKillerCapture: return TakePacked(killers.older, true);
            case StageRecapture: {
                const Square target = game_record.top->move.to & 0x77;
                Take(&captures_, [target](Move m) { return m.to == target; });
                return;
            }
            case StagePromotions: {
                const auto promotes = [](Move m) { return (m.flags & 0x70) != 0; };
                while (Take(&captures_, promotes) || Take(&quiets_, promotes)) continue;
                return;
            }
            case StageCaptures:
                while (!captures_.empty()) {
                    const auto best =
                        std::max_element(captures_.begin(), captures_.end(), [](Move a, Move b) {
                            return Value(a) < Value(b);
                        });
                    const Move move = *best;
                    Take(&captures_, [move](Move m) { return m == move; });
                }
                return;
            case StageSort:
                quiets_.insert(quiets_.begin(), captures_.begin(), captures_.end());
                std::stable_sort(
                    quiets_.begin(), quiets_.end(), [](Move a, Move b) { return Key(a) > Key(b); });
                return;
            case StageRemaining:
                while (Take(&quiets_, [](Move) { return true; })) continue;
                return;
            case StageChecks:
                for (const Move move : quiets_) {
                    MakeMove(move);
                    const bool checks = InCheck(position.SideToMove);
                    UnmakeMove();
                    if (checks) handed_out_.push_back(move);
                }
                return;
            default: FAIL();
        }
    }

    std::vector<Move> quiets_, captures_, handed_out_;
    int ply_;
    TableMove hash_;
};

template <Side Us>
std::vector<Move> PickAll(const Stage* stages, int ply, TableMove hash, bool in_check) {
    auto& moves = node_moves[static_cast<unsigned>(ply)];
    CollectCaptures<Us>(&moves);
    const KingView view = ViewKings<Us>(in_check);
    MovePicker<Us> picker(&moves, view, stages, hash, ply);
    std::vector<Move> picked;
    for (Move move; picker.NextMove(&move);) picked.push_back(move);
    return picked;
}

std::vector<Move> LegalOf(const std::vector<Move>& moves) {
    std::vector<Move> legal;
    for (const Move move : moves) {
        MakeMove(move);
        if (!InCheck(position.SideToMove ^ 1)) legal.push_back(move);
        UnmakeMove();
    }
    return legal;
}

class MovePickerTest : public EngineTest {
protected:
    /// A move that is there, one that is not, or none.
    static Move Candidate(TestRandom* random, const std::vector<Move>& moves) {
        const int choice = random->Below(4);
        if (choice == 0 || moves.empty()) return {};
        if (choice == 1) {
            return {SquareAt(random->Below(64)),
                    SquareAt(random->Below(64)),
                    static_cast<std::uint8_t>(random->Below(3) ? 0 : 0x51),
                    static_cast<std::uint8_t>(random->Below(2) ? 0 : CodeOf(Black, Pawn))};
        }
        return moves[static_cast<unsigned>(random->Below(static_cast<int>(moves.size())))];
    }

    /// All four stage lists against the plain picker, with random hints.
    static void Compare(TestRandom* random) {
        const bool in_check = InCheck(position.SideToMove);
        const int ply = random->Below(20);
        const bool follow = random->Below(2) != 0;
        const MoveList& list = GenerateMoves();
        const std::vector<Move> quiets = MovesOf(list.quiet_head);
        const std::vector<Move> captures = MovesOf(list.capture_head);
        ReleaseMoves(list);
        std::vector<Move> all = captures;
        all.insert(all.end(), quiets.begin(), quiets.end());
        if (std::ranges::any_of(all, [](Move m) { return TypeOf(m.capture) == King; })) return;
        const TableMove hash = PackMove(Candidate(random, all));
        KillerTable[static_cast<unsigned>(ply)] = {PackMove(Candidate(random, all)),
                                                   PackMove(Candidate(random, all))};
        LineTable[0] = {};
        LineTable[0][static_cast<unsigned>(ply)] = Candidate(random, all);
        for (std::uint32_t& counter : HistoryTable) {
            counter = static_cast<std::uint32_t>(random->Below(3) ? random->Below(4) << 12 : 0);
        }
        HistoryTable[static_cast<unsigned>(random->Below(16384))] = 0x80000000U;
        const auto lists = position.PieceList;
        const auto places = position.PieceIndex;
        for (const Stage* stages :
             {kFullWidthStages, kEvasionStages, kCheckingStages, kCaptureStages}) {
            if (stages == kEvasionStages ? !in_check : in_check && stages != kFullWidthStages) {
                continue;
            }
            // Making moves reorders the piece lists, and with them the moves.
            position.PieceList = lists;
            position.PieceIndex = places;
            think_controller.FollowLineFlag = follow;
            const std::vector<Move> picked = position.SideToMove == White
                                                 ? PickAll<White>(stages, ply, hash, in_check)
                                                 : PickAll<Black>(stages, ply, hash, in_check);
            const bool follow_after = think_controller.FollowLineFlag;
            think_controller.FollowLineFlag = follow;
            const std::vector<Move> expected =
                SlowPicker(quiets, captures, ply, hash).Order(stages);
            ASSERT_EQ(LegalOf(picked), LegalOf(expected));
            ASSERT_EQ(follow_after, think_controller.FollowLineFlag);
            if (stages != kFullWidthStages) continue;
            std::vector<std::string> once, every;
            for (const Move move : LegalOf(picked)) once.push_back(Hex(move));
            for (const Move move : LegalOf(all)) every.push_back(Hex(move));
            std::ranges::sort(once);
            std::ranges::sort(every);
            ASSERT_EQ(once, every) << "each move exactly once";
        }
    }

    static void CompareAlongGames(TestRandom* random, int rounds) {
        for (int round = 0; round < rounds && !HasFatalFailure(); ++round) {
            if (round % 2 == 0) {
                NewGame();
            } else {
                ASSERT_EQ(SetPosition(RandomBoard(random, 14)), StatusOk);
            }
            for (int ply = 0; ply < 80 && PlayRandomMove(random) && !HasFatalFailure(); ++ply) {
                Compare(random);
            }
        }
    }
};

class SlowMovePickerTest : public MovePickerTest {};

TEST_F(MovePickerTest, HandsOutTheMovesOfAPlainPicker) {
    TestRandom random;
    CompareAlongGames(&random, Rounds(150));
}

TEST_F(SlowMovePickerTest, HandsOutTheMovesOfAPlainPicker) {
    TestRandom random(1);
    CompareAlongGames(&random, Rounds(5000));
}

TEST_F(MovePickerTest, FindsHintsByWhatStandsOnTheBoardNow) {
    struct Row {
        const char* reason;
        const char* fen;
        Move hash, newest, older;
        std::vector<std::string> first;
    };
    for (const Row& row : {Row{"a promotion as hash move is that promotion only",
                               "3r3k/4P3/8/8/8/8/8/K7 w - - 0 1",
                               {0x64, 0x73, 0x41, CodeOf(Black, Rook)},
                               {},
                               {},
                               {"6473414c", "6473514c"}},
                           Row{"a quiet killer captures here, the older first",
                               "7k/8/8/3p4/8/2N5/8/K7 w - - 0 1",
                               {},
                               {0x22, 0x43, Knight, 0},
                               {0x22, 0x41, Knight, 0},
                               {"22410200", "22430209"}},
                           Row{"a hint that is no move yields nothing",
                               "7k/8/8/3r4/8/2N5/8/K7 w - - 0 1",
                               {0x34, 0x44, Pawn, 0},
                               {0x43, 0x33, Pawn, 0},
                               {0x22, 0x33, Knight, 0},
                               {"2243024c"}}}) {
        SetUpPosition(row.fen);
        KillerTable[0] = {PackMove(row.newest), PackMove(row.older)};
        const std::vector<Move> picked =
            PickAll<White>(kFullWidthStages, 0, PackMove(row.hash), false);
        ASSERT_GE(picked.size(), row.first.size());
        for (std::size_t i = 0; i < row.first.size(); ++i) {
            EXPECT_EQ(Hex(picked[i]), row.first[i]) << row.reason;
        }
    }
}

TEST_F(MovePickerTest, LearnsKillersAndHistory) {
    UpdateKillers(3, 0x1111);
    UpdateKillers(3, 0x2222);
    EXPECT_EQ(KillerTable[3].newest, 0x2222);
    EXPECT_EQ(KillerTable[3].older, 0x1111);
    UpdateKillers(3, 0x2222);
    EXPECT_EQ(KillerTable[3].older, 0x2222) << "twice the same fills both";
    EXPECT_EQ(KillerTable[2].newest, 0);
    struct Row {
        int depth;
        std::uint32_t credit;
    };
    for (const Row& row :
         {Row{1, 32}, Row{0, 16}, Row{-3, 2}, Row{-4, 1}, Row{-9, 1}, Row{6, 1024}}) {
        ClearHeuristics();
        // g1f3: from 6 to 21.
        CreditHistory<White>({0x06, 0x25, Knight, 0}, row.depth);
        EXPECT_EQ(HistoryTable[21 * 256 + 6], row.credit) << row.depth;
        CreditHistory<Black>({0x06, 0x25, Knight, 0}, row.depth);
        EXPECT_EQ(HistoryTable[21 * 256 + 64 + 6], row.credit) << row.depth;
    }
    EXPECT_EQ(OrderKey(85, 7), 174087);
    EXPECT_EQ(OrderKey(-35, 0), -71680);
    EXPECT_LT(OrderKey(0, 0x80000000U), OrderKey(0, 0)) << "counters compare as signed";
}

Line Row(std::initializer_list<int> squares) {
    Line line{};
    std::size_t i = 0;
    for (const int square : squares) line[i++] = {static_cast<Square>(square), 1, Pawn, 0};
    return line;
}

TEST_F(MovePickerTest, KeepsLinesAsFarAsTheirRowsReach) {
    const Move move = {0x77, 1, King, 0};
    LineTable[3] = Row({1, 2, 3});
    LineTable[2] = Row({9, 9, 9, 9, 9, 9});
    UpdateLine(2, move);
    Line expected = Row({0x77, 1, 2, 3, 0, 9});
    expected[0] = move;
    expected[4] = {};
    EXPECT_EQ(LineTable[2], expected) << "up to and with the empty move";
    LineTable[13].fill(move);
    LineTable[12] = {};
    UpdateLine(12, {0x10, 1, Pawn, 0});
    EXPECT_EQ(LineTable[12][3], move);
    EXPECT_TRUE(IsEmpty(LineTable[12][4])) << "16 - ply moves";
    LineTable[0] = Row({1, 2, 3, 4});
    ShiftLines();
    EXPECT_EQ(LineTable[0], Row({3, 4}));
}

TEST_F(MovePickerTest, RemembersEightyRootLines) {
    ClearRootLineStore();
    const auto root_move = [](int i) {
        return Move{SquareAt(i % 64), SquareAt(63 - i / 64), Queen, 0};
    };
    ClearRootLineStore();
    for (int i = 0; i < kRootLines; ++i) {
        const Line line = Row({i, i, i});
        StoreRootLine(root_move(i), line.data());
    }
    const Line shorter = Row({5});
    StoreRootLine(root_move(0), shorter.data());
    StoreRootLine(root_move(kRootLines), shorter.data());
    LineTable[0].fill(root_move(1));
    LoadRootLine(root_move(79));
    Line expected = Row({0, 79, 79, 79});
    expected[0] = root_move(79);
    EXPECT_EQ(LineTable[0], expected);
    LoadRootLine(root_move(0));
    EXPECT_EQ(LineTable[0][1].from, 5) << "written again in its slot";
    EXPECT_TRUE(IsEmpty(LineTable[0][2]));
    LoadRootLine(root_move(kRootLines));
    EXPECT_TRUE(IsEmpty(LineTable[0][0])) << "one move too many has no slot";
    EXPECT_EQ(LineTable[0][1].from, 5) << "only the first entry is emptied";
}

}  // namespace

}  // namespace torval
