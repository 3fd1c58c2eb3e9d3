#include "board/generate.h"

#include <algorithm>
#include <random>

#include "board/attack.h"
#include "board/legality.h"
#include "game/game.h"
#include "support/board_fixture.h"

namespace torval {
namespace {

using Texts = std::vector<std::string>;

class GenerateMovesTest : public BoardTest {};

TEST_F(GenerateMovesTest, WalksTheManListAndLinksInReverse) {
    const MoveList& list = GenerateMoves();
    Texts expected = Words(
        "b1c3 b1a3 g1h3 g1f3 a2a3 a2a4 b2b3 b2b4 c2c3 c2c4 d2d3 d2d4 e2e3 e2e4 f2f3 f2f4 g2g3 "
        "g2g4 h2h3 h2h4");
    EXPECT_EQ(GenerationOrder(list), expected);
    EXPECT_EQ(list.count, 20);
    EXPECT_EQ(list.capture_count, 0);
    EXPECT_EQ(list.capture_head, kNoLink);
    EXPECT_EQ(list.PromotionFlag, 0);
    std::ranges::reverse(expected);
    EXPECT_EQ(TextsOf(list.quiet_head), expected);
}

TEST_F(GenerateMovesTest, TakesDirectionsInTableOrder) {
    struct Row {
        const char* fen;
        const char* nearest;  // first squares of the man on d4, in order
    };
    const Row rows[] = {
        {"7k/8/8/8/3N4/8/8/7K w - - 0 1", "b3 c2 e2 f3 f5 e6 c6 b5"},
        {"7k/8/8/2ppp3/2pBp3/2ppp3/8/7K w - - 0 1", "c3 e3 e5 c5"},
        {"7k/8/8/2ppp3/2pRp3/2ppp3/8/7K w - - 0 1", "c4 d3 e4 d5"},
        {"7k/8/8/2ppp3/2pQp3/2ppp3/8/7K w - - 0 1", "c4 c3 d3 e3 e4 e5 d5 c5"},
        {"7k/8/8/2ppp3/2pKp3/2ppp3/8/8 w - - 0 1", "c4 c3 d3 e3 e4 e5 d5 c5"},
    };
    for (const Row& row : rows) {
        for (const std::string& fen : {std::string(row.fen), Mirrored(row.fen)}) {
            PutFen(fen);
            const bool white = position.SideToMove == White;
            Texts from_centre;
            for (const std::string& text : GenerationOrder(GenerateMoves())) {
                if (text.substr(0, 2) == (white ? "d4" : "d5")) from_centre.push_back(text);
            }
            // Directions are those of the board, not of the side. Only the knight has no men around
            // it.
            Texts expected;
            for (const std::string& to : Words(row.nearest)) {
                const char rank = white ? to[1] : static_cast<char>(to[1] + 1);
                expected.push_back((white ? "d4" : "d5") + std::string{to[0], rank});
            }
            EXPECT_EQ(from_centre, expected) << fen;
        }
    }
}

TEST_F(GenerateMovesTest, GivesAPawnWithTwoCapturesTwelvePromotions) {
    struct Row {
        const char* fen;
        const char* quiet;
        const char* captures;
    };
    const Row rows[] = {
        {"r1r1k3/1P6/8/8/8/8/8/4K3 w - - 0 1",
         "b7b8q b7b8r b7b8b b7b8n",
         "b7c8q b7c8r b7c8b b7c8n b7a8q b7a8r b7a8b b7a8n"},
        {"4k3/8/8/8/8/8/1p6/R1R1K3 b - - 0 1",
         "b2b1q b2b1r b2b1b b2b1n",
         "b2a1q b2a1r b2a1b b2a1n b2c1q b2c1r b2c1b b2c1n"},
    };
    for (const Row& row : rows) {
        PutFen(row.fen);
        const MoveList& list = GenerateMoves();
        Texts quiet = TextsOf(list.quiet_head);
        quiet.resize(4);
        EXPECT_EQ(quiet, Words(row.quiet));
        EXPECT_EQ(TextsOf(list.capture_head), Words(row.captures));
        EXPECT_EQ(list.capture_count, 8);
        EXPECT_EQ(list.PromotionFlag, 1);
        Texts memory = Words(row.quiet);
        std::ranges::reverse(memory);
        const Texts all = GenerationOrder(list);
        EXPECT_FALSE(std::ranges::search(all, memory).empty()) << "knight first in memory";
    }
}

TEST_F(GenerateMovesTest, LaysDownTheCaptureOfAKingButNeverCallsItLegal) {
    for (const char* fen : {"4k3/4R3/8/8/8/8/8/4K3 w - - 0 1", "4k3/8/8/8/8/8/4r3/4K3 b - - 0 1"}) {
        PutFen(fen);
        MoveList& list = GenerateMoves();
        const auto takes_king = [](Move move) { return TypeOf(move.capture) == King; };
        EXPECT_EQ(std::ranges::count_if(MovesOf(list.capture_head), takes_king), 1);
        FilterLegal(&list);
        EXPECT_EQ(std::ranges::count_if(MovesOf(list.quiet_head), takes_king), 0);
        EXPECT_TRUE(PositionIsSound());
    }
}

TEST_F(GenerateMovesTest, CastlesFirstAndOnlyWhenLegal) {
    struct Row {
        const char* name;
        const char* fen;
        const char* moves;  // castling moves in order of generation
    };
    const Row rows[] = {
        {"Short Then Long", "1k6/8/8/8/8/8/8/R3K2R w KQ", "e1g1 e1c1"},
        {"Rook May Be Attacked", "1k5r/8/8/8/8/8/8/R3K2R w KQ", "e1g1 e1c1"},
        {"B1 May Be Attacked", "1r4k1/8/8/8/8/8/8/R3K2R w KQ", "e1g1 e1c1"},
        {"A1 May Be Attacked", "r5k1/8/8/8/8/8/8/R3K2R w KQ", "e1g1 e1c1"},
        {"Not Out Of Check", "4r1k1/8/8/8/8/8/8/R3K2R w KQ", ""},
        {"G1 Attacked", "1k4r1/8/8/8/8/8/8/R3K2R w KQ", "e1c1"},
        {"F1 Attacked", "1k3r2/8/8/8/8/8/8/R3K2R w KQ", "e1c1"},
        {"D1 Attacked", "3r2k1/8/8/8/8/8/8/R3K2R w KQ", "e1g1"},
        {"C1 Attacked", "2r3k1/8/8/8/8/8/8/R3K2R w KQ", "e1g1"},
        {"Pawn Attacks G1", "1k6/8/8/8/8/8/7p/R3K2R w KQ", "e1c1"},
        {"Pawn Attacks C1", "1k6/8/8/8/8/8/1p6/R3K2R w KQ", "e1g1"},
        {"Pawn Attacks Both Paths", "1k6/8/8/8/8/8/4p3/R3K2R w KQ", ""},
        {"B1 Occupied", "1k6/8/8/8/8/8/8/RN2K2R w KQ", "e1g1"},
        {"C1 Occupied", "1k6/8/8/8/8/8/8/R1n1K2R w KQ", "e1g1"},
        {"D1 Occupied", "1k6/8/8/8/8/8/8/R2NK2R w KQ", "e1g1"},
        {"F1 Occupied", "1k6/8/8/8/8/8/8/R3KN1R w KQ", "e1c1"},
        {"G1 Occupied", "1k6/8/8/8/8/8/8/R3K1nR w KQ", "e1c1"},
        {"Only Short Left", "1k6/8/8/8/8/8/8/R3K2R w K", "e1g1"},
        {"Only Long Left", "1k6/8/8/8/8/8/8/R3K2R w Q", "e1c1"},
        {"None Left", "1k6/8/8/8/8/8/8/R3K2R w -", ""},
    };
    for (const Row& row : rows) {
        for (const bool mirrored : {false, true}) {
            SCOPED_TRACE(row.name);
            const std::string fen = std::string(row.fen) + " - 0 1";
            PutFen(mirrored ? Mirrored(fen) : fen);
            const MoveList& list = GenerateMoves();
            Texts castling;
            for (const Move move : MovesOf(list.quiet_head)) {
                if (move.flags == kCastlingFlags) castling.insert(castling.begin(), TextOf(move));
            }
            Texts expected = Words(row.moves);
            if (mirrored) {
                for (std::string& text : expected) text[1] = text[3] = '8';
            }
            EXPECT_EQ(castling, expected);
            const Texts all = GenerationOrder(list);
            EXPECT_TRUE(std::equal(expected.begin(), expected.end(), all.begin())) << "first";
        }
    }
}

TEST_F(GenerateMovesTest, LosesCastlingWithTheRookButNotItsRight) {
    PutFen("4k3/7R/8/8/8/8/6b1/R3K2R b KQ - 0 1");
    ASSERT_TRUE(Play("g2h1"));
    EXPECT_EQ(position.CastleState & (CastleH1Moved | CastleE1Moved), 0);
    EXPECT_EQ(GenerationOrder(GenerateMoves())[0], "e1c1") << "an enemy stands on h1";
    // Only men that leave their home squares lose a right, so another rook may use it.
    ASSERT_TRUE(Play("h7h1 e8d8"));
    EXPECT_EQ(GenerationOrder(GenerateMoves())[0], "e1g1");
}

TEST_F(GenerateMovesTest, CapturesEnPassantOnlyRightAfterADoubleStep) {
    struct Row {
        const char* name;
        const char* fen;
        const char* played;
        const char* captures;  // in order of generation
    };
    // On the outer files the other neighbour is off the board, where the game's copy is.
    const Row rows[] = {
        {"Right Neighbour First", "k7/3p4/8/2P1P3/8/8/8/K7 b", "d7d5", "e5d6 c5d6"},
        {"Black Right First Too", "k7/8/8/8/2p1p3/8/3P4/K7 w", "d2d4", "e4d3 c4d3"},
        {"Not After ASingle Step", "k7/8/3p4/2P1P3/8/8/8/K7 b", "d6d5", ""},
        {"Not AMove Later", "k7/3p4/8/2P1P3/8/8/8/K7 b", "d7d5 a1a2 a8a7", ""},
        {"Not After ASet Up", "k7/8/8/2PpP3/8/8/8/K7 w", "", ""},
        {"Not For ARook", "k7/3r4/8/2P1P3/8/8/8/K7 b", "d7d5", ""},
        {"Not For AKnight", "k7/3p4/8/2N1N3/8/8/8/K7 b", "d7d5", ""},
        {"On The AFile", "k7/p7/8/1P6/7P/8/8/K7 b", "a7a5", "b5a6"},
        {"On The HFile", "k7/7p/8/P5P1/8/8/8/K7 b", "h7h5", "g5h6"},
        {"Black On The HFile", "k7/8/8/8/p5p1/8/7P/K7 w", "h2h4", "g4h3"},
        {"Generation Does Not Ask For Pins", "8/2p5/8/KP5r/8/8/8/7k b", "c7c5", "b5c6"},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.name);
        PutFen(std::string(row.fen) + " - - 0 1");
        EXPECT_TRUE(Play(row.played));
        Texts captures;
        for (const Move move : MovesOf(GenerateMoves().capture_head)) {
            if (move.flags == kEnPassantFlags) captures.insert(captures.begin(), TextOf(move));
        }
        EXPECT_EQ(captures, Words(row.captures));
    }
}

// ---- Against the second set of rules ---------------------------------------------------------

std::vector<slow::Move> SortedLegalMoves() {
    const MoveList& list = GenerateLegal();
    std::vector<slow::Move> moves;
    for (const Move move : MovesOf(list.quiet_head)) moves.push_back(AsSlow(move));
    EXPECT_EQ(list.count, static_cast<int>(moves.size()));
    ReleaseMoves(list);
    std::ranges::sort(moves);
    return moves;
}

void ExpectSameLegalMoves(const slow::Chess& chess) {
    const auto moves = SortedLegalMoves();
    const auto expected = chess.LegalMoves();
    if (moves == expected) return;
    std::string texts;
    for (const auto& move : moves) texts += " " + slow::TextOf(move);
    texts += " instead of";
    for (const auto& move : expected) texts += " " + slow::TextOf(move);
    ADD_FAILURE() << texts << " (or captures, marks or flags differ)";
}

class SecondGeneratorTest : public BoardTest {};

TEST_F(SecondGeneratorTest, CountsAsPublished) {
    const auto perft = [](std::string_view fen, int depth) {
        return slow::Chess(fen).Perft(depth);
    };
    EXPECT_EQ(perft("rnbqkbnr/pppppppp/8/8/8/8/PPPPPPPP/RNBQKBNR w KQkq - 0 1", 3), 8902U);
    EXPECT_EQ(perft("r3k2r/p1ppqpb1/bn2pnp1/3PN3/1p2P3/2N2Q1p/PPPBBPPP/R3K2R w KQkq - 0 1", 2),
              2039U);
    EXPECT_EQ(perft("8/2p5/3p4/KP5r/1R3p1k/8/4P1P1/8 w - - 0 1", 3), 2812U);
    EXPECT_EQ(perft("n1n5/PPPk4/8/8/8/8/4Kppp/5N1N b - - 0 1", 3), 9483U);
}

TEST_F(SecondGeneratorTest, FindsTheSameLegalMovesInRandomGames) {
    WalkRandomGames(280 / kSlowdown, ExpectSameLegalMoves);
}

TEST_F(SecondGeneratorTest, SeesTheSameAttacksInRandomGames) {
    WalkRandomGames(140 / kSlowdown, [](const slow::Chess& chess) {
        for (int index = 0; index < 64; ++index) {
            const Square square = SquareAt(index);
            const slow::Spot spot{index / 8, index % 8};
            EXPECT_EQ(IsAttackedByWhite(square), chess.IsAttacked(spot, true)) << index;
            EXPECT_EQ(IsAttackedByBlack(square), chess.IsAttacked(spot, false)) << index;
        }
        EXPECT_EQ(InCheck(White), chess.InCheck(true));
        EXPECT_EQ(InCheck(Black), chess.InCheck(false));
    });
}

/// Men anywhere: pawns on the outer ranks, both kings in check, up to 31 queens a side.
TEST_F(SecondGeneratorTest, FindsTheSameLegalMovesInPositionsNoGameReaches) {
    SCOPED_TRACE("TORVAL_TEST_SEED=" + std::to_string(Seed()));
    std::mt19937_64 random(Seed());
    for (int i = 0; i < 4000 / kSlowdown && !HasFailure(); ++i) {
        const bool queens = i % 4 == 0;
        slow::Chess chess("8/8/8/8/8/8/8/8 w - - 0 1");
        CHSBRD board{};
        board.castle = 0xFF;
        board.color = static_cast<std::uint8_t>(random() % 2);
        chess.white_to_move = board.color == White;
        std::vector<int> squares(64);
        for (int n = 0; n < 64; ++n) squares[static_cast<unsigned>(n)] = n;
        std::ranges::shuffle(squares, random);
        const unsigned men = 2 + static_cast<unsigned>(random() % (queens ? 63 : 30));
        for (unsigned n = 0; n < men; ++n) {
            const std::string_view letters = queens ? "Qq" : "PpPpNnBbRrQq";
            const char letter =
                n < 2 ? "Kk"[n] : letters[2 * (random() % (letters.size() / 2)) + n % 2];
            board.board[squares[n]] = CodeOfLetter(letter);
            chess.men[unsigned(squares[n]) / 8][unsigned(squares[n]) % 8] = letter;
        }
        ASSERT_EQ(SetPosition(board), StatusOk);
        ExpectSameLegalMoves(chess);
        EXPECT_TRUE(PositionIsSound());
        EXPECT_LE(MoveArena.next_free, kArenaBudget);
    }
}

}  // namespace
}  // namespace torval
