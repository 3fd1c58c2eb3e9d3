#include "search/engine_test.h"
#include "apps/makers/set_up.h"

#include <algorithm>
#include <sstream>

namespace torval {

std::vector<SentMessage> sent_messages;
std::vector<std::uint16_t> sent_clocks;
std::uint32_t EngineTest::fake_now = 0;
std::uint32_t EngineTest::fake_step = 0;
int EngineTest::fake_looks = 0;
void (*EngineTest::on_look)(int) = nullptr;

LEVEL LevelOf(int mode, int depth1, int time1, int moves1, int time2, int moves2) {
    LEVEL level = {};
    level.mode = static_cast<std::uint16_t>(mode);
    level.depth1 = static_cast<std::int16_t>(depth1);
    level.depth2 = -13;
    level.time1 = static_cast<std::uint16_t>(time1);
    level.moves1 = static_cast<std::uint16_t>(moves1);
    level.time2 = static_cast<std::uint16_t>(time2);
    level.moves2 = static_cast<std::uint16_t>(moves2);
    return level;
}

std::string Hex(Move move) {
    constexpr const char* kDigits = "0123456789abcdef";
    std::string text;
    for (const unsigned byte : {move.from, move.to, move.flags, move.capture}) {
        text += kDigits[byte >> 4];
        text += kDigits[byte & 15];
    }
    return text;
}

CHSBRD Mirrored(const CHSBRD& board) {
    CHSBRD mirrored = board;
    for (unsigned i = 0; i < 64; ++i) {
        const std::uint8_t code = board.board[i ^ 56];
        mirrored.board[i] = code ? CodeOf(!SideOf(code), TypeOf(code)) : std::uint8_t{0};
    }
    mirrored.castle = static_cast<std::uint8_t>(board.castle << 4 | board.castle >> 4);
    mirrored.color = board.color ^ 1;
    return mirrored;
}

CHSBRD StoredPosition() {
    CHSBRD board;
    StorePosition(&board);
    return board;
}

CHSBRD RandomBoard(TestRandom* random, int most_men) {
    CHSBRD board = {};
    board.color = static_cast<std::uint8_t>(random->Below(2));
    for (const Side side : {White, Black}) {
        const int men = random->Below(most_men);
        const int favourite = 1 + random->Below(5);
        for (int i = 0; i <= men; ++i) {
            int square = random->Below(64);
            while (board.board[square] != 0) square = random->Below(64);
            const int type = i == 0 ? King : random->Below(2) ? favourite : 1 + random->Below(5);
            board.board[square] = CodeOf(side, type);
        }
    }
    // A right that its men do not bear out is refused, so all are gone unless they stand at home.
    board.castle = static_cast<std::uint8_t>(random->Below(4) ? 0x77 : 0xFF);
    CHSBRD with_rights = board;
    with_rights.castle = static_cast<std::uint8_t>(random->Below(256));
    CHSBRD checked = with_rights;
    return ValidatePosition(&checked) == StatusOk ? with_rights : board;
}

bool PlayRandomMove(TestRandom* random) {
    const MoveList& legal = GenerateLegal();
    const std::vector<Move> moves = MovesOf(legal.quiet_head);
    ReleaseMoves(legal);
    if (moves.empty()) return false;
    MakeMove(Plain(moves[static_cast<unsigned>(random->Below(static_cast<int>(moves.size())))]));
    GamePly.fetch_add(1);
    return true;
}

std::ostream& operator<<(std::ostream& out, const SearchRecord& record) {
    out << "depth " << record.depth << " score " << record.score << " nodes " << record.nodes << "/"
        << record.qnodes << " line";
    for (const std::string& move : record.line) out << " " << move;
    return out;
}

void EngineTest::SetUp() {
    tick_source = kSystemTicks;
    notification_sink = {};
    EngineFlags.store(0);
    SkipList.clear();
    think_controller.NodeCountdown = 30;
    think_controller.book_ply = 0;
    SetDefaultSettings();
    InitialiseEngine();
    sent_messages.clear();
    sent_clocks.clear();
}

void EngineTest::TearDown() {
    tick_source = kSystemTicks;
    notification_sink = {};
    EXPECT_TRUE(PositionIsSound());
}

void EngineTest::SetUpPosition(const std::string& fen) {
    std::string error;
    ASSERT_TRUE(SetUpFen(fen, &error)) << fen << ": " << error;
}

void EngineTest::Play(const std::string& moves) {
    std::istringstream in(moves);
    for (std::string text; in >> text;) {
        MOVES result;
        ASSERT_EQ(DoMove(text.c_str(), &result), StatusOk) << text;
    }
}

SearchRecord EngineTest::SearchTo(int depth) {
    settings_block.Level.mode = 0;
    settings_block.Level.depth1 = static_cast<std::int16_t>(depth);
    return Compute();
}

SearchRecord EngineTest::Compute() {
    MAINVAR line;
    EXPECT_EQ(ComputeMove(&line), StatusOk);
    ClearFlags(FlagBusy);
    SearchRecord record = {.vlen = line.vlen, .depth = line.depth, .score = line.score, .line = {}};
    for (int i = 0; i < line.vlen; ++i) record.line.push_back(Hex(line.bstvar[i]));
    record.nodes = think_controller.statistics.analize_cnt.load();
    record.qnodes = think_controller.statistics.Qanalized.load();
    return record;
}

void EngineTest::UseFakeTicks(std::uint32_t now, std::uint32_t step) {
    fake_now = now;
    fake_step = step;
    fake_looks = 0;
    on_look = nullptr;
    tick_source.now = [] {
        fake_now += fake_step;
        if (on_look) on_look(++fake_looks);
        return fake_now;
    };
    tick_source.sleep = [](std::uint32_t ms) { fake_now += ms; };
}

}  // namespace torval
