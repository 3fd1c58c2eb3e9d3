// Positions as text: what is read, what is refused and why, and where en passant begins.
#include "apps/text/fen.h"

#include <gtest/gtest.h>

#include "apps/makers/set_up.h"
#include "board/generate.h"
#include "board/position.h"
#include "game/game.h"
#include "state/settings.h"

namespace torval {
namespace {

std::string ErrorOf(std::string_view fen) {
    std::string error;
    return ParseFen(fen, &error) ? "accepted" : error;
}

TEST(ParseFen, PutsEveryManOnItsSquare) {
    std::string error;
    const auto start = ParseFen(kStartFen, &error);
    ASSERT_TRUE(start) << error;
    EXPECT_EQ(start->board.board[4], CodeOf(White, King));
    EXPECT_EQ(start->board.board[3], CodeOf(White, Queen));
    EXPECT_EQ(start->board.board[8], CodeOf(White, Pawn));
    EXPECT_EQ(start->board.board[27], 0);
    EXPECT_EQ(start->board.board[57], CodeOf(Black, Knight));
    EXPECT_EQ(start->board.board[63], CodeOf(Black, Rook));
    EXPECT_EQ(start->board.color, White);
    EXPECT_EQ(start->double_step, "");
}

TEST(ParseFen, NeedsNoCountersAndMindsNoBlanks) {
    EXPECT_EQ(ErrorOf("4k3/8/8/8/8/8/8/4K3 w - -"), "accepted");
    EXPECT_EQ(ErrorOf("4k3/8/8/8/8/8/8/4K3 w - - 7"), "accepted");
    EXPECT_EQ(ErrorOf("  4k3/8/8/8/8/8/8/4K3\tw  - - 7 41\r\n"), "accepted");
}

struct CastlingCase {
    const char* name;
    const char* letters;
    int castle;
};
class FenCastling : public testing::TestWithParam<CastlingCase> {};

TEST_P(FenCastling, SetsTheBitsOfWhatIsLost) {
    std::string error;
    const std::string fen = std::string("r3k2r/8/8/8/8/8/8/R3K2R w ") + GetParam().letters + " -";
    const auto read = ParseFen(fen, &error);
    ASSERT_TRUE(read) << error;
    EXPECT_EQ(read->board.castle, GetParam().castle);
    CHSBRD board = read->board;
    EXPECT_EQ(ValidatePosition(&board), StatusOk);
}

INSTANTIATE_TEST_SUITE_P(Fen,
                         FenCastling,
                         testing::Values(CastlingCase{"All", "KQkq", 0x00},
                                         CastlingCase{"AnyOrder", "qkQK", 0x00},
                                         CastlingCase{"WhiteShort", "Kkq", 0x04},
                                         CastlingCase{"WhiteLong", "Qkq", 0x01},
                                         CastlingCase{"WhiteNone", "kq", 0x07},
                                         CastlingCase{"BlackShort", "KQk", 0x40},
                                         CastlingCase{"BlackLong", "KQq", 0x10},
                                         CastlingCase{"BlackNone", "KQ", 0x70},
                                         CastlingCase{"None", "-", 0x77},
                                         CastlingCase{"CrosswiseRooks", "Kq", 0x14}),
                         [](const auto& test) { return test.param.name; });

struct ErrorCase {
    const char* name;
    const char* fen;
    const char* error;
};
class FenError : public testing::TestWithParam<ErrorCase> {};

TEST_P(FenError, NamesTheField) { EXPECT_EQ(ErrorOf(GetParam().fen), GetParam().error); }

INSTANTIATE_TEST_SUITE_P(
    Fen,
    FenError,
    testing::Values(
        ErrorCase{"Nothing", "", "board: missing"},
        ErrorCase{"NoSide", "4k3/8/8/8/8/8/8/4K3", "side to move: missing"},
        ErrorCase{"NoCastling", "4k3/8/8/8/8/8/8/4K3 w", "castling rights: missing"},
        ErrorCase{"NoEnPassant", "4k3/8/8/8/8/8/8/4K3 w -", "en passant square: missing"},
        ErrorCase{"SevenRanks", "4k3/8/8/8/8/8/4K3 w - -", "board: 7 ranks instead of 8"},
        ErrorCase{"NineRanks", "4k3/8/8/8/8/8/8/8/4K3 w - -", "board: 9 ranks instead of 8"},
        ErrorCase{
            "ShortRank", "4k3/8/8/7/8/8/8/4K3 w - -", "board: rank 5 has 7 squares instead of 8"},
        ErrorCase{
            "EmptyRank", "4k3/8//8/8/8/8/4K3 w - -", "board: rank 6 has 0 squares instead of 8"},
        ErrorCase{
            "LongRank", "4k3/8/8/8/8/8/44p/4K3 w - -", "board: rank 2 has more than 8 squares"},
        ErrorCase{
            "LongLastRank", "4k3/8/8/8/8/8/8/4K31p w - -", "board: rank 1 has more than 8 squares"},
        ErrorCase{"UnknownLetter",
                  "4k3/8/8/8/8/8/3x4/4K3 w - -",
                  "board: rank 2 has the unknown letter 'x'"},
        ErrorCase{"BlankIsNoPiece",
                  "4k3/8/8/8/8/8/9/4K3 w - -",
                  "board: rank 2 has the unknown letter '9'"},
        ErrorCase{"NoKing", "8/8/8/8/8/8/8/4K3 w - -", "board: Black has 0 kings instead of 1"},
        ErrorCase{
            "TwoKings", "4k3/8/8/8/8/8/8/K3K3 w - -", "board: White has 2 kings instead of 1"},
        ErrorCase{"TooManyMen",
                  "k7/8/NNNNNNNN/NNNNNNNN/NNNNNNNN/NNNNNNNN/8/K7 w - -",
                  "board: White has 33 men, at most 32 are possible"},
        ErrorCase{"SideInWords",
                  "4k3/8/8/8/8/8/8/4K3 white - -",
                  "side to move: 'white' is neither 'w' nor 'b'"},
        ErrorCase{"CastlingLetter",
                  "4k3/8/8/8/8/8/8/4K2R w KX -",
                  "castling rights: 'KX' has the unknown letter 'X'"},
        ErrorCase{
            "CastlingTwice", "4k3/8/8/8/8/8/8/4K2R w KK -", "castling rights: 'KK' says 'K' twice"},
        ErrorCase{"RookNotHome",
                  "4k3/8/8/8/8/8/8/R3K3 w K -",
                  "castling rights: 'K' without king and rook at home"},
        ErrorCase{"KingNotHome",
                  "r4k2/8/8/8/8/8/8/4K3 w q -",
                  "castling rights: 'q' without king and rook at home"},
        ErrorCase{"RookOfTheOther",
                  "r3k3/8/8/8/8/8/8/r3K3 w Q -",
                  "castling rights: 'Q' without king and rook at home"},
        ErrorCase{"EnPassantNoSquare",
                  "4k3/8/8/8/8/8/8/4K3 w - e",
                  "en passant square: 'e' is no square"},
        ErrorCase{"EnPassantOffBoard",
                  "4k3/8/8/8/8/8/8/4K3 w - i6",
                  "en passant square: 'i6' is no square"},
        ErrorCase{"EnPassantWrongRank",
                  "4k3/8/8/8/8/8/8/4K3 w - e3",
                  "en passant square: 'e3' is not on rank 6, with White to move"},
        ErrorCase{"HalfMovesNoNumber",
                  "4k3/8/8/8/8/8/8/4K3 w - - -1 1",
                  "half-move counter: '-1' is no number"},
        ErrorCase{"MoveNumberNoNumber",
                  "4k3/8/8/8/8/8/8/4K3 w - - 0 1.",
                  "move number: '1.' is no number"},
        ErrorCase{
            "TrailingText", "4k3/8/8/8/8/8/8/4K3 w - - 0 1 bm", "text after the move number: 'bm'"},
        ErrorCase{"UnprintableIsQuoted",
                  "4k3/8/8/8/8/8/8/4K3 \x01\x9b - -",
                  "side to move: '\?\?' is neither 'w' nor 'b'"}),
    [](const auto& test) { return test.param.name; });

struct EnPassantCase {
    const char* name;
    const char* fen;
    const char* double_step;  ///< empty: the square is ignored
};
class FenEnPassant : public testing::TestWithParam<EnPassantCase> {
protected:
    void SetUp() override {
        SetDefaultSettings();
        InitialiseEngine();
    }
};

/// En passant captures that the working position offers.
int EnPassantCaptures() {
    int found = 0;
    for (MoveEntry* entry = EntryAt(legal_moves->quiet_head); entry; entry = NextEntry(*entry)) {
        if (entry->move.flags == kEnPassantFlags) ++found;
    }
    return found;
}

TEST_P(FenEnPassant, PlaysTheDoubleStepOnlyWhereItCanBeTaken) {
    const std::string fen = GetParam().fen;
    const bool played = *GetParam().double_step != '\0';
    std::string error;
    const auto read = ParseFen(fen, &error);
    ASSERT_TRUE(read) << error;
    EXPECT_EQ(read->double_step, GetParam().double_step);
    const Side to_move = fen.find(" w ") != std::string::npos ? White : Black;
    EXPECT_EQ(read->board.color, played ? !to_move : to_move);

    ASSERT_TRUE(SetUpFen(fen, &error)) << error;
    EXPECT_EQ(position.SideToMove, to_move);
    const int first_ply = read->board.color == Black ? 2 : 1;
    EXPECT_EQ(GamePly.load(), first_ply + (played ? 1 : 0));
    EXPECT_EQ(EnPassantCaptures() > 0, played);
    // Apart from what a double step adds, both ways lead to the same position.
    const auto board = position.Board;
    const auto key = position.key;
    ASSERT_TRUE(SetUpFen(fen.substr(0, fen.size() - 2) + "-", &error)) << error;
    EXPECT_EQ(position.Board, board);
    EXPECT_EQ(position.key, key);
}

INSTANTIATE_TEST_SUITE_P(
    Fen,
    FenEnPassant,
    testing::Values(EnPassantCase{"WhiteTakesLeft", "4k3/8/8/3Pp3/8/8/8/4K3 w - e6", "e7e5"},
                    EnPassantCase{"WhiteTakesRight", "4k3/8/8/4pP2/8/8/8/4K3 w - e6", "e7e5"},
                    EnPassantCase{"BlackTakes", "4k3/8/8/8/3pP3/8/8/4K3 b - e3", "e2e4"},
                    EnPassantCase{"EdgeFileA", "4k3/8/8/pP6/8/8/8/4K3 w - a6", "a7a5"},
                    EnPassantCase{"EdgeFileH", "4k3/8/8/8/6pP/8/8/4K3 b - h3", "h2h4"},
                    EnPassantCase{"EvadesCheck", "8/8/8/2k5/3Pp3/8/8/4K3 b - d3", "d2d4"},
                    EnPassantCase{"NoNeighbour", "4k3/8/8/2P1p3/8/8/8/4K3 w - e6", ""},
                    EnPassantCase{"AcrossTheEdgeFromA", "4k3/8/8/p7/7P/8/8/4K3 w - a6", ""},
                    EnPassantCase{"AcrossTheEdgeFromH", "4k3/8/8/p7/7P/8/8/4K3 b - h3", ""},
                    EnPassantCase{"NeighbourIsNoPawn", "4k3/8/8/3Np3/8/8/8/4K3 w - e6", ""},
                    EnPassantCase{"NeighbourIsTheirs", "4k3/8/8/3pp3/8/8/8/4K3 w - e6", ""},
                    EnPassantCase{"NoPawnThere", "4k3/8/8/3P4/8/8/8/4K3 w - e6", ""},
                    EnPassantCase{"OriginTaken", "8/4k3/8/3Pp3/8/8/8/4K3 w - e6", ""},
                    EnPassantCase{"PassedSquareTaken", "4k3/8/4n3/3Pp3/8/8/8/4K3 w - e6", ""},
                    EnPassantCase{"StepBlockedACheck", "1k6/8/8/3Pp3/8/8/7B/4K3 w - e6", "e7e5"},
                    EnPassantCase{
                        "StepLeavesTheKingAttacked", "3k4/8/8/3Pp1B1/8/8/8/4K3 w - e6", ""}),
    [](const auto& test) { return test.param.name; });

TEST(ParseFen, SurvivesEveryCutAndEveryByteOfADamagedText) {
    const std::string fen = "r3k2r/1p6/8/3Pp3/8/8/6P1/R3K2R w KQkq e6 12 34";
    std::string error;
    ASSERT_TRUE(ParseFen(fen, &error)) << error;
    int accepted = 0;
    const auto check = [&](const std::string& text) {
        error.clear();
        const auto read = ParseFen(text, &error);
        EXPECT_EQ(read.has_value(), error.empty()) << text;
        EXPECT_EQ(error.find('\n'), std::string::npos);
        if (!read) return;
        ++accepted;
        CHSBRD board = read->board;
        EXPECT_EQ(ValidatePosition(&board), StatusOk) << text;
    };
    for (std::size_t length = 0; length < fen.size(); ++length) check(fen.substr(0, length));
    for (std::size_t place = 0; place < fen.size(); ++place) {
        for (int byte = 0; byte < 256; ++byte) {
            std::string damaged = fen;
            damaged[place] = static_cast<char>(byte);
            check(damaged);
        }
    }
    EXPECT_GT(accepted, 100) << "some changes are harmless";
}

TEST(SetUpFen, ChangesNothingWhenItRefuses) {
    SetDefaultSettings();
    InitialiseEngine();
    std::string error;
    ASSERT_TRUE(SetUpFen("4k3/8/8/8/8/8/4P3/4K3 b - -", &error)) << error;
    const HashKey key = position.key;
    EXPECT_FALSE(SetUpFen("4k3/8/8/8/8/8/4P3/4K3 b K -", &error));
    EXPECT_EQ(position.key, key);
    EXPECT_EQ(GamePly.load(), 2);
}

}  // namespace
}  // namespace torval
