#include "eval/evaluate.h"

#include <fstream>
#include <nlohmann/json.hpp>

#include "eval/slow_evaluate.h"
#include "search/engine_test.h"

namespace torval {

namespace {

constexpr int kWindow = 20000;

std::string Describe() {
    std::string text;
    for (int rank = 7; rank >= 0; --rank) {
        for (int file = 0; file < 8; ++file) {
            const PieceCode code = position.Board[static_cast<unsigned>(16 * rank + file)];
            const char letter = ".pnbrqk"[TypeOf(code)];
            text += code & kWhiteBit ? static_cast<char>(letter - 'a' + 'A') : letter;
        }
        text += '/';
    }
    return text + (position.SideToMove == White ? " w" : " b") + " rights " +
           std::to_string(position.CastleState) + " ply " + std::to_string(GamePly.load());
}

class EvaluateTest : public EngineTest {
protected:
    /// Tables, phase and margin against the second opinion.
    static void CompareSetUp(int old_phase) {
        slow.SetUp(GamePly.load(), old_phase);
        EXPECT_EQ(position.GamePhase, slow.phase) << Describe();
        EXPECT_EQ(PositionalMargin, slow.margin) << Describe();
        for (const Side side : {White, Black}) {
            EXPECT_EQ(position.PositionalSum[side], slow.SquareSum(side)) << Describe();
            for (unsigned type = Pawn; type <= King; ++type) {
                for (unsigned index = 0; index < 64; ++index) {
                    const Square square = SquareAt(static_cast<int>(index));
                    const unsigned seen = square ^ (side == White ? 0U : 0x70U);
                    ASSERT_EQ(PieceSquareTable[side][type][square],
                              slow.tables[side].squares[type][seen])
                        << Describe() << " type " << type << " square " << index;
                    ASSERT_EQ(MobilityTable[side][type][square],
                              slow.tables[side].mobility[type][seen])
                        << Describe() << " type " << type << " square " << index;
                }
            }
        }
    }

    static void CompareScore() {
        const SlowEvaluation::Score expected = slow.Evaluate();
        const EvalResult result = Evaluate(0, -kWindow, kWindow, 0);
        ASSERT_EQ(result.score, expected.score) << Describe();
        ASSERT_EQ(result.flags, 0);
        ASSERT_EQ(LastPositionalScore, expected.positional) << Describe();
    }

    /// Both for the working position, and the score again with the same tables some moves on.
    static void Compare(TestRandom* random, int old_phase) {
        CompareSetUp(old_phase);
        CompareScore();
        int moves = 0;
        while (moves < 3 && PlayRandomMove(random)) {
            ++moves;
            CompareScore();
        }
        for (; moves > 0; --moves) {
            UnmakeMove();
            GamePly.fetch_sub(1);
        }
    }

    static void CompareAlongGames(TestRandom* random, int games) {
        for (int game = 0; game < games && !HasFatalFailure(); ++game) {
            NewGame();
            for (int ply = 0; ply < 200 && PlayRandomMove(random) && !HasFatalFailure(); ++ply) {
                const int old_phase = position.GamePhase;
                SetUpEvaluation();
                Compare(random, old_phase);
            }
        }
    }

    static void CompareOnBoards(TestRandom* random, int rounds) {
        for (int round = 0; round < rounds && !HasFatalFailure(); ++round) {
            const int most_men = round % 3 == 0 ? 31 : round % 3 == 1 ? 12 : 4;
            ASSERT_EQ(SetPosition(RandomBoard(random, most_men)), StatusOk);
            Compare(random, PhaseNotSet);
        }
    }

    static SlowEvaluation slow;
};

class SlowEvaluateTest : public EvaluateTest {};

SlowEvaluation EvaluateTest::slow;

TEST_F(EvaluateTest, AgreesWithASecondOpinionAlongRandomGames) {
    TestRandom random;
    CompareAlongGames(&random, Rounds(100));
}

TEST_F(SlowEvaluateTest, AgreesWithASecondOpinionAlongManyRandomGames) {
    TestRandom random(1);
    CompareAlongGames(&random, Rounds(4000));
}

TEST_F(EvaluateTest, AgreesWithASecondOpinionOnSparseAndHostileBoards) {
    TestRandom random;
    CompareOnBoards(&random, Rounds(20000));
}

TEST_F(SlowEvaluateTest, AgreesWithASecondOpinionOnManySparseAndHostileBoards) {
    TestRandom random(1);
    CompareOnBoards(&random, Rounds(800000));
}

struct LazyCase {
    const char* name;
    int depth, alpha_offset, beta_offset, search_ply;  // the window as seen from material
    bool lazy;
};

class LazyTest : public EvaluateTest, public testing::WithParamInterface<LazyCase> {};

TEST_P(LazyTest, AnswersFromMaterialAndTheLastPositionalScore) {
    constexpr int kLast = 77;
    const LazyCase& c = GetParam();
    for (const char* fen : {"rnbqkbnr/pppppppp/8/8/8/8/PPPPPPPP/1NBQKBNR w Kkq - 0 1",
                            "rnbqkbnr/pppppppp/8/8/8/8/PPPPPPPP/1NBQKBNR b Kkq - 0 1"}) {
        SetUpPosition(fen);
        const int sign = position.SideToMove == White ? 1 : -1;
        const int material = sign * -640;
        const int full = Evaluate(0, -kWindow, kWindow, 0).score;
        const std::int32_t positional = LastPositionalScore;
        ASSERT_NE(positional, kLast);
        EXPECT_EQ(full, material + sign * positional);
        LastPositionalScore = kLast;
        const int alpha = material + c.alpha_offset;
        const int beta = material + c.beta_offset;
        const int score = Evaluate(c.depth, alpha, beta, c.search_ply).score;
        EXPECT_EQ(score, c.lazy ? material + sign * kLast : full);
        EXPECT_EQ(LastPositionalScore, c.lazy ? kLast : positional);
    }
}

INSTANTIATE_TEST_SUITE_P(
    Windows,
    LazyTest,
    testing::Values(LazyCase{"InsideTheWindow", 0, -10, 10, 1, false},
                    LazyCase{"BelowDepthZero", -1, -10, 10, 1, true},
                    LazyCase{"BelowDepthZeroAtPlyZero", -1, -10, 10, 0, false},
                    LazyCase{"MarginBelowAlpha", 3, 320, 400, 2, false},
                    LazyCase{"MoreThanTheMarginBelowAlpha", 3, 321, 400, 2, true},
                    LazyCase{"MoreThanTheMarginBelowAlphaAtPlyZero", 3, 321, 400, 0, false},
                    LazyCase{"MarginAboveBeta", 1, -400, -320, 5, false},
                    LazyCase{"MoreThanTheMarginAboveBeta", 1, -400, -321, 5, true}),
    [](const auto& test) { return test.param.name; });

TEST_F(EvaluateTest, ChoosesThePhaseByPiecesPawnsAndPly) {
    struct Row {
        const char* reason;
        const char* fen;
        int phase;
    };
    for (const Row& row :
         {Row{"a queen, a rook and a bishop", "3k4/p7/8/8/8/8/P7/Q2RBK2 w - - 0 1", 3},
          Row{"a rook more", "3k4/p7/8/8/8/8/P7/Q2RBKR1 w - - 0 1", 2},
          Row{"thirteen pawns", "4k3/ppppppp1/8/8/8/8/PPPPPP2/4K3 w - - 0 1", 2},
          Row{"twelve pawns", "4k3/pppppp2/8/8/8/8/PPPPPP2/4K3 w - - 0 1", 5}}) {
        SetUpPosition(row.fen);
        EXPECT_EQ(position.GamePhase, row.phase) << row.reason;
    }
    NewGame();
    GamePly.store(32);
    SetUpEvaluation();
    EXPECT_EQ(position.GamePhase, PhaseOpening) << "the last ply of the opening";
    GamePly.store(33);
    SetUpEvaluation();
    EXPECT_EQ(position.GamePhase, PhaseMiddlegame) << "too late for the opening";
    GamePly.store(1);
    SetUpEvaluation();
    EXPECT_EQ(position.GamePhase, PhaseMiddlegame) << "the opening does not come back by itself";
    NewGame();
    EXPECT_EQ(position.GamePhase, PhaseOpening) << "but in a new game";
}

TEST_F(EvaluateTest, ExplainsItsScore) {
    TestRandom random;
    for (int round = 0; round < Rounds(1000); ++round) {
        ASSERT_EQ(SetPosition(RandomBoard(&random, round % 2 == 0 ? 12 : 2)), StatusOk);
        const int score = Evaluate(0, -kWindow, kWindow, 0).score;
        const EvalTerms terms = ExplainEvaluation();
        const auto balance = [&](int EvalTerms::PerSide::*term) {
            return terms.side[White].*term - terms.side[Black].*term;
        };
        using Side = EvalTerms::PerSide;
        ASSERT_EQ(terms.positional,
                  balance(&Side::pawns) + balance(&Side::knights) + balance(&Side::bishops) +
                      balance(&Side::bishop_pair) + balance(&Side::rooks) + balance(&Side::queens) +
                      balance(&Side::king_safety) + balance(&Side::piece_squares) / 2)
            << Describe();
        ASSERT_EQ(LastPositionalScore,
                  std::clamp(terms.positional, -PositionalMargin, PositionalMargin));
        const int white =
            balance(&Side::material) + terms.lone_minor + terms.unstoppable + LastPositionalScore;
        const int limited = std::clamp(white, -kScoreLimit, +kScoreLimit);
        ASSERT_EQ(score, position.SideToMove == White ? limited : -limited) << Describe();
    }
}

TEST_F(EvaluateTest, LimitsWhatHostileMaterialIsWorth) {
    CHSBRD board = {};
    board.castle = 0x77;
    for (int i = 0; i < 32; ++i) board.board[i] = CodeOf(White, i == 0 ? King : Queen);
    board.board[63] = CodeOf(Black, King);
    ASSERT_EQ(SetPosition(board), StatusOk);
    EXPECT_EQ(Evaluate(0, -kWindow, kWindow, 0).score, kScoreLimit);
    EXPECT_EQ(Evaluate(-1, -kWindow, kWindow, 1).score, kScoreLimit) << "lazy";
    ASSERT_EQ(SetPosition(Mirrored(board)), StatusOk);
    EXPECT_EQ(Evaluate(0, -kWindow, kWindow, 0).score, kScoreLimit);
}

}  // namespace

}  // namespace torval
