#include "apps/text/fen.h"

#include <algorithm>
#include <array>
#include <vector>

#include "apps/text/text.h"
#include "board/bitboard.h"
#include "board/position.h"
#include "game/game.h"

namespace torval {

namespace {

enum Field : std::size_t { FieldBoard, FieldSide, FieldCastling, FieldEnPassant, FieldHalfMoves };

constexpr std::array<const char*, 6> kFieldNames = {"board",
                                                    "side to move",
                                                    "castling rights",
                                                    "en passant square",
                                                    "half-move counter",
                                                    "move number"};
constexpr std::size_t kNeededFields = 4;
constexpr std::string_view kTypeLetters = " pnbrqk";
constexpr std::array<const char*, 2> kSideNames = {"White", "Black"};

char Lower(char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c; }
bool IsDigit(char c) { return c >= '0' && c <= '9'; }

/// A castling letter, the bit that stands for losing it and where its rook belongs.
struct CastlingRight {
    char letter;
    Side side;
    std::uint8_t rook_bit;
    std::uint8_t king_bit;
    std::uint8_t rook_index;
    std::uint8_t king_index;
};
template <Side Us>
constexpr CastlingRight Right(char letter, bool is_short) {
    using Mine = Home<Us>;
    return {letter,
            Us,
            is_short ? Mine::kShortMoved : Mine::kLongMoved,
            Mine::kKingMoved,
            static_cast<std::uint8_t>(IndexOf(is_short ? Mine::kShortRook : Mine::kLongRook)),
            static_cast<std::uint8_t>(IndexOf(Mine::kKing))};
}
constexpr std::array<CastlingRight, 4> kRights = {Right<White>('K', true),
                                                  Right<White>('Q', false),
                                                  Right<Black>('k', true),
                                                  Right<Black>('q', false)};

/// Reads the fields one after the other; each reader answers false once `message` is set.
class Reader {
public:
    std::optional<FenPosition> Read(std::string_view fen);
    const std::string& message() const { return message_; }

private:
    bool Fail(std::size_t field, const std::string& what) {
        message_ = std::string(kFieldNames[field]) + ": " + what;
        return false;
    }
    bool ReadBoard(std::string_view text);
    bool ReadRank(std::string_view text, int rank);
    bool CheckMen();
    bool ReadSide(std::string_view text);
    bool ReadCastling(std::string_view text);
    bool ReadEnPassant(std::string_view text);
    bool ReadCounter(std::size_t field, std::string_view text);
    void FindFlaw();

    template <Side Stepper>
    void GoBackBeforeDoubleStep(int file);
    template <Side Us>
    bool KingIsAttacked() const;

    FenPosition result_{};
    std::string message_;
};

std::optional<FenPosition> Reader::Read(std::string_view fen) {
    const std::vector<std::string_view> fields = SplitWords(fen);
    if (fields.size() < kNeededFields) {
        Fail(fields.size(), "missing");
        return std::nullopt;
    }
    if (fields.size() > kFieldNames.size()) {
        message_ = "text after the " + std::string(kFieldNames.back()) + ": " +
                   Quote(fields[kFieldNames.size()]);
        return std::nullopt;
    }
    if (!ReadBoard(fields[FieldBoard]) || !ReadSide(fields[FieldSide]) ||
        !ReadCastling(fields[FieldCastling])) {
        return std::nullopt;
    }
    for (std::size_t i = FieldHalfMoves; i < fields.size(); ++i) {
        if (!ReadCounter(i, fields[i])) return std::nullopt;
    }
    FindFlaw();
    if (!ReadEnPassant(fields[FieldEnPassant])) return std::nullopt;
    return result_;
}

bool Reader::ReadBoard(std::string_view text) {
    constexpr int kRanks = 8;
    const auto ranks = 1 + std::ranges::count(text, '/');
    if (ranks != kRanks) {
        return Fail(FieldBoard, std::to_string(ranks) + " ranks instead of 8");
    }
    for (int rank = kRanks - 1; rank >= 0; --rank) {
        const std::size_t length = std::min(text.find('/'), text.size());
        if (!ReadRank(text.substr(0, length), rank)) return false;
        text.remove_prefix(std::min(length + 1, text.size()));
    }
    return CheckMen();
}

bool Reader::ReadRank(std::string_view text, int rank) {
    constexpr int kFiles = 8;
    const std::string name = "rank " + std::to_string(rank + 1);
    int file = 0;
    for (const char c : text) {
        if (c >= '1' && c <= '8') {
            file += c - '0';
        } else {
            const std::size_t type = kTypeLetters.find(Lower(c));
            if (type == 0 || type == std::string_view::npos) {
                return Fail(FieldBoard, name + " has the unknown letter " + Quote({&c, 1}));
            }
            if (file < kFiles) {
                const Side side = c == Lower(c) ? Black : White;
                result_.board.board[kFiles * rank + file] = CodeOf(side, static_cast<int>(type));
            }
            ++file;
        }
        if (file > kFiles) return Fail(FieldBoard, name + " has more than 8 squares");
    }
    if (file == kFiles) return true;
    return Fail(FieldBoard, name + " has " + std::to_string(file) + " squares instead of 8");
}

bool Reader::CheckMen() {
    const auto& board = result_.board.board;
    for (const Side side : {White, Black}) {
        const auto kings = std::ranges::count(board, CodeOf(side, King));
        const auto men = std::ranges::count_if(
            board, [side](PieceCode code) { return (code & ColourBit(side)) != 0; });
        const std::string name = kSideNames[side];
        if (kings != 1) {
            return Fail(FieldBoard, name + " has " + std::to_string(kings) + " kings instead of 1");
        }
        if (men > kListCapacity) {
            return Fail(FieldBoard,
                        name + " has " + std::to_string(men) + " men, at most " +
                            std::to_string(kListCapacity) + " are possible");
        }
    }
    return true;
}

bool Reader::ReadSide(std::string_view text) {
    if (text != "w" && text != "b") {
        return Fail(FieldSide, Quote(text) + " is neither 'w' nor 'b'");
    }
    result_.board.color = text == "w" ? White : Black;
    return true;
}

bool Reader::ReadCastling(std::string_view text) {
    CHSBRD& board = result_.board;
    std::uint8_t lost = 0;
    for (const CastlingRight& right : kRights) lost |= right.rook_bit | right.king_bit;
    if (text == "-") text = {};
    for (const char c : text) {
        const auto right =
            std::ranges::find_if(kRights, [c](const auto& known) { return known.letter == c; });
        if (right == kRights.end()) {
            return Fail(FieldCastling, Quote(text) + " has the unknown letter " + Quote({&c, 1}));
        }
        if (!(lost & right->rook_bit)) {
            return Fail(FieldCastling, Quote(text) + " says " + Quote({&c, 1}) + " twice");
        }
        if (board.board[right->king_index] != CodeOf(right->side, King) ||
            board.board[right->rook_index] != CodeOf(right->side, Rook)) {
            return Fail(FieldCastling, Quote({&c, 1}) + " without king and rook at home");
        }
        lost &= static_cast<std::uint8_t>(~(right->rook_bit | right->king_bit));
    }
    board.castle = lost;
    return true;
}

bool Reader::ReadCounter(std::size_t field, std::string_view text) {
    constexpr int kMost = 999'999'999;
    int number = 0;
    if (!std::ranges::all_of(text, IsDigit) || !ReadNumber(text, 0, kMost, &number)) {
        return Fail(field, Quote(text) + " is no number");
    }
    if (field == FieldHalfMoves) {
        result_.counts.half_moves = number;
    } else {
        // Some programs count from 0.
        result_.counts.move_number = std::max(number, 1);
    }
    return true;
}

void Reader::FindFlaw() {
    const auto& board = result_.board.board;
    for (const int rank : {1, 8}) {
        const auto first = std::begin(board) + 8 * (rank - 1);
        if (std::any_of(first, first + 8, [](PieceCode code) { return TypeOf(code) == Pawn; })) {
            result_.flaw = "board: a pawn is on rank " + std::to_string(rank);
        }
    }
    const bool white_moves = result_.board.color == White;
    if (white_moves ? KingIsAttacked<Black>() : KingIsAttacked<White>()) {
        result_.flaw = white_moves ? "side to move: White could take the king of Black"
                                   : "side to move: Black could take the king of White";
    }
}

bool Reader::ReadEnPassant(std::string_view text) {
    if (text == "-") return true;
    if (text.size() != 2 || text[0] < 'a' || text[0] > 'h' || text[1] < '1' || text[1] > '8') {
        return Fail(FieldEnPassant, Quote(text) + " is no square");
    }
    const bool white_to_move = result_.board.color == White;
    if (text[1] != (white_to_move ? '6' : '3')) {
        return Fail(FieldEnPassant,
                    Quote(text) + " is not on rank " +
                        (white_to_move ? "6, with White" : "3, with Black") + " to move");
    }
    if (white_to_move) {
        GoBackBeforeDoubleStep<Black>(text[0] - 'a');
    } else {
        GoBackBeforeDoubleStep<White>(text[0] - 'a');
    }
    return true;
}

/// Rewrites the result when `Stepper` can have made the double step on this file and a pawn can
/// take it; leaves it alone otherwise.
template <Side Stepper>
void Reader::GoBackBeforeDoubleStep(int file) {
    constexpr int kPassedRank = Home<Stepper>::kDoubleStepRank;
    constexpr int kForward = Stepper == White ? 1 : -1;
    const auto at = [file](int rank) { return 8 * rank + file; };
    const int origin = at(kPassedRank - kForward);
    const int passed = at(kPassedRank);
    const int target = at(kPassedRank + kForward);
    auto& board = result_.board.board;
    if (board[target] != CodeOf(Stepper, Pawn) || board[origin] != 0 || board[passed] != 0) return;
    constexpr PieceCode kTaker = CodeOf(!Stepper, Pawn);
    const bool can_be_taken =
        (file > 0 && board[target - 1] == kTaker) || (file < 7 && board[target + 1] == kTaker);
    // A step that leaves the own king attacked is not one that a game could have entered.
    if (!can_be_taken || KingIsAttacked<Stepper>()) return;

    CHSBRD earlier = result_.board;
    std::swap(earlier.board[origin], earlier.board[target]);
    earlier.color = Stepper;
    if (CHSBRD checked = earlier; ValidatePosition(&checked) != StatusOk) return;
    result_.board = earlier;
    result_.counts.half_moves = 0;
    if (Stepper == Black) result_.counts.move_number = std::max(result_.counts.move_number - 1, 1);
    const auto letter = static_cast<char>('a' + file);
    result_.double_step = {
        letter, static_cast<char>('1' + origin / 8), letter, static_cast<char>('1' + target / 8)};
}

/// Whether the king of `Us` is attacked in the position as read.
template <Side Us>
bool Reader::KingIsAttacked() const {
    const auto& board = result_.board.board;
    Bitboard occupied = 0;
    std::array<Bitboard, 8> theirs{};
    int king = 0;
    for (int index = 0; index < 64; ++index) {
        const PieceCode code = board[index];
        if (code == 0) continue;
        occupied |= Bit(SquareAt(index));
        if (SideOf(code) != Us) theirs[TypeOf(code)] |= Bit(SquareAt(index));
        if (code == CodeOf(Us, King)) king = index;
    }
    const auto at = static_cast<unsigned>(king);
    return ((PawnAttacks<Us>(Bit(SquareAt(king))) & theirs[Pawn]) |
            (kKnightAttacks[at] & theirs[Knight]) | (kKingAttacks[at] & theirs[King]) |
            (BishopAttacks(king, occupied) & (theirs[Bishop] | theirs[Queen])) |
            (RookAttacks(king, occupied) & (theirs[Rook] | theirs[Queen]))) != 0;
}

}  // namespace

std::optional<FenPosition> ParseFen(std::string_view fen, std::string* error) {
    Reader reader;
    std::optional<FenPosition> result = reader.Read(fen);
    if (!result) *error = reader.message();
    return result;
}

bool SetUpFen(std::string_view fen, std::string* error) {
    const std::optional<FenPosition> parsed = ParseFen(fen, error);
    if (!parsed) return false;
    if (SetPosition(parsed->board) != StatusOk) {
        *error = "the engine is computing or refuses the position";
        return false;
    }
    if (parsed->double_step.empty()) return true;
    MOVES made;
    if (DoMove(parsed->double_step.c_str(), &made) == StatusOk) return true;
    *error = "en passant square: " + parsed->double_step + " cannot be played";
    return false;
}

}  // namespace torval
