#include <fstream>
#include <sstream>

#include "board/legality.h"
#include "board/make.h"
#include "game/game.h"
#include "support/board_fixture.h"

namespace torval {
namespace {

std::uint64_t Perft(int depth) {
    const MoveList& list = GenerateLegal();
    std::uint64_t leaves = 0;
    if (depth == 1) {
        leaves = static_cast<std::uint64_t>(list.count);
    } else {
        for (const MoveEntry* entry = EntryAt(list.quiet_head); entry; entry = NextEntry(*entry)) {
            MakeMove(Plain(entry->move));
            leaves += Perft(depth - 1);
            UnmakeMove();
        }
    }
    ReleaseMoves(list);
    return leaves;
}

std::uint64_t PerftOf(std::string_view fen, int depth) {
    PutFen(fen);
    const std::uint64_t leaves = Perft(depth);
    EXPECT_TRUE(PositionIsSound()) << fen;
    return leaves;
}

// Published counts: the usual six test positions, and positions of promotions and of castling.
struct PerftCase {
    const char* name;
    const char* fen;
    int depth;
    std::uint64_t leaves;
    std::uint64_t leaves_one_less;  ///< at depth - 1, for builds that check every access
};
void PrintTo(const PerftCase& c, std::ostream* out) { *out << c.fen; }

class PerftTest : public BoardTest, public testing::WithParamInterface<PerftCase> {};

TEST_P(PerftTest, CountsAsPublished) {
    const PerftCase& c = GetParam();
    EXPECT_EQ(PerftOf(c.fen, c.depth - 1), c.leaves_one_less);
    if (kSlowdown == 1) {
        EXPECT_EQ(PerftOf(c.fen, c.depth), c.leaves);
    }
}

INSTANTIATE_TEST_SUITE_P(
    Board,
    PerftTest,
    testing::Values(
        PerftCase{"Start",
                  "rnbqkbnr/pppppppp/8/8/8/8/PPPPPPPP/RNBQKBNR w KQkq - 0 1",
                  5,
                  4865609,
                  197281},
        PerftCase{"Kiwipete",
                  "r3k2r/p1ppqpb1/bn2pnp1/3PN3/1p2P3/2N2Q1p/PPPBBPPP/R3K2R w KQkq - 0 1",
                  4,
                  4085603,
                  97862},
        PerftCase{"PinnedPawns", "8/2p5/3p4/KP5r/1R3p1k/8/4P1P1/8 w - - 0 1", 6, 11030083, 674624},
        PerftCase{"FourthPosition",
                  "r3k2r/Pppp1ppp/1b3nbN/nP6/BBP1P3/q4N2/Pp1P2PP/R2Q1RK1 w kq - 0 1",
                  5,
                  15833292,
                  422333},
        PerftCase{"FourthPositionMirrored",
                  "r2q1rk1/pP1p2pp/Q4n2/bbp1p3/Np6/1B3NBn/pPPP1PPP/R3K2R b KQ - 0 1",
                  5,
                  15833292,
                  422333},
        PerftCase{"FifthPosition",
                  "rnbq1k1r/pp1Pbppp/2p5/8/2B5/8/PPP1NnPP/RNBQK2R w KQ - 1 8",
                  4,
                  2103487,
                  62379},
        PerftCase{"SixthPosition",
                  "r4rk1/1pp1qppp/p1np1n2/2b1p1B1/2B1P1b1/P1NP1N2/1PP1QPPP/R4RK1 w - - 0 10",
                  4,
                  3894594,
                  89890},
        PerftCase{"Promotions", "n1n5/PPPk4/8/8/8/8/4Kppp/5N1N b - - 0 1", 5, 3605103, 182838},
        PerftCase{"Castling", "r3k2r/8/8/8/8/8/8/R3K2R w KQkq - 0 1", 5, 7594526, 314346}),
    [](const auto& test) { return test.param.name; });

TEST_F(PerftTest, LetsARookCastleWhereAnotherWasTaken) {
    for (const char* fen :
         {"1k6/8/8/8/R7/1n6/8/R3K3 b Q - 0 1", "r3k3/8/1N6/r7/8/8/8/1K6 w q - 0 1"}) {
        EXPECT_EQ(PerftOf(fen, 3), slow::Chess(fen).Perft(3));
        EXPECT_EQ(PerftOf(fen, 5), 346695U + 16) << "16 lines castle with the other rook";
    }
}

// ---- Files of counts: "FEN ;D1 n ;D2 n ..." --------------------------------------------------

struct FileCase {
    const char* file;
    std::uint64_t most_leaves;  ///< the largest count of a line that is tried
};
void PrintTo(const FileCase& c, std::ostream* out) { *out << c.file; }

class PerftFileTest : public BoardTest, public testing::WithParamInterface<FileCase> {};

TEST_P(PerftFileTest, CountsTheDeepestDepthWithinTheLimitOfEveryLine) {
    const std::string path = std::string(TORVAL_TEST_DATA "/") + GetParam().file;
    std::ifstream in(path);
    int tried = 0;
    for (std::string line; std::getline(in, line);) {
        std::istringstream fields(line);
        std::string fen, field;
        std::getline(fields, fen, ';');
        int depth = 0;
        std::uint64_t leaves = 0;
        while (std::getline(fields, field, ';')) {
            std::istringstream numbers(field.substr(1));
            int d = 0;
            std::uint64_t n = 0;
            ASSERT_TRUE(numbers >> d >> n) << line;
            if (n > GetParam().most_leaves / kSlowdown) continue;
            depth = d;
            leaves = n;
        }
        if (depth == 0) continue;
        EXPECT_EQ(PerftOf(fen, depth), leaves) << line << ", depth " << depth;
        ++tried;
    }
    EXPECT_GT(tried, 0) << path;
}

std::string FileName(const testing::TestParamInfo<FileCase>& test) {
    std::string name;
    for (const char c : std::string(test.param.file)) {
        if (std::isalpha(static_cast<unsigned char>(c))) name += c;
    }
    return name;
}

constexpr std::uint64_t kQuick = 1000000;
constexpr std::uint64_t kLong = 10000000;

INSTANTIATE_TEST_SUITE_P(Board,
                         PerftFileTest,
                         testing::Values(FileCase{"perft.epd", kQuick},
                                         FileCase{"perft-double-check.epd", kQuick},
                                         FileCase{"perft-en-passant.epd", kQuick},
                                         FileCase{"perft-random.epd", kQuick}),
                         FileName);

INSTANTIATE_TEST_SUITE_P(Slow,
                         PerftFileTest,
                         testing::Values(FileCase{"perft.epd", kLong},
                                         FileCase{"perft-en-passant.epd", kLong},
                                         FileCase{"perft-random.epd", kLong}),
                         FileName);

}  // namespace
}  // namespace torval
