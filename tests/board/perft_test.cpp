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

class PerftTest : public BoardTest {};

TEST_F(PerftTest, LetsARookCastleWhereAnotherWasTaken) {
    struct Row {
        const char* fen;
        std::uint64_t published, more;  // at depth 5
    };
    for (const Row& row : {Row{"1k6/8/8/8/R7/1n6/8/R3K3 b Q - 0 1", 346695, 16},
                           Row{"1k6/1b6/8/8/7R/8/8/4K2R b K - 0 1", 1063513, 29}}) {
        for (const std::string& fen : {std::string(row.fen), Mirrored(row.fen)}) {
            constexpr int kDepth = kSlowdown == 1 ? 4 : 3;  // the second castling comes at 4
            EXPECT_EQ(PerftOf(fen, kDepth), slow::Chess(fen).Perft(kDepth)) << fen;
            EXPECT_EQ(PerftOf(fen, 5), row.published + row.more) << fen;
        }
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
                         testing::Values(FileCase{"perft-published.epd", 2 * kLong},
                                         FileCase{"perft.epd", kQuick},
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
