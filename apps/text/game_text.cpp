#include "apps/text/game_text.h"

#include <array>
#include <cstdio>
#include <cstdlib>

#include "apps/text/moves.h"
#include "torval/en_passant.h"

namespace torval {

namespace {

constexpr const char* kFenLetters = " pnbrqk";
constexpr int kPawn = 1;
constexpr std::uint8_t kCastling = 0x80;
constexpr std::uint8_t kPromotion = 0x70;
constexpr std::uint8_t kBlack = 8;

int IndexOf(int rank, int file) { return 8 * rank + file; }
int PromotionOf(const EVAR& move) {
    return move.flags & kCastling ? 0 : (move.flags & kPromotion) >> 4;
}

std::string FenBoard(const CHSBRD& board) {
    std::string text;
    for (int rank = 7; rank >= 0; --rank) {
        int empty = 0;
        for (int file = 0; file < 8; ++file) {
            const std::uint8_t code = board.board[IndexOf(rank, file)];
            if (code == 0) {
                ++empty;
                continue;
            }
            if (empty > 0) text += std::to_string(empty);
            empty = 0;
            const char letter = kFenLetters[code & 7];
            text += code & kBlack ? letter : static_cast<char>(letter - 'a' + 'A');
        }
        if (empty > 0) text += std::to_string(empty);
        if (rank > 0) text += '/';
    }
    return text;
}

std::string FenCastling(std::uint8_t lost) {
    constexpr std::array<std::pair<char, std::uint8_t>, 4> kRights = {
        {{'K', 1 | 2}, {'Q', 4 | 2}, {'k', 16 | 32}, {'q', 64 | 32}}};
    std::string text;
    for (const auto& [letter, bits] : kRights) {
        if (!(lost & bits)) text += letter;
    }
    return text.empty() ? "-" : text;
}

}  // namespace

MoveCounts CountsAfter(const EVAR& move, const CHSBRD& before, MoveCounts counts) {
    const bool by_pawn = (move.flags & 7) == kPawn || PromotionOf(move) != 0;
    counts.half_moves = by_pawn || move.capture ? 0 : counts.half_moves + 1;
    if (before.color != 0) ++counts.move_number;
    return counts;
}

std::string FenText(const CHSBRD& board, const EVAR* last, MoveCounts counts) {
    const auto passed = last ? EnPassantSquare(*last, board) : std::nullopt;
    return FenBoard(board) + (board.color == 0 ? " w " : " b ") + FenCastling(board.castle) + " " +
           (passed ? SquareText(*passed) : "-") + " " + std::to_string(counts.half_moves) + " " +
           std::to_string(counts.move_number);
}

std::string NumberText(const CHSBRD& before, MoveCounts counts) {
    return std::to_string(counts.move_number) + (before.color == 0 ? "." : "...");
}

std::optional<int> MovesToMate(int score) {
    const int size = std::abs(score);
    // An evaluation of a hopeless position may lie beyond the mate scores; beyond them begins
    // another scale, on which the Thompson databases score distant wins and those that depend on a
    // pawn.
    if (size <= kMateUnits - kMateDepthUnits || size > kMateUnits) return std::nullopt;
    // The score counts the plies to the position before the mating move.
    const int plies = kMateUnits - size + 1;
    const int moves = (plies + 1) / 2;
    return score > 0 ? moves : -moves;
}

std::string ScoreText(int score) {
    if (const std::optional<int> moves = MovesToMate(score)) {
        return (score > 0 ? "mate in " : "mated in ") + std::to_string(std::abs(*moves));
    }
    std::array<char, 32> text;
    std::snprintf(text.data(), text.size(), "%+.2f", static_cast<double>(score) / kPawnUnits);
    return text.data();
}

std::string ClockText(int milliseconds) {
    const int seconds = (milliseconds + 999) / 1000;
    std::array<char, 32> text;
    if (seconds < 3600) {
        std::snprintf(text.data(), text.size(), "%d:%02d", seconds / 60, seconds % 60);
    } else {
        std::snprintf(text.data(),
                      text.size(),
                      "%d:%02d:%02d",
                      seconds / 3600,
                      seconds / 60 % 60,
                      seconds % 60);
    }
    return text.data();
}

}  // namespace torval
