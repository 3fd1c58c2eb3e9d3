#include "apps/play/screen.h"

#include <array>

#include "torval/codes.h"

namespace torval {

namespace {

constexpr std::array<const char*, 7> kWhiteMen = {
    " ", "\u2659", "\u2658", "\u2657", "\u2656", "\u2655", "\u2654"};
constexpr std::array<const char*, 7> kBlackMen = {
    " ", "\u265F", "\u265E", "\u265D", "\u265C", "\u265B", "\u265A"};
constexpr const char* kLetters = ".pnbrqk";

std::string ManText(std::uint8_t code, bool ascii, bool dark_square) {
    const int type = code & kTypeBits;
    const bool black = code & kBlackBit;
    if (type == 0) {
        if (ascii) return dark_square ? "-" : ".";
        return dark_square ? "\u00B7" : " ";
    }
    if (!ascii)
        return black ? kBlackMen[static_cast<std::size_t>(type)]
                     : kWhiteMen[static_cast<std::size_t>(type)];
    const char letter = kLetters[type];
    return std::string(1, black ? letter : static_cast<char>(letter - 'a' + 'A'));
}

bool IsContinuation(char c) { return (static_cast<unsigned char>(c) & 0xC0) == 0x80; }

/// The text padded with blanks to this many columns.
std::string Padded(const std::string& text, std::size_t columns) {
    const std::string cut = Cut(text, columns);
    return cut + std::string(columns - Columns(cut), ' ');
}

}  // namespace

std::size_t Columns(const std::string& text) {
    std::size_t columns = 0;
    for (const char c : text) columns += IsContinuation(c) ? 0 : 1;
    return columns;
}

std::string Cut(const std::string& text, std::size_t columns) {
    std::size_t seen = 0;
    for (std::size_t i = 0; i < text.size(); ++i) {
        if (!IsContinuation(text[i]) && seen++ == columns) return text.substr(0, i);
    }
    return text;
}

std::vector<std::string> Wrapped(const std::vector<std::string>& lines, std::size_t columns) {
    std::vector<std::string> wrapped;
    for (std::string rest : lines) {
        while (Columns(rest) > columns) {
            std::size_t blank = rest.find_last_of(' ', Cut(rest, columns).size());
            if (blank == rest.npos) blank = rest.find(' ');
            if (blank == rest.npos) break;
            wrapped.push_back(rest.substr(0, blank));
            rest.erase(0, blank + 1);
        }
        wrapped.push_back(rest);
    }
    return wrapped;
}

std::vector<std::string> BoardLines(const CHSBRD& board, const EVAR* last, BoardStyle style) {
    std::vector<std::string> lines;
    const auto is_marked = [&](int rank, int file) {
        const int square = 16 * rank + file;
        return last && ((last->from & kSquareBits) == square || (last->to & kSquareBits) == square);
    };
    for (int row = 0; row < 8; ++row) {
        const int rank = style.flipped ? row : 7 - row;
        std::string line = std::to_string(rank + 1) + " ";
        for (int column = 0; column < 8; ++column) {
            const int file = style.flipped ? 7 - column : column;
            const bool marked = is_marked(rank, file);
            const bool dark = (rank + file) % 2 == 0;
            line += marked ? '[' : ' ';
            line += ManText(board.board[8 * rank + file], style.ascii, dark);
            line += marked ? ']' : ' ';
        }
        lines.push_back(line);
    }
    std::string letters = "  ";
    for (int column = 0; column < 8; ++column) {
        const int file = style.flipped ? 7 - column : column;
        letters += std::string(" ") + static_cast<char>('a' + file) + " ";
    }
    lines.push_back(letters);
    return lines;
}

std::vector<std::string> ScreenLines(const View& view) {
    constexpr std::size_t kBoardColumns = 30;
    constexpr std::size_t kMoveColumns = 22;
    constexpr std::size_t kMoveRows = 7;
    const bool has_last = view.last.from != 0 || view.last.to != 0;
    std::vector<std::string> lines =
        BoardLines(view.board, has_last ? &view.last : nullptr, view.style);

    // The clock of the side at the top is shown at the top.
    const std::string white = "White " + view.white_clock + (view.board.color == 0 ? "  <" : "");
    const std::string black = "Black " + view.black_clock + (view.board.color != 0 ? "  <" : "");
    std::vector<std::string> right;
    right.push_back(Padded(view.style.flipped ? white : black, kMoveColumns) + view.level);
    const std::size_t room = 2 * kMoveRows;
    const std::size_t first = view.moves.size() > room ? view.moves.size() - room : 0;
    for (std::size_t row = 0; row < kMoveRows; ++row) {
        std::string line;
        for (std::size_t at = first + row; at < view.moves.size(); at += kMoveRows) {
            line += Padded(view.moves[at], kMoveColumns);
        }
        right.push_back(line);
    }
    right.push_back(view.style.flipped ? black : white);
    for (std::size_t row = 0; row < lines.size(); ++row) {
        lines[row] = Padded(lines[row], kBoardColumns) + right[row];
    }
    lines.push_back(view.opening);
    lines.push_back(view.status);
    // The line of thought may take two rows.
    std::string rest = view.thinking;
    for (int row = 0; row < 2; ++row) {
        std::string part = Cut(rest, kScreenWidth);
        if (part.size() < rest.size()) {
            const std::size_t blank = part.find_last_of(' ');
            if (blank != part.npos && row == 0) part.resize(blank);
        }
        lines.push_back(part);
        rest.erase(0, std::min(part.size() + 1, rest.size()));
    }
    lines.push_back(std::string(kScreenWidth, '-'));
    for (std::string& line : lines) line = Cut(line, kScreenWidth);
    return lines;
}

}  // namespace torval
