#include "apps/text/fen.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstdlib>
#include <utility>
#include <vector>

#include "apps/text/text.h"

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

bool IsDigit(char c) { return c >= '0' && c <= '9'; }

// Side codes and types of the engine's records.
constexpr int kWhite = 0;
constexpr int kBlack = 1;
enum Type : int { Pawn = 1, Knight, Bishop, Rook, Queen, King };
constexpr int kMostMen = 32;  ///< of one side

constexpr std::uint8_t ColourBit(int side) { return side == kWhite ? 16 : 8; }
constexpr int TypeOf(std::uint8_t code) { return code & 7; }

/// A man as the engine encodes it, with the bits for how it attacks.
constexpr std::uint8_t CodeOf(int side, int type) {
    constexpr std::array<std::uint8_t, 7> kAttackBits = {0, 0, 32, 128, 64, 192, 224};
    return static_cast<std::uint8_t>(type | ColourBit(side) |
                                     kAttackBits[static_cast<std::size_t>(type)]);
}
static_assert(CodeOf(kWhite, Queen) == 213 && CodeOf(kBlack, Knight) == 42);

/// A castling letter, the bits set when the right is lost, and the home squares of king and rook.
struct CastlingRight {
    char letter;
    int side;
    std::uint8_t rook_bit;
    std::uint8_t king_bit;
    std::uint8_t rook_index;
    std::uint8_t king_index;
};
constexpr std::array<CastlingRight, 4> kRights = {CastlingRight{'K', kWhite, 0x01, 0x02, 7, 4},
                                                  CastlingRight{'Q', kWhite, 0x04, 0x02, 0, 4},
                                                  CastlingRight{'k', kBlack, 0x10, 0x20, 63, 60},
                                                  CastlingRight{'q', kBlack, 0x40, 0x20, 56, 60}};

/// Reads the fields one by one; each reader returns false once `message` is set.
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

    void GoBackBeforeDoubleStep(int stepper, int file);
    bool KingIsAttacked(int side) const;
    bool IsAttackedAlong(int king, int enemy, int slider, const std::array<int, 8>& steps) const;
    /// The man on a file and rank from 0; 0 also off the board.
    int At(int file, int rank) const {
        const bool on_board = file >= 0 && file < 8 && rank >= 0 && rank < 8;
        return on_board ? result_.board.board[8 * rank + file] : 0;
    }

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
                const int side = c == Lower(c) ? kBlack : kWhite;
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
    for (const int side : {kWhite, kBlack}) {
        const auto kings = std::ranges::count(board, CodeOf(side, King));
        const auto men = std::ranges::count_if(
            board, [side](std::uint8_t code) { return (code & ColourBit(side)) != 0; });
        const std::string name = kSideNames[static_cast<std::size_t>(side)];
        if (kings != 1) {
            return Fail(FieldBoard, name + " has " + std::to_string(kings) + " kings instead of 1");
        }
        if (men > kMostMen) {
            return Fail(FieldBoard,
                        name + " has " + std::to_string(men) + " men, at most " +
                            std::to_string(kMostMen) + " are possible");
        }
    }
    return true;
}

bool Reader::ReadSide(std::string_view text) {
    if (text != "w" && text != "b") {
        return Fail(FieldSide, Quote(text) + " is neither 'w' nor 'b'");
    }
    result_.board.color = text == "w" ? kWhite : kBlack;
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
        if (std::any_of(first, first + 8, [](std::uint8_t code) { return TypeOf(code) == Pawn; })) {
            result_.flaw = "board: a pawn is on rank " + std::to_string(rank);
        }
    }
    const bool white_moves = result_.board.color == kWhite;
    if (KingIsAttacked(white_moves ? kBlack : kWhite)) {
        result_.flaw = white_moves ? "side to move: White could take the king of Black"
                                   : "side to move: Black could take the king of White";
    }
}

bool Reader::ReadEnPassant(std::string_view text) {
    if (text == "-") return true;
    if (text.size() != 2 || text[0] < 'a' || text[0] > 'h' || text[1] < '1' || text[1] > '8') {
        return Fail(FieldEnPassant, Quote(text) + " is no square");
    }
    const bool white_to_move = result_.board.color == kWhite;
    if (text[1] != (white_to_move ? '6' : '3')) {
        return Fail(FieldEnPassant,
                    Quote(text) + " is not on rank " +
                        (white_to_move ? "6, with White" : "3, with Black") + " to move");
    }
    GoBackBeforeDoubleStep(white_to_move ? kBlack : kWhite, text[0] - 'a');
    return true;
}

/// Rewrites the result when `stepper` can have made the double step on this file and a pawn can
/// take it; leaves it alone otherwise.
void Reader::GoBackBeforeDoubleStep(int stepper, int file) {
    const int passed_rank = stepper == kWhite ? 2 : 5;
    const int forward = stepper == kWhite ? 1 : -1;
    const auto at = [file](int rank) { return 8 * rank + file; };
    const int origin = at(passed_rank - forward);
    const int passed = at(passed_rank);
    const int target = at(passed_rank + forward);
    auto& board = result_.board.board;
    if (board[target] != CodeOf(stepper, Pawn) || board[origin] != 0 || board[passed] != 0) return;
    const int taker = CodeOf(stepper ^ 1, Pawn);
    const int rank = target / 8;
    const bool can_be_taken = At(file - 1, rank) == taker || At(file + 1, rank) == taker;
    // A step that leaves its own king attacked could not have been played in a game.
    if (!can_be_taken || KingIsAttacked(stepper)) return;

    std::swap(board[origin], board[target]);
    result_.board.color = static_cast<std::uint8_t>(stepper);
    result_.counts.half_moves = 0;
    if (stepper == kBlack) result_.counts.move_number = std::max(result_.counts.move_number - 1, 1);
    const auto letter = static_cast<char>('a' + file);
    result_.double_step = {
        letter, static_cast<char>('1' + origin / 8), letter, static_cast<char>('1' + target / 8)};
}

/// Whether an enemy slider, this type or a queen, sees the king along one of four directions, each a
/// step in file and one in rank.
bool Reader::IsAttackedAlong(int king,
                             int enemy,
                             int slider,
                             const std::array<int, 8>& steps) const {
    for (std::size_t i = 0; i < steps.size(); i += 2) {
        int file = king % 8 + steps[i];
        int rank = king / 8 + steps[i + 1];
        while (file >= 0 && file < 8 && rank >= 0 && rank < 8 && At(file, rank) == 0) {
            file += steps[i];
            rank += steps[i + 1];
        }
        const int man = At(file, rank);
        if (man == CodeOf(enemy, slider) || man == CodeOf(enemy, Queen)) return true;
    }
    return false;
}

/// Whether the king of a side is attacked in the position as read.
bool Reader::KingIsAttacked(int side) const {
    const int enemy = side ^ 1;
    const auto* const place = std::ranges::find(result_.board.board, CodeOf(side, King));
    const auto king = static_cast<int>(place - result_.board.board);
    const int file = king % 8;
    const int rank = king / 8;
    const int towards_enemy = side == kWhite ? 1 : -1;
    for (const int beside : {-1, 1}) {
        if (At(file + beside, rank + towards_enemy) == CodeOf(enemy, Pawn)) return true;
    }
    for (int files = -2; files <= 2; ++files) {
        for (int ranks = -2; ranks <= 2; ++ranks) {
            const int man = At(file + files, rank + ranks);
            const bool is_leap = std::abs(files * ranks) == 2;
            const bool is_near = std::abs(files) <= 1 && std::abs(ranks) <= 1;
            if (is_leap && man == CodeOf(enemy, Knight)) return true;
            if (is_near && man == CodeOf(enemy, King)) return true;
        }
    }
    return IsAttackedAlong(king, enemy, Rook, {0, 1, 0, -1, 1, 0, -1, 0}) ||
           IsAttackedAlong(king, enemy, Bishop, {1, 1, 1, -1, -1, 1, -1, -1});
}

}  // namespace

std::optional<FenPosition> ParseFen(std::string_view fen, std::string* error) {
    Reader reader;
    std::optional<FenPosition> result = reader.Read(fen);
    if (!result) *error = reader.message();
    return result;
}

}  // namespace torval
