// Tables made from the rules, against files and values made independently, and against known mates.

#include <gtest/gtest.h>

#include <fstream>
#include <numeric>
#include <sstream>

#include "apps/fen.h"
#include "apps/tablebase/generator.h"
#include "apps/tablebase/table_file.h"
#include "egtb/lengths.h"

namespace torval {

namespace {

std::vector<std::int8_t> ReadEntries(const std::string& name) {
    return ReadTableFile(TableFileByName(TORVAL_TEST_DATA "/reference/tablebase/" + name));
}

SmallBoard ReadBoard(const std::string& fen) {
    std::string error;
    const auto parsed = ParseFen(fen, &error);
    SmallBoard board;
    if (!parsed) {
        ADD_FAILURE() << fen << ": " << error;
        return board;
    }
    board.to_move = static_cast<std::uint8_t>(parsed->board.color);
    for (int square = 0; square < 64; ++square) {
        const auto code = static_cast<PieceCode>(parsed->board.board[square]);
        if (code == 0) continue;
        SmallBoard::Men& men = board.side[SideOf(code)];
        if (TypeOf(code) == King) {
            men.king = static_cast<std::uint8_t>(square);
        } else {
            men.type[men.count] = TypeOf(code);
            men.square[men.count++] = static_cast<std::uint8_t>(square);
        }
    }
    return board;
}

/// Classes up to but not including one, made in the order in which they need each other.
void MakeClasses(int end, TableSet* tables) {
    BuildIndexTables();
    std::vector<int> ids(static_cast<std::size_t>(end - 1));
    std::iota(ids.begin(), ids.end(), 1);
    for (const int id : InOrderOfNeed(ids)) {
        tables->Put(id, Generate(id, *tables, [](double) {}));
    }
}

/// Compares every value of the list whose position has at most so many men.
void ExpectListedValues(const TableSet& tables, int most_men, int least_rows) {
    std::ifstream in(TORVAL_TEST_DATA "/reference/tablebase/values.tsv");
    std::string line;
    std::getline(in, line);
    int rows = 0;
    while (std::getline(in, line)) {
        const std::size_t tab = line.find('\t');
        const SmallBoard board = ReadBoard(line.substr(0, tab));
        if (board.side[0].count + board.side[1].count + 2 > most_men) continue;
        EXPECT_EQ(tables.ValueOf(board), std::stoi(line.substr(tab + 1))) << line;
        ++rows;
    }
    EXPECT_GE(rows, least_rows);
}

/// The longest mate in a class with its first side to move.
int LongestMate(const TableSet& tables, const char* name) {
    int longest = 0;
    for (const std::int8_t entry : tables.Of(FindClass(name)).side[0]) {
        const TablebaseValue value = WidenEntry(entry);
        if (value > 0 && value != kUnknownValue) longest = std::max(longest, 32767 - value);
    }
    return longest;
}

/// Every entry agrees with those that its moves lead to.
void ExpectConsistent(const TableSet& tables, int id) {
    const auto name = kTablebaseClasses[static_cast<std::size_t>(id)].Name();
    for (int side = 0; side < 2; ++side) {
        const auto& entries = tables.Of(id).side[static_cast<std::size_t>(side)];
        for (std::size_t i = 0; i < entries.size(); ++i) {
            if (entries[i] == kBrokenEntry) continue;
            const SmallBoard board = SmallBoard::Of(id, side, *PositionAt(id, side, i));
            int best = INT_MIN;
            ForEachMove(board, [&](const SmallMove&, const SmallBoard& after) {
                const int value = tables.ValueOf(after);
                const int ours = value == 0  ? 0
                                 : value > 0 ? MatedIn(32767 - value)
                                             : MatesIn(32766 + value + 1);
                best = std::max(best, ours);
            });
            if (best == INT_MIN) best = board.InCheck(board.to_move) ? MatedIn(0) : kDrawValue;
            ASSERT_EQ(WidenEntry(entries[i]), best) << name << " " << side << " " << i;
        }
    }
}

TEST(Generator, ThreeMenEqualOtherMakersFiles) {
    TableSet tables;
    MakeClasses(kFirstFourMen, &tables);
    const auto expect_equal = [&](const char* name, std::size_t side, const char* file) {
        const auto expected = ReadEntries(file);
        auto made = tables.Of(FindClass(name)).side[side];
        made.resize(kEntryCounts[static_cast<std::size_t>(FindClass(name))][side]);
        EXPECT_TRUE(made == expected) << file;
    };
    expect_equal("krk", 0, "krk.nbw");
    expect_equal("kpk", 1, "kpk.nbb.emd");
    ExpectListedValues(tables, 3, 20);
    EXPECT_EQ(LongestMate(tables, "kqk"), 10);
    EXPECT_EQ(LongestMate(tables, "krk"), 16);
    EXPECT_EQ(LongestMate(tables, "kpk"), 28);
    for (int id = 1; id < kFirstFourMen; ++id) ExpectConsistent(tables, id);
}

TEST(Generator, SlowFourMenHoldKnownFacts) {
    TableSet tables;
    MakeClasses(kFirstFiveMen, &tables);
    ExpectListedValues(tables, 4, 250);
    struct Case {
        const char* name;
        int moves;
    };
    for (const Case& c : {Case{"kbbk", 19},
                          Case{"kbnk", 33},
                          Case{"kqkr", 35},
                          Case{"krkb", 29},
                          Case{"krkn", 40},
                          Case{"kqkb", 17},
                          Case{"kqkn", 21},
                          Case{"krkr", 19},
                          Case{"kqkq", 13},
                          Case{"kqqk", 4},
                          Case{"krrk", 7}}) {
        EXPECT_EQ(LongestMate(tables, c.name), c.moves) << c.name;
    }
    for (int id = kFirstFourMen; id < kFirstFiveMen; ++id) ExpectConsistent(tables, id);
}

TEST(Generator, KnowsWhatAClassNeeds) {
    const auto names = [](const char* name) {
        std::string text;
        for (const int id : ClassesBelow(FindClass(name))) {
            text.append(kTablebaseClasses[static_cast<std::size_t>(id)].Name()) += ' ';
        }
        return text;
    };
    EXPECT_EQ(names("kqk"), "");
    EXPECT_EQ(names("kpk"), "knk kbk krk kqk ");
    EXPECT_EQ(names("kqkr"), "krk kqk ");
    EXPECT_EQ(names("kpkp"), "kpk knk kbk krk kqk knkp kbkp krkp kqkp ");
}

}  // namespace

}  // namespace torval
