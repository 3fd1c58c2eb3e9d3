#include "board/move_text.h"

#include <algorithm>

#include "board/legality.h"
#include "board/make.h"
#include "support/board_fixture.h"

namespace torval {
namespace {

constexpr const char* kStart = "rnbqkbnr/pppppppp/8/8/8/8/PPPPPPPP/RNBQKBNR w KQkq - 0 1";
constexpr const char* kCastle = "r3k2r/8/8/8/8/8/8/R3K2R w KQkq - 0 1";
constexpr const char* kShortOnly = "r3k2r/8/8/8/8/8/8/R3K2R w Kkq - 0 1";
constexpr const char* kPromotion = "3n3k/4P3/8/8/8/8/8/K7 w - - 0 1";
constexpr const char* kTwoPromotions = "2r4k/1P1P4/8/8/8/8/8/K7 w - - 0 1";
constexpr const char* kEnPassant = "7k/8/8/3pP3/8/8/8/K7 w - d6 0 1";
constexpr const char* kTwoKnights = "7k/8/8/8/8/5N2/8/KN6 w - - 0 1";
constexpr const char* kTwoRooks = "7k/8/8/8/R7/8/8/R5K1 w - - 0 1";
constexpr const char* kBishopOrPawn = "7k/8/8/8/2p5/1P6/8/K4B2 w - - 0 1";
constexpr const char* kBishopsTwoThree = "7k/8/8/B7/3p4/2p5/1B1P4/K7 w - - 0 1";
constexpr const char* kQueenOrPawn = "7k/8/8/8/8/8/3p4/K3R2q b - - 0 1";
constexpr const char* kLongCapture = "7k/8/8/8/8/5p2/8/K5N1 w - - 0 1";
constexpr const char* kLongCheck = "7k/8/8/8/4N3/8/8/K7 w - - 0 1";

struct TextCase {
    const char* name;
    const char* fen;
    const char* text;
    int result;
    const char* moves;  // those that fit, sorted
};
void PrintTo(const TextCase& c, std::ostream* out) { *out << '"' << c.text << "\" in " << c.fen; }

class ParseMoveTextTest : public BoardTest, public testing::WithParamInterface<TextCase> {};

TEST_P(ParseMoveTextTest, BringsTheMovesThatFitToTheFront) {
    const TextCase& c = GetParam();
    PutFen(c.fen);
    MoveList& list = GenerateLegal();
    const auto sorted = [](std::vector<std::string> texts) {
        std::ranges::sort(texts);
        return texts;
    };
    const auto before = sorted(TextsOf(list.quiet_head));
    EXPECT_EQ(ParseMoveText(&list, c.text), c.result);
    auto after = TextsOf(list.quiet_head);
    EXPECT_EQ(sorted(after), before) << "no move is lost";
    if (c.result < 0) return;
    EXPECT_EQ(list.count, c.result);
    after.resize(static_cast<std::size_t>(c.result));
    EXPECT_EQ(sorted(after), Words(c.moves));
}

INSTANTIATE_TEST_SUITE_P(
    Plain,
    ParseMoveTextTest,
    testing::Values(TextCase{"Pawn", kStart, "e4", 1, "e2e4"},
                    TextCase{"Coordinates", kStart, "e2e4", 1, "e2e4"},
                    TextCase{"Long", kStart, "e2-e4", 1, "e2e4"},
                    TextCase{"LetterBeforeAnOriginIsNotRead", kStart, "Pe2-e4", 1, "e2e4"},
                    TextCase{"Check", kStart, "e4+", 1, "e2e4"},
                    TextCase{"DoubleCheck", kStart, "e4++", 1, "e2e4"},
                    TextCase{"Mate", kStart, "e4#", 1, "e2e4"},
                    TextCase{"MateThenCheck", kStart, "e4#+", 1, "e2e4"},
                    TextCase{"CheckThenMate", kStart, "e4+#", -1, ""},
                    TextCase{"Slash", kStart, "e4/", 1, "e2e4"},
                    TextCase{"UpperCaseFile", kStart, "E4", 1, "e2e4"},
                    TextCase{"FileAndSeparator", kStart, "e-e4", 1, "e2e4"},
                    TextCase{"NotReachable", kStart, "e5", 0, ""},
                    TextCase{"EnglishKnight", kStart, "Nf3", 1, "g1f3"},
                    TextCase{"DutchKnight", kStart, "Pf3", 1, "g1f3"},
                    TextCase{"GermanKnight", kStart, "Sf3", 1, "g1f3"},
                    TextCase{"SmallBIsAFile", kStart, "bf3", 0, ""},
                    TextCase{"AnyPiece", kStart, "*f3", 2, "f2f3 g1f3"},
                    TextCase{"WrongPiece", kStart, "Bf3", 0, ""},
                    TextCase{"NothingToCapture", kStart, "Nxf3", 0, ""},
                    TextCase{"SingleFile", kStart, "e", -1, ""},
                    TextCase{"Empty", kStart, "", -1, ""},
                    TextCase{"OnlyACheckSign", kStart, "+", -1, ""},
                    TextCase{"OnlyASlash", kStart, "/", -1, ""},
                    TextCase{"OnlyEnPassant", kStart, "ep", -1, ""},
                    TextCase{"NoFile", kStart, "Ni3", -1, ""},
                    TextCase{"UnknownPiece", kStart, "Zf3", -1, ""},
                    TextCase{"BadOrigin", kStart, "Nz1-f3", -1, ""},
                    TextCase{"NoHint", kStart, "Nzf3", -1, ""},
                    TextCase{"SevenCharacters", kPromotion, "e7-e8=Q", -1, ""},
                    TextCase{"EmptyDestination", kStart, "e2-", -1, ""}),
    [](const auto& test) { return test.param.name; });

INSTANTIATE_TEST_SUITE_P(
    Letters,
    ParseMoveTextTest,
    testing::Values(
        TextCase{"EnglishBishop", kBishopOrPawn, "Be2", 1, "f1e2"},
        TextCase{"DutchBishop", kBishopOrPawn, "Le2", 1, "f1e2"},
        TextCase{"EnglishRook", kTwoRooks, "Rb4", 1, "a4b4"},
        TextCase{"DutchRook", kTwoRooks, "Tb4", 1, "a4b4"},
        TextCase{"EnglishQueen", kQueenOrPawn, "Qh2", 1, "h1h2"},
        TextCase{"GermanQueen", kQueenOrPawn, "Dh2", 1, "h1h2"},
        TextCase{"King", kTwoRooks, "Kh2", 1, "g1h2"},
        TextCase{"BishopOrPawnOfTheBFile", kBishopOrPawn, "Bc4", 2, "b3c4 f1c4"},
        TextCase{"OnlyTheBishop", kBishopOrPawn, "Lc4", 1, "f1c4"},
        TextCase{"OnlyThePawn", kBishopOrPawn, "bc4", 1, "b3c4"},
        TextCase{"PawnCapture", kBishopOrPawn, "bxc4", 1, "b3c4"},
        TextCase{"ColonCapture", kBishopOrPawn, "bc4:", 1, "b3c4"},
        TextCase{"RankHintOfAPawn", kBishopOrPawn, "3xc4", 1, "b3c4"},
        TextCase{"BishopOrPawnOfTheRank", kBishopsTwoThree, "B2c3", 3, "a5c3 b2c3 d2c3"},
        TextCase{"UpperCaseOriginWithSeparator", kBishopsTwoThree, "B2xc3", 1, "b2c3"},
        TextCase{"QueenOrPawnOfTheDFile", kQueenOrPawn, "Dxe1", 5, "d2e1b d2e1n d2e1q d2e1r h1e1"},
        TextCase{"QueenOnly", kQueenOrPawn, "Dd1", 0, ""}),
    [](const auto& test) { return test.param.name; });

INSTANTIATE_TEST_SUITE_P(Castling,
                         ParseMoveTextTest,
                         testing::Values(TextCase{"ShortLetters", kCastle, "O-O", 1, "e1g1"},
                                         TextCase{"ShortSmall", kCastle, "o-o", 1, "e1g1"},
                                         TextCase{"ShortZeros", kCastle, "0-0", 1, "e1g1"},
                                         TextCase{"LongLetters", kCastle, "O-O-O", 1, "e1c1"},
                                         TextCase{"LongSmall", kCastle, "o-o-o", 1, "e1c1"},
                                         TextCase{
                                             "MixedIsReadAsShort", kCastle, "0-0-O", 1, "e1g1"},
                                         TextCase{"LongIsNeverShort", kShortOnly, "O-O-O", 0, ""},
                                         TextCase{"Coordinates", kCastle, "e1g1", 1, "e1g1"},
                                         TextCase{"KingLong", kCastle, "Ke1-c1", 1, "e1c1"},
                                         TextCase{"None", kStart, "O-O", 0, ""}),
                         [](const auto& test) { return test.param.name; });

INSTANTIATE_TEST_SUITE_P(
    PawnsAndHints,
    ParseMoveTextTest,
    testing::Values(TextCase{"PromotionWithSign", kPromotion, "e8=Q", 1, "e7e8q"},
                    TextCase{"PromotionLetter", kPromotion, "e8Q", 1, "e7e8q"},
                    TextCase{"GermanQueen", kPromotion, "e8D", 1, "e7e8q"},
                    TextCase{"ToAKnight", kPromotion, "e8=N", 1, "e7e8n"},
                    TextCase{"ToADutchKnight", kPromotion, "e8p", 1, "e7e8n"},
                    TextCase{"ToABishop", kPromotion, "e8=B", 1, "e7e8b"},
                    TextCase{"ToASmallBishopIsNone", kPromotion, "e7e8b", -1, ""},
                    TextCase{"ToAKing", kPromotion, "e8=K", -1, ""},
                    TextCase{"Unnamed", kPromotion, "e8", 4, "e7e8b e7e8n e7e8q e7e8r"},
                    TextCase{"Capturing", kPromotion, "exd8=Q", 1, "e7d8q"},
                    TextCase{"CapturingFromASquare", kPromotion, "e7xd8Q", 1, "e7d8q"},
                    TextCase{"Coordinates", kPromotion, "e7e8r", 1, "e7e8r"},
                    TextCase{"NoPieceBesideAPromotion", kPromotion, "Nbd8Q", -1, ""},
                    TextCase{"OriginBesideAPromotion", kTwoPromotions, "B7c8Q", 1, "b7c8q"},
                    TextCase{"OnlyALetter", kPromotion, "Q", -1, ""},
                    TextCase{"OnlyASignAndALetter", kPromotion, "=Q", -1, ""},
                    TextCase{"HintIsNoFile", kPromotion, "Nd8Q", -1, ""},
                    TextCase{"EnPassant", kEnPassant, "exd6", 1, "e5d6"},
                    TextCase{"EnPassantNamed", kEnPassant, "exd6ep", 1, "e5d6"},
                    TextCase{"EnPassantNamedLong", kEnPassant, "e5xd6ep", 1, "e5d6"},
                    TextCase{"EnPassantBeforeACheckSign", kEnPassant, "exd6ep+", -1, ""},
                    TextCase{"TwoKnights", kTwoKnights, "Nd2", 2, "b1d2 f3d2"},
                    TextCase{"FileHint", kTwoKnights, "Nbd2", 1, "b1d2"},
                    TextCase{"RankHint", kTwoKnights, "N3d2", 1, "f3d2"},
                    TextCase{"WrongHint", kTwoKnights, "Ncd2", 0, ""},
                    TextCase{"HintWithSeparator", kTwoKnights, "Nb-d2", 1, "b1d2"},
                    TextCase{"FullOrigin", kTwoKnights, "Nb1d2", 1, "b1d2"},
                    TextCase{"RooksOfOneFile", kTwoRooks, "Ra2", 2, "a1a2 a4a2"},
                    TextCase{"RookFileHintFitsBoth", kTwoRooks, "Raa2", 2, "a1a2 a4a2"},
                    TextCase{"SixCharactersAndACheck", kLongCapture, "Ng1xf3+", 1, "g1f3"},
                    TextCase{"SevenCharactersAndAMate", kLongCapture, "Ng1xf3+#", -1, ""},
                    TextCase{"LongWithCheck", kLongCheck, "Ne4-f6+", 1, "e4f6"}),
    [](const auto& test) { return test.param.name; });

class MoveTextTest : public BoardTest {};

TEST_F(MoveTextTest, FitsNothingWhereNoMoveIsLegal) {
    PutFen("7k/5Q2/6K1/8/8/8/8/8 b - - 0 1");
    MoveList& list = GenerateLegal();
    EXPECT_EQ(ParseMoveText(&list, "e4"), 0);
    EXPECT_EQ(ParseMoveText(&list, ""), 0);
    EXPECT_EQ(ParseMoveText(&list, "no move"), 0);
}

TEST_F(MoveTextTest, NarrowsTheWalkedPartAndLeavesTheRestBehindIt) {
    MoveList& list = GenerateLegal();
    const auto all = TextsOf(list.quiet_head);
    list.count = 4;  // h2h4 h2h3 g2g4 g2g3
    NarrowMoves(&list, Criterion::OriginHint, 0xF6);
    auto expected = Words("g2g3 g2g4 h2h3 h2h4");
    expected.insert(expected.end(), all.begin() + 4, all.end());
    EXPECT_EQ(TextsOf(list.quiet_head), expected);
    EXPECT_EQ(list.count, 2);
    NarrowMoves(&list, Criterion::Capture, 0);
    EXPECT_EQ(list.count, 0);
    const auto before = TextsOf(list.quiet_head);
    NarrowMoves(&list, Criterion::Piece, Pawn);
    EXPECT_EQ(TextsOf(list.quiet_head), before) << "nothing is left to narrow";
    list.count = 256;
    NarrowMoves(&list, Criterion::Promotion, 0);
    EXPECT_EQ(list.count, 0);
}

TEST_F(MoveTextTest, FindsExactlyTheMoveItNamesInRandomGames) {
    WalkRandomGames(70 / kSlowdown, [](const slow::Chess& chess) {
        MoveList& list = GenerateLegal();
        for (const slow::Move& move : chess.LegalMoves()) {
            // A small b at the end would be a file.
            std::string coordinates = slow::TextOf(move);
            if (coordinates.size() == 5) {
                coordinates[4] = static_cast<char>(std::toupper(coordinates[4]));
            }
            const char man = chess.men[unsigned(move.from.rank)][unsigned(move.from.file)];
            std::string longer = coordinates;
            longer.insert(2, move.taken == slow::kEmpty ? "-" : "x");
            if (man != 'P' && man != 'p') {
                longer.insert(0, 1, static_cast<char>(std::toupper(man)));
            }
            if (move.check) longer += "+";
            for (const std::string& text : {coordinates, longer}) {
                ASSERT_EQ(ParseMoveText(&list, text.c_str()), 1) << text;
                EXPECT_EQ(TextOf(EntryAt(list.quiet_head)->move), slow::TextOf(move)) << text;
            }
        }
        ReleaseMoves(list);
    });
}

}  // namespace
}  // namespace torval
