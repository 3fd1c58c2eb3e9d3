#include "egtb/thompson/thompson_index.h"

#include <utility>

#include "egtb/king_pairs.h"

namespace torval {

namespace {

constexpr unsigned kFiles = 7;   // exclusive or: mirrors the files
constexpr unsigned kRanks = 56;  // mirrors the ranks
constexpr unsigned kPlaces = 10;

/// What has become of the mirror in the diagonal a1-h8 by the men placed so far.
enum State : std::uint8_t {
    Open,  ///< all of them stand on the diagonal
    Keep,  ///< one stood below it: the rest stays
    Swap,  ///< one stood above it: the rest is mirrored
    kStates
};

struct Transformed {
    std::uint8_t square;
    State next;
};

constexpr std::uint8_t Swapped(unsigned square) {
    return static_cast<std::uint8_t>(square % 8 * 8 + square / 8);
}

constexpr Transformed Transform(State state, unsigned square) {
    const auto same = static_cast<std::uint8_t>(square);
    if (state == Keep) return {same, Keep};
    if (state == Swap) return {Swapped(square), Swap};
    if (square % 8 > square / 8) return {same, Keep};
    if (square % 8 < square / 8) return {Swapped(square), Swap};
    return {same, Open};
}

struct FirstKing {
    std::uint8_t mirror;
    std::uint8_t place;
    State state;
};

/// The squares of the first king behind all symmetries, by place.
constexpr std::array<std::uint8_t, kPlaces> kTriangle = {0, 1, 2, 3, 9, 10, 11, 18, 19, 27};

constexpr auto kFirstKing = [] {
    std::array<FirstKing, 64> table = {};
    for (unsigned square = 0; square < 64; ++square) {
        const unsigned mirror = (square % 8 >= 4 ? kFiles : 0) | (square / 8 >= 4 ? kRanks : 0);
        const Transformed king = Transform(Open, square ^ mirror);
        std::uint8_t place = 0;
        while (kTriangle[place] != king.square) ++place;
        table[square] = {static_cast<std::uint8_t>(mirror), place, king.next};
    }
    return table;
}();

constexpr auto kTransformed = [] {
    std::array<std::array<Transformed, 64>, kStates> table = {};
    for (const State state : {Open, Keep, Swap}) {
        for (unsigned square = 0; square < 64; ++square) {
            table[state][square] = Transform(state, square);
        }
    }
    return table;
}();

constexpr auto kKingPair = [] {
    const KingPairNumbers numbers = NumberKingPairs(false);
    std::array<std::array<std::uint16_t, 64>, kPlaces> table = {};
    for (unsigned place = 0; place < kPlaces; ++place) table[place] = numbers[kTriangle[place]];
    return table;
}();

/// The squares of both kings by the number of their pair.
constexpr auto kKingsOfPair = [] {
    std::array<std::pair<std::uint8_t, std::uint8_t>, kPawnlessKingPairs> table = {};
    for (unsigned place = 0; place < kPlaces; ++place) {
        for (unsigned square = 0; square < 64; ++square) {
            const std::uint16_t pair = kKingPair[place][square];
            if (pair == kNoKingPair) continue;
            table[pair] = {kTriangle[place], static_cast<std::uint8_t>(square)};
        }
    }
    return table;
}();

constexpr std::uint32_t Join(std::uint32_t high, unsigned a, unsigned b, unsigned c) {
    return high << 18 | a << 12 | b << 6 | c;
}

std::optional<std::uint32_t> IndexWithoutPawns(const ThompsonSquares& squares) {
    const FirstKing& first = kFirstKing[squares[0]];
    State state = first.state;
    std::array<std::uint8_t, kThompsonMen> at = {};
    for (std::size_t i = 1; i < squares.size(); ++i) {
        const Transformed& man = kTransformed[state][squares[i] ^ first.mirror];
        at[i] = man.square;
        state = man.next;
    }
    const std::uint16_t pair = kKingPair[first.place][at[1]];
    if (pair == kNoKingPair) return std::nullopt;
    return Join(pair, at[2], at[3], at[4]);
}

std::optional<std::uint32_t> IndexWithPawn(ThompsonSquares squares) {
    if (squares[2] == squares[0]) return 0;
    const unsigned rank = squares[2] / 8;
    if (rank == 0 || rank == 7) return std::nullopt;
    const unsigned mirror = squares[2] % 8 >= 4 ? kFiles : 0;
    for (std::uint8_t& square : squares) square ^= static_cast<std::uint8_t>(mirror);
    const std::uint32_t pawn = squares[2] % 8 * 6 + rank - 1;
    return Join(pawn << 6 | squares[0], squares[1], squares[3], squares[4]);
}

}  // namespace

std::optional<std::uint32_t> ThompsonIndex(ThompsonType type, const ThompsonSquares& squares) {
    return type == ThompsonType::WithPawn ? IndexWithPawn(squares) : IndexWithoutPawns(squares);
}

ThompsonSquares ThompsonSquaresAt(ThompsonType type, std::uint32_t index) {
    const auto digit = [index](unsigned shift) {
        return static_cast<std::uint8_t>(index >> shift & 63);
    };
    if (type == ThompsonType::WithPawn) {
        const std::uint32_t pawn = index >> 24;
        const auto square = static_cast<std::uint8_t>((pawn % 6 + 1) * 8 + pawn / 6);
        return {digit(18), digit(12), square, digit(6), digit(0)};
    }
    const auto [first, second] = kKingsOfPair[index >> 18];
    return {first, second, digit(12), digit(6), digit(0)};
}

}  // namespace torval
