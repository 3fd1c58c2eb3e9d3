// Tables made from the rules, against files and values that a second implementation made for this
// project, and against known mates.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <climits>
#include <random>

#include "apps/makers/tables/generator.h"
#include "apps/makers/tables/table_file.h"
#include "apps/text/console.h"
#include "apps/text/fen.h"
#include "egtb/nalimov/lengths.h"
#include "support/made_tables.h"
#include "support/slow_chess.h"

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
    if (parsed->double_step.empty()) return board;
    // The parsed position is the one before the pawn's step.
    const auto square_at = [&](std::size_t i) {
        return (parsed->double_step[i + 1] - '1') * 8 + parsed->double_step[i] - 'a';
    };
    for (std::uint8_t& square : board.side[board.to_move].square) {
        if (square == square_at(0)) square = static_cast<std::uint8_t>(square_at(2));
    }
    board.to_move ^= 1;
    board.en_passant = (square_at(0) + square_at(2)) / 2;
    return board;
}

const TableSet& ThreeMen() {
    static const TableSet tables = MakeClassesBefore(kFirstFourMen);
    return tables;
}

/// Compares every value of the list whose position has at most this many men.
void ExpectListedValues(const TableSet& tables, int most_men, int least_rows) {
    int rows = 0;
    for (const auto& [fen, value] : ListedValues()) {
        const SmallBoard board = ReadBoard(fen);
        if (board.side[0].count + board.side[1].count + 2 > most_men) continue;
        EXPECT_EQ(tables.ValueOf(board), value) << fen;
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

/// Checks that every Nth entry agrees with those that its moves lead to.
void ExpectConsistent(const TableSet& tables, int id, std::size_t every) {
    const auto name = kTablebaseClasses[static_cast<std::size_t>(id)].Name();
    for (int side = 0; side < 2; ++side) {
        const auto& entries = tables.Of(id).side[static_cast<std::size_t>(side)];
        for (std::size_t i = 0; i < entries.size(); i += every) {
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

bool MatesWithin(const slow::Chess& chess, int moves);

/// Whether the side to move is mated within this many moves whatever it plays.
bool IsMatedWithin(const slow::Chess& chess, int moves) {
    const auto replies = chess.LegalMoves();
    if (replies.empty()) return chess.InCheck(chess.white_to_move);
    return moves > 0 && std::ranges::all_of(replies, [&](const slow::Move& move) {
               slow::Chess after = chess;
               after.Play(move);
               return MatesWithin(after, moves);
           });
}

bool MatesWithin(const slow::Chess& chess, int moves) {
    return moves > 0 && std::ranges::any_of(chess.LegalMoves(), [&](const slow::Move& move) {
               slow::Chess after = chess;
               after.Play(move);
               return IsMatedWithin(after, moves - 1);
           });
}

/// Compares values of random positions with a search of all moves by other rules: `count` positions
/// of each side of a class, half of them near mate where there are such.
void ExpectMatesOfPlainSearch(const TableSet& tables, int id, int count, int depth) {
    std::mt19937 random(static_cast<unsigned>(id));
    for (int side = 0; side < SidesOf(id); ++side) {
        const auto& entries = tables.Of(id).side[static_cast<std::size_t>(side)];
        for (int left = count, tries = 0; left > 0; ++tries) {
            const std::size_t index = random() % entries.size();
            if (entries[index] == kBrokenEntry) continue;
            const TablebaseValue value = WidenEntry(entries[index]);
            const bool near = value >= MatesIn(depth) || value <= MatedIn(depth - 1);
            constexpr int kPatience = 1000;
            if (!near && left % 2 == 0 && tries < kPatience) continue;
            --left;
            tries = 0;
            const std::string fen = FenOf(SmallBoard::Of(id, side, *PositionAt(id, side, index)));
            const slow::Chess chess(fen);
            for (int moves = 0; moves <= depth; ++moves) {
                EXPECT_EQ(MatesWithin(chess, moves), value >= MatesIn(moves)) << fen << moves;
                if (moves == depth) break;
                EXPECT_EQ(IsMatedWithin(chess, moves), value <= MatedIn(moves)) << fen << moves;
            }
        }
    }
}

TEST(Generator, ThreeMenEqualTheReferenceFiles) {
    const TableSet& tables = ThreeMen();
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
    for (int id = 1; id < kFirstFourMen; ++id) {
        ExpectConsistent(tables, id, 1);
        ExpectMatesOfPlainSearch(tables, id, 10, 1);
    }
}

TEST(Generator, DoesNotDependOnThreads) {
    for (const char* const name : {"kpk", "krk"}) {
        const int id = FindClass(name);
        for (const unsigned threads : {1U, 3U}) {
            EXPECT_EQ(Generate(
                          id, ThreeMen(), [](double) {}, threads)
                          .side,
                      ThreeMen().Of(id).side);
        }
    }
}

TEST(Generator, RefusesWhatNoByteHoldsAndWhatNobodyKnows) {
    struct Case {
        std::int8_t lost;  // in place of what a lone king loses
        const char* message;
    };
    for (const Case& c : {Case{NarrowValue(MatedIn(126)), "too long for entries of one byte"},
                          Case{kBrokenEntry, "no class below it knows"}}) {
        TableSet tables;
        for (const int id : ClassesBelow(FindClass("kpk"))) {
            ClassEntries entries = ThreeMen().Of(id);
            for (std::int8_t& entry : entries.side[1]) {
                if (entry < 0) entry = c.lost;
            }
            tables.Put(id, std::move(entries));
        }
        try {
            (void)Generate(FindClass("kpk"), tables, [](double) {});
            ADD_FAILURE() << c.message;
        } catch (const InputError& error) {
            EXPECT_THAT(error.what(), testing::HasSubstr(c.message));
        }
    }
}

TEST(Generator, SlowFourMenHoldKnownFacts) {
    const TableSet tables = MakeClassesBefore(kFirstFiveMen);
    ExpectListedValues(tables, 4, 250);
    struct Case {
        const char* name;
        int moves;
    };
    for (const Case& c : {
             Case{"kpkp", 33}, Case{"knkp", 7},  Case{"knkn", 1},  Case{"kbkp", 1},
             Case{"kbkn", 1},  Case{"kbkb", 1},  Case{"krkp", 26}, Case{"krkn", 40},
             Case{"krkb", 29}, Case{"krkr", 19}, Case{"kqkp", 28}, Case{"kqkn", 21},
             Case{"kqkb", 17}, Case{"kqkr", 35}, Case{"kqkq", 13}, Case{"kppk", 32},
             Case{"knpk", 27}, Case{"knnk", 1},  Case{"kbpk", 31}, Case{"kbnk", 33},
             Case{"kbbk", 19}, Case{"krpk", 16}, Case{"krnk", 16}, Case{"krbk", 16},
             Case{"krrk", 7},  Case{"kqpk", 10}, Case{"kqnk", 9},  Case{"kqbk", 8},
             Case{"kqrk", 6},  Case{"kqqk", 4},
         }) {
        EXPECT_EQ(LongestMate(tables, c.name), c.moves) << c.name;
    }
    for (int id = kFirstFourMen; id < kFirstFiveMen; ++id) {
        ExpectConsistent(tables, id, 11);
        ExpectMatesOfPlainSearch(tables, id, 8, 2);
    }
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
