#include "apps/host/openings.h"

#include <algorithm>
#include <cstdlib>

#include "apps/text/moves.h"
#include "apps/text/opening_lines.h"
#include "apps/text/text.h"
#include "torval/codes.h"

namespace torval {

namespace {

constexpr std::uint8_t kKeyBits = kTypeBits | kBlackBit;  // White needs no bit then
constexpr std::string_view kTypeLetters = "  nbrq";

CHSBRD StartBoard() {
    constexpr std::array<std::uint8_t, 8> kBackRank = {
        Rook, Knight, Bishop, Queen, King, Bishop, Knight, Rook};
    CHSBRD board{};
    for (std::size_t file = 0; file < 8; ++file) {
        board.board[file] = kBackRank[file] | kWhiteBit;
        board.board[8 + file] = Pawn | kWhiteBit;
        board.board[48 + file] = Pawn | kBlackBit;
        board.board[56 + file] = kBackRank[file] | kBlackBit;
    }
    return board;
}

int SquareAt(std::string_view text) { return 8 * (text[1] - '1') + (text[0] - 'a'); }

/// Makes a move of the side to move on the men alone; false when it cannot be one.
bool Follow(std::string_view move, CHSBRD* board) {
    if (!IsCoordinateText(move)) return false;
    const int from = SquareAt(move);
    const int to = SquareAt(move.substr(2));
    const std::uint8_t own = board->color == 0 ? kWhiteBit : kBlackBit;
    std::uint8_t man = board->board[from];
    if (!(man & own) || (board->board[to] & own)) return false;
    const int type = man & kTypeBits;
    const int files = to % 8 - from % 8;
    if (type == King && std::abs(files) == 2) {
        const int rook = files > 0 ? to + 1 : to - 2;
        board->board[(from + to) / 2] = board->board[rook];
        board->board[rook] = 0;
    }
    if (type == Pawn && files != 0 && board->board[to] == 0) {
        board->board[8 * (from / 8) + to % 8] = 0;  // en passant
    }
    const bool promotes = type == Pawn && (to / 8 == 0 || to / 8 == 7);
    if (promotes != (move.size() > 4)) return false;
    if (promotes) {
        const std::size_t made = kTypeLetters.find(move[4]);
        if (made < 2 || made > 5) return false;
        man = static_cast<std::uint8_t>(made) | own;
    }
    board->board[to] = man;
    board->board[from] = 0;
    board->color ^= 1;
    return true;
}

bool IsCode(std::string_view text) {
    const auto is_digit = [](char c) { return c >= '0' && c <= '9'; };
    return text.size() == 3 && text[0] >= 'A' && text[0] <= 'E' && is_digit(text[1]) &&
           is_digit(text[2]);
}

bool IsName(std::string_view text) {
    return !text.empty() && std::ranges::all_of(text, [](char c) { return c >= ' ' && c <= '~'; });
}

/// Reads one line; the text says what is wrong, empty for nothing.
std::string ReadLine(std::string_view line, Opening* opening, CHSBRD* board) {
    const std::size_t first = line.find('\t');
    const std::size_t second = first == line.npos ? first : line.find('\t', first + 1);
    if (second == line.npos) return "code, name and moves are not divided by tabs";
    *opening = {line.substr(0, first), line.substr(first + 1, second - first - 1)};
    if (!IsCode(opening->code)) return Quote(opening->code) + " is no code from A00 to E99";
    if (!IsName(opening->name)) return "the name is empty or not plain ASCII";
    *board = StartBoard();
    const std::vector<std::string_view> moves = SplitWords(line.substr(second + 1));
    if (moves.empty()) return "there are no moves";
    for (const std::string_view move : moves) {
        if (!Follow(move, board)) return "move " + Quote(move) + " cannot be made";
    }
    return {};
}

}  // namespace

std::string Opening::Text() const { return std::string(code) + " " + std::string(name); }

OpeningTable::Key OpeningTable::KeyOf(const CHSBRD& board) {
    Key key;
    for (std::size_t i = 0; i + 1 < key.size(); ++i) {
        const int low = board.board[2 * i] & kKeyBits;
        const int high = board.board[2 * i + 1] & kKeyBits;
        key[i] = static_cast<std::uint8_t>(low | high << 4);
    }
    key.back() = board.color;
    return key;
}

std::optional<OpeningTable> OpeningTable::Read(std::span<const std::string_view> lines,
                                               std::string* error) {
    OpeningTable table;
    table.entries_.reserve(lines.size());
    std::size_t number = 0;
    const auto fail = [&](const std::string& what) {
        *error = "line " + std::to_string(number) + ": " + what;
        return std::nullopt;
    };
    for (const std::string_view line : lines) {
        ++number;
        Opening opening;
        CHSBRD board;
        if (const std::string what = ReadLine(line, &opening, &board); !what.empty()) {
            return fail(what);
        }
        table.entries_.push_back({KeyOf(board), opening});
    }
    std::ranges::stable_sort(table.entries_, {}, &Entry::key);
    const auto twice = std::ranges::adjacent_find(table.entries_, {}, &Entry::key);
    if (twice == table.entries_.end()) return table;
    // A name is a view into its line, so it identifies the line.
    const Opening& second = std::next(twice)->opening;
    const auto holds = [&](std::string_view line) { return line.data() == second.code.data(); };
    number = static_cast<std::size_t>(std::ranges::find_if(lines, holds) - lines.begin()) + 1;
    return fail("the position has a name already: " + twice->opening.Text());
}

const Opening* OpeningTable::Find(const CHSBRD& board) const {
    const Key key = KeyOf(board);
    const auto found = std::ranges::lower_bound(entries_, key, {}, &Entry::key);
    return found != entries_.end() && found->key == key ? &found->opening : nullptr;
}

const OpeningTable& BuiltInOpenings() {
    static const OpeningTable table = [] {
        std::string error;
        // A test reads the same lines; a program built from damaged ones has no names.
        return OpeningTable::Read(OpeningLines(), &error).value_or(OpeningTable());
    }();
    return table;
}

}  // namespace torval
