// Endgame databases in the two hosts: what the engine reports on the way.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <atomic>
#include <cstdio>
#include <filesystem>

#include "apps/cli/positions.h"
#include "apps/host/databases.h"
#include "apps/makers/set_up.h"
#include "apps/makers/tables/position_values.h"
#include "apps/play/player.h"
#include "apps/uci/uci_loop.h"
#include "engine/notifications.h"
#include "game/game.h"
#include "platform/tick.h"
#include "state/notify.h"
#include "support/made_tables.h"

namespace torval {
namespace {

namespace fs = std::filesystem;
using testing::ElementsAre;
using testing::HasSubstr;

/// Other tests leave this process's only engine with tables and listeners of their own.
class HostDatabases : public testing::Test {
protected:
    static void SetUpTestSuite() { tables = std::make_unique<MadeTables>(); }
    static void TearDownTestSuite() { tables.reset(); }

    HostDatabases() {
        StartEngine();
        InstallNotifications();
        // A way to raise a message inside a computation.
        due = false;
        tick_source = {[] {
                           if (due.exchange(false)) notification_sink.output_msg(22, 0, 0, "");
                           return kSystemTicks.now();
                       },
                       kSystemTicks.sleep};
    }
    ~HostDatabases() override { tick_source = kSystemTicks; }

    static std::unique_ptr<MadeTables> tables;
    static inline std::atomic<bool> due = false;  ///< message 22, at the next look at the clock
};

std::unique_ptr<MadeTables> HostDatabases::tables;

class PlayDatabases : public HostDatabases {
protected:
    std::vector<std::string> Tell(const std::string& command) {
        const Reply reply = player.Execute(command);
        EXPECT_TRUE(reply.accepted) << command << testing::PrintToString(reply.lines);
        return reply.lines;
    }
    std::string Refused(const std::string& command) {
        const Reply reply = player.Execute(command);
        EXPECT_FALSE(reply.accepted) << command;
        return reply.lines.at(0);
    }
    Player player{{}};
};

TEST_F(PlayDatabases, NoticesAFileThatIsDamagedLater) {
    Tell("tb path " + tables->Folder());
    const std::vector<std::string> before = Tell("tb path");
    EXPECT_THAT(Refused("tb path  " + std::string(1023, 'x')), HasSubstr("at most 1022"));
    fs::resize_file(tables->File("krk.nbw"), 100);
    EXPECT_THAT(Refused("settings 215 9"), HasSubstr("is damaged"));
    EXPECT_EQ(Tell("tb path"), before);
}

TEST_F(PlayDatabases, TellsOfMissingVolumesOnce) {
    Tell("tb thompson /tb5");
    notification_sink.output_msg(20, 0, '/', "2 of 4");
    notification_sink.output_msg(20, 0, '/', "2 of 4");
    EXPECT_THAT(player.TakeNews(), ElementsAre(MissingVolumesSentence("2 of 4", "/tb5")));
    notification_sink.output_msg(22, 0, 0, "");
    EXPECT_THAT(player.TakeNews(), ElementsAre(kNoDatabaseMoveSentence));
    Tell("new");
    notification_sink.output_msg(22, 0, 0, "");
    EXPECT_EQ(player.TakeNews().size(), 1U) << "anew in every game";
    Tell("tb thompson none");
}

TEST(PositionValues, KnowEnPassantAndCastlingFromTheRecord) {
    struct Row {
        const char* fen;
        const char* move;
        int passed;
    };
    for (const Row& row : {Row{"8/8/8/8/2p5/8/1k1P4/5K2 w - - 0 1", "d2d4", 19},
                           Row{"8/8/8/8/p7/8/1k5P/5K2 w - - 0 1", "h2h4", kNoEnPassant},
                           Row{"5k2/p6p/8/7P/P7/8/1K6/8 b - - 0 1", "a7a5", kNoEnPassant},
                           Row{"5k2/1p6/8/P7/8/8/1K6/8 b - - 0 1", "b7b5", 41},
                           Row{"8/8/8/8/2p5/3P4/1k6/5K2 w - - 0 1", "d3d4", kNoEnPassant},
                           Row{"8/8/8/8/2p5/8/1k1R4/5K2 w - - 0 1", "d2d4", kNoEnPassant}}) {
        StartEngine();
        std::string error;
        MOVES made;
        CHSBRD board;
        ASSERT_TRUE(SetUpFen(row.fen, &error)) << error;
        ASSERT_EQ(DoMove(row.move, &made), StatusOk) << row.move;
        StorePosition(&board);
        EXPECT_EQ(PassedSquare(board, made.MOVES[0]), row.passed) << row.fen;
        EXPECT_FALSE(MayCastle(board));
    }
    CHSBRD board;
    std::string error;
    MOVES made;
    ASSERT_TRUE(SetUpFen("4k3/8/8/8/8/1n6/8/R3K3 b Q - 0 1", &error)) << error;
    StorePosition(&board);
    EXPECT_TRUE(MayCastle(board));
    ASSERT_EQ(DoMove("Nxa1", &made), StatusOk);
    StorePosition(&board);
    EXPECT_FALSE(MayCastle(board)) << "the right of a rook that was taken stays";
}

TEST(MissingVolumes, AreNamed) {
    struct Row {
        const char* text;
        const char* volumes;
    };
    for (const Row& row : {Row{"2", "volume 1"},
                           Row{"3 of 4", "volume 2 or 3"},
                           Row{"2 of 3 of 4", "volume 1, 2 or 3"}}) {
        EXPECT_EQ(MissingVolumesSentence(row.text, "c:\\"),
                  std::string("This position needs ") + row.volumes +
                      " of the Thompson databases, which is not in 'c:\\'.");
    }
    EXPECT_EQ(MissingVolumesSentence("all", ""), "Thompson databases are missing: all.");
}

TEST_F(HostDatabases, TheProtocolPassesOnWhatThompsonDatabasesLack) {
    std::FILE* const in = std::tmpfile();
    std::FILE* const out = std::tmpfile();
    ASSERT_TRUE(in && out);
    std::fputs("setoption name ThompsonPath value tb5\nposition startpos\ngo depth 2\n", in);
    std::rewind(in);
    due = true;
    RunUci(fileno(in), fileno(out));
    std::rewind(out);
    std::string answer;
    for (int byte; (byte = std::fgetc(out)) != EOF;) answer += static_cast<char>(byte);
    EXPECT_THAT(answer, HasSubstr(std::string("info string ") + kNoDatabaseMoveSentence + "\n"));
    std::fclose(in);
    std::fclose(out);
}

}  // namespace
}  // namespace torval
