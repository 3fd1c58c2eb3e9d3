// The numbering of positions: against a second implementation made for this project, stated totals,
// and itself.

#include <gtest/gtest.h>

#include <algorithm>
#include <fstream>
#include <random>
#include <sstream>

#include "egtb/nalimov/index.h"
#include "egtb/nalimov/lengths.h"

namespace torval {

namespace {

constexpr std::string_view kOrder = "qrbnp";

/// Reads the men of a FEN as a class sees them; `side` of the class is to move.
ClassPosition ReadFen(const std::string& fen, int side, const std::string& en_passant) {
    std::istringstream words(fen);
    std::string board;
    std::string turn;
    words >> board >> turn;
    // The class's first side is White unless the mover and its side disagree.
    const bool swapped = (turn == "w") == (side == 1);
    const unsigned turn_ranks = swapped ? 56 : 0;
    ClassPosition position;
    std::array<std::vector<std::pair<std::size_t, unsigned>>, 2> men;
    unsigned square = 56;
    for (const char c : board) {
        if (c == '/') {
            square -= 16;
        } else if (c >= '1' && c <= '8') {
            square += static_cast<unsigned>(c - '0');
        } else {
            const bool white = c >= 'A' && c <= 'Z';
            const std::size_t of = white == swapped ? 1 : 0;
            const char letter = static_cast<char>(white ? c - 'A' + 'a' : c);
            if (letter == 'k') {
                position.king[of] = static_cast<std::uint8_t>(square ^ turn_ranks);
            } else {
                men[of].emplace_back(kOrder.find(letter), square ^ turn_ranks);
            }
            ++square;
        }
    }
    for (std::size_t of = 0; of < 2; ++of) {
        std::ranges::stable_sort(men[of], {}, [](const auto& man) { return man.first; });
        for (std::size_t i = 0; i < men[of].size(); ++i) {
            position.men[of][i] = static_cast<std::uint8_t>(men[of][i].second);
        }
    }
    if (en_passant != "-") {
        const auto target = static_cast<unsigned>((en_passant[1] - '1') * 8 + en_passant[0] - 'a');
        position.en_passant = static_cast<int>(target ^ turn_ranks);
    }
    return position;
}

class IndexTest : public testing::Test {
protected:
    IndexTest() { BuildIndexTables(); }
};

TEST_F(IndexTest, TheClassesInTheirOrder) {
    EXPECT_EQ(FindClass("kpk"), 1);
    EXPECT_EQ(FindClass("kqk"), 5);
    EXPECT_EQ(FindClass("kqkr"), 19);
    EXPECT_EQ(FindClass("kppkp"), 36);
    EXPECT_EQ(FindClass("kqqqk"), 145);
    EXPECT_EQ(FindClass("kkq"), 0);
    std::string symmetric;
    std::string wide;
    for (const TablebaseClass& entry : kTablebaseClasses) {
        if (entry.IsSymmetric()) symmetric.append(entry.Name()) += ' ';
        if (entry.HasWideEntries()) wide.append(entry.Name()) += ' ';
    }
    EXPECT_EQ(symmetric, "kk knkn kbkb krkr kqkq knnknn kbbkbb krrkrr kqqkqq ");
    EXPECT_EQ(wide, "krnknn krnkbb krbknn kqnkrr ");
}

TEST_F(IndexTest, TheNumbersOfAnIndependentImplementation) {
    std::ifstream in(TORVAL_TEST_DATA "/reference/tablebase/index.tsv");
    int compared = 0;
    std::string line;
    std::getline(in, line);
    while (std::getline(in, line)) {
        std::istringstream fields(line);
        std::string name, side, fen, en_passant, index;
        std::getline(fields, name, '\t');
        std::getline(fields, side, '\t');
        std::getline(fields, fen, '\t');
        std::getline(fields, en_passant, '\t');
        std::getline(fields, index, '\t');
        const int id = FindClass(name);
        const int to_move = std::stoi(side);
        const ClassPosition position = ReadFen(fen, to_move, en_passant);
        const auto found = IndexOf(id, to_move, position);
        ASSERT_TRUE(found) << line;
        EXPECT_EQ(*found, std::stoull(index)) << line;
        const auto back = PositionAt(id, to_move, *found);
        ASSERT_TRUE(back) << line;
        EXPECT_EQ(IndexOf(id, to_move, *back), *found);
        ++compared;
    }
    EXPECT_EQ(compared, 449);
}

TEST_F(IndexTest, AsManyPositionsAsThereAre) {
    struct Case {
        const char* name;
        std::uint64_t first, second;
    };
    for (const Case& c : {Case{"kpk", 81664, 84012},
                          Case{"knk", 26282, 28644},
                          Case{"kbk", 27243, 28644},
                          Case{"krk", 27036, 28644},
                          Case{"kqk", 25635, 28644},
                          Case{"kpkp", 3863492, 3863492},
                          Case{"kqkr", 1563735, 1649196}}) {
        EXPECT_EQ(IndexCount(FindClass(c.name), 0), c.first) << c.name;
        EXPECT_EQ(IndexCount(FindClass(c.name), 1), c.second) << c.name;
    }
}

TEST_F(IndexTest, EveryLengthFollowsFromTheRule) {
    for (int id = 1; id < kClasses; ++id) {
        for (const int side : {0, 1}) {
            EXPECT_EQ(CountEntries(id, side),
                      kEntryCounts[static_cast<std::size_t>(id)][static_cast<std::size_t>(side)])
                << kTablebaseClasses[static_cast<std::size_t>(id)].Name() << " " << side;
        }
    }
    const auto stated = [](const char* name, std::uint32_t first, std::uint32_t second) {
        const auto& counts = kEntryCounts[static_cast<std::size_t>(FindClass(name))];
        return counts[0] == first && counts[1] == second;
    };
    EXPECT_TRUE(stated("kqk", 25629, 28644));
    EXPECT_TRUE(stated("krk", 27030, 28644));
    EXPECT_TRUE(stated("kqqqk", 12479974, 17472840));
    EXPECT_TRUE(stated("kqqqkq", 736854363, 922603650));
}

/// Whether an index belongs to a class, and leads back to itself.
void ExpectRoundTrip(int id, int side, std::uint64_t index) {
    const auto position = PositionAt(id, side, index);
    if (!position) return;
    EXPECT_EQ(IndexOf(id, side, *position), index)
        << kTablebaseClasses[static_cast<std::size_t>(id)].Name() << " " << side;
}

TEST_F(IndexTest, KnownPlacesOfThreePawns) {
    constexpr int kBlackToMove = 1;
    for (const std::uint64_t index :
         {0x0362BC7C, 0x0362DE44, 0x03637648, 0x03639810, 0x038D4F29, 0x040A2CAB, 0x043C778C}) {
        const auto position = PositionAt(FindClass("kppkp"), kBlackToMove, index);
        ASSERT_TRUE(position);
        EXPECT_TRUE(IsLegal(FindClass("kppkp"), kBlackToMove, *position));
        EXPECT_EQ(position->men[0][0], 20) << "a pawn on e3";
        EXPECT_EQ(position->men[0][1], 28) << "and one on e4";
        EXPECT_EQ(position->men[1][0] % 8, 1) << "against a b-pawn";
    }
}

TEST_F(IndexTest, WhatCannotBePlacedHasNoIndex) {
    const int knk = FindClass("knk");
    const auto place = [](std::uint8_t first, std::uint8_t second, std::uint8_t man) {
        return ClassPosition{.king = {first, second}, .men = {{{man}, {}}}};
    };
    EXPECT_TRUE(IndexOf(knk, 0, place(0, 63, 9)));
    EXPECT_FALSE(IndexOf(knk, 0, place(0, 63, 63))) << "on the defending king";
    EXPECT_FALSE(IndexOf(knk, 0, place(0, 63, 0))) << "on the attacking king";
    EXPECT_FALSE(IndexOf(knk, 0, place(0, 63, 46))) << "gives check";
    EXPECT_FALSE(IndexOf(knk, 0, place(0, 9, 40))) << "kings adjacent";
    EXPECT_FALSE(IndexOf(knk, 1, place(0, 9, 40)));
    EXPECT_FALSE(IndexOf(FindClass("kpk"), 0, place(0, 63, 5))) << "a pawn on rank 1";
    ClassPosition capture = {.king = {4, 60}, .men = {{{32}, {33}}}, .en_passant = 41};
    EXPECT_TRUE(IndexOf(FindClass("kpkp"), 0, capture));
    capture.en_passant = 42;
    EXPECT_FALSE(IndexOf(FindClass("kpkp"), 0, capture));
    capture.en_passant = 41;
    capture.king[1] = 49;
    EXPECT_FALSE(IndexOf(FindClass("kpkp"), 0, capture)) << "a king where the pawn came from";
}

TEST_F(IndexTest, LeadsBackFromSamplesOfEveryClass) {
    constexpr int kSamples = 300;
    std::mt19937_64 random(4711);
    for (int id = kFirstFourMen; id < kClasses; ++id) {
        for (const int side : {0, 1}) {
            const std::uint64_t count = IndexCount(id, side);
            for (int i = 0; i < kSamples; ++i) ExpectRoundTrip(id, side, random() % count);
            // The en passant range, where there is one, comes last.
            for (std::uint64_t i = 1; i <= kSamples; ++i) ExpectRoundTrip(id, side, count - i);
        }
    }
}

TEST_F(IndexTest, SymmetricPositionsShareAnIndex) {
    constexpr int kRounds = 20000;
    std::mt19937 random(4711);
    const auto square = [&random] { return static_cast<std::uint8_t>(random() % 64); };
    for (int i = 0; i < kRounds; ++i) {
        const int id = 1 + static_cast<int>(random() % (kFirstSixMen - 1));
        const int side = static_cast<int>(random() % 2);
        const bool pawns = kTablebaseClasses[static_cast<std::size_t>(id)].HasPawns();
        ClassPosition position;
        for (std::size_t of = 0; of < 2; ++of) {
            position.king[of] = square();
            for (std::uint8_t& man : position.men[of]) man = square();
        }
        const auto index = IndexOf(id, side, position);
        for (const unsigned mask : {7U, 56U, 63U}) {
            if (pawns && mask != 7) continue;
            ClassPosition mirrored = position;
            for (std::size_t of = 0; of < 2; ++of) {
                mirrored.king[of] ^= static_cast<std::uint8_t>(mask);
                for (std::uint8_t& man : mirrored.men[of]) man ^= static_cast<std::uint8_t>(mask);
            }
            EXPECT_EQ(IndexOf(id, side, mirrored), index);
        }
    }
}

/// Calls visit(position) for each way to place the men on squares of their own, equal men once, and
/// each en passant capture that they allow. The attacker's king stays on files a to d.
template <typename Visit>
void ForEachPlacement(int id, int side, Visit visit) {
    const TablebaseClass& entry = kTablebaseClasses[static_cast<std::size_t>(id)];
    struct Man {
        std::size_t of;
        std::size_t place;
        unsigned type;
    };
    std::vector<Man> men;
    for (const std::size_t of : {0U, 1U}) {
        std::size_t place = 0;
        for (unsigned type = Queen; type >= Pawn; --type) {
            for (int i = 0; i < entry.men[of][type]; ++i) men.push_back({of, place++, type});
        }
    }
    const auto attacker = static_cast<std::size_t>(side);
    ClassPosition at;
    const auto add = [&](const auto& self, std::size_t next, std::uint64_t taken) -> void {
        if (next < men.size()) {
            const Man& man = men[next];
            const bool equal =
                next > 0 && men[next - 1].of == man.of && men[next - 1].type == man.type;
            const bool pawn = man.type == Pawn;
            unsigned square = equal ? at.men[man.of][man.place - 1U] : pawn ? 8U : 0U;
            for (; square < (pawn ? 56U : 64U); ++square) {
                if (taken >> square & 1) continue;
                at.men[man.of][man.place] = static_cast<std::uint8_t>(square);
                self(self, next + 1, taken | std::uint64_t{1} << square);
            }
            return;
        }
        at.en_passant = kNoEnPassant;
        visit(at);
        // The first side's pawns go up. Only kpkp has both sides' pawns among four men.
        if (men.size() != 2 || entry.men[0][Pawn] == 0 || entry.men[1][Pawn] == 0) return;
        const int taker = at.men[attacker][0];
        const int stepped = at.men[1 - attacker][0];
        const int ahead = side == 0 ? 8 : -8;
        if (stepped / 8 != (side == 0 ? 4 : 3) || taker / 8 != stepped / 8) return;
        if (std::abs(taker - stepped) != 1) return;
        if ((taken >> (stepped + ahead) & 1) != 0 || (taken >> (stepped + 2 * ahead) & 1) != 0)
            return;
        at.en_passant = stepped + ahead;
        visit(at);
    };
    for (std::uint8_t a = 0; a < 64; ++a) {
        if (a % 8 > 3) continue;
        for (std::uint8_t d = 0; d < 64; ++d) {
            if (std::abs(a % 8 - d % 8) <= 1 && std::abs(a / 8 - d / 8) <= 1) continue;
            at.king[attacker] = a;
            at.king[1 - attacker] = d;
            add(add, 0, std::uint64_t{1} << a | std::uint64_t{1} << d);
        }
    }
}

/// The position with all squares turned.
template <typename Turn>
ClassPosition Turned(const ClassPosition& position, Turn turn) {
    ClassPosition turned = position;
    for (std::size_t of = 0; of < 2; ++of) {
        turned.king[of] = static_cast<std::uint8_t>(turn(position.king[of]));
        for (std::uint8_t& man : turned.men[of]) man = static_cast<std::uint8_t>(turn(man));
    }
    if (position.en_passant != kNoEnPassant) {
        turned.en_passant = static_cast<int>(turn(static_cast<unsigned>(position.en_passant)));
    }
    return turned;
}

/// All images of a position have its index, and as many legal positions as the images make up can be
/// placed on a board: so each of them has one index, and shares it with its images alone.
void ExpectOneIndexForEachLegalPosition(int id) {
    const TablebaseClass& entry = kTablebaseClasses[static_cast<std::size_t>(id)];
    const auto diagonal = [](unsigned square) { return square >> 3 | (square & 7) << 3; };
    for (const int side : {0, 1}) {
        std::uint64_t images = 0;
        for (std::uint64_t i = 0; i < IndexCount(id, side); ++i) {
            const auto position = PositionAt(id, side, i);
            if (!position || !IsLegal(id, side, *position)) continue;
            for (const unsigned mask : {0U, 7U, 56U, 63U}) {
                if (entry.HasPawns() && mask > 7) continue;
                const ClassPosition image =
                    Turned(*position, [mask](unsigned square) { return square ^ mask; });
                ASSERT_EQ(IndexOf(id, side, image), i) << entry.Name() << side;
                ++images;
                // With both kings on the diagonal a mirror image has an index of its own.
                const auto on_diagonal = [](int square) { return square / 8 == square % 8; };
                if (entry.HasPawns()) continue;
                if (on_diagonal(position->king[0]) && on_diagonal(position->king[1])) continue;
                ASSERT_EQ(IndexOf(id, side, Turned(image, diagonal)), i) << entry.Name() << side;
                ++images;
            }
        }
        std::uint64_t legal = 0;
        ForEachPlacement(id, side, [&](const ClassPosition& position) {
            if (IsLegal(id, side, position)) legal += 2;
        });
        EXPECT_EQ(images, legal) << entry.Name() << side;
    }
}

TEST_F(IndexTest, OneIndexForEachLegalPositionOfThreeMen) {
    for (int id = 1; id < kFirstFourMen; ++id) ExpectOneIndexForEachLegalPosition(id);
}

TEST_F(IndexTest, SlowOneIndexForEachLegalPositionOfFourMen) {
    for (int id = kFirstFourMen; id < kFirstFiveMen; ++id) ExpectOneIndexForEachLegalPosition(id);
}

/// docs/formats/tablebase.md works these out by hand.
TEST_F(IndexTest, TheExamplesOfTheFormatPage) {
    BuildIndexTables();
    struct Case {
        const char* name;
        int side;
        ClassPosition position;
        std::uint64_t index;
    };
    const std::vector<Case> cases = {
        {"krk", 0, {.king = {0, 18}, .men = {{{9}}}}, 712},
        {"krk", 1, {.king = {0, 18}, .men = {{{9}}}}, 21522},
        {"kpkp", 1, {.king = {6, 62}, .men = {{{28}, {27}}}, .en_passant = 20}, 3839765},
    };
    for (const Case& c : cases) {
        EXPECT_EQ(IndexOf(FindClass(c.name), c.side, c.position), c.index) << c.name << c.side;
    }
}

}  // namespace

}  // namespace torval
