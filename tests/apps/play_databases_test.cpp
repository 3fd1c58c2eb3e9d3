// Endgame databases in the two hosts: paths that are taken and refused, and values in words.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <atomic>
#include <fstream>

#include "apps/cli/positions.h"
#include "apps/host/databases.h"
#include "apps/makers/set_up.h"
#include "apps/makers/tables/position_values.h"
#include "apps/play/player.h"
#include "egtb/nalimov/tablebase_files.h"
#include "engine/notifications.h"
#include "game/game.h"
#include "platform/tick.h"
#include "state/notify.h"
#include "support/made_tables.h"
#include "support/run_command.h"
#include "support/uci_dialogue.h"

namespace torval {
namespace {

namespace fs = std::filesystem;
using testing::Contains;
using testing::ElementsAre;
using testing::HasSubstr;

constexpr const char* kLongestMate = "8/8/8/8/8/2k5/1R6/K7 w - - 0 1";
constexpr const char* kTwentyCharacters = "/tmp/two/directories";
constexpr const char* kTooLong = "it has at most 19 characters, not 20";

bool IsRegistered(const char* class_name) {
    return !tablebase_files[static_cast<std::size_t>(FindClass(class_name))][0].name.empty();
}

/// Other tests leave the one engine of this process with tables and listeners of their own.
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
    ~HostDatabases() override {
        tick_source = kSystemTicks;
        fs::remove_all(damaged_);
    }

    /// A folder with a file that is too short, besides sound ones.
    const std::string& Damaged() {
        damaged_ = tables->Folder() + "_damaged";
        fs::copy(tables->Folder(), damaged_);
        fs::resize_file(damaged_ + "/krk.nbw", 100);
        return damaged_;
    }
    std::string Damage() const {
        return "'" + damaged_ + "/krk.nbw' is damaged: it has 100 entries, not 27030";
    }

    static std::unique_ptr<MadeTables> tables;
    static inline std::atomic<bool> due = false;  ///< message 22, at the next look at the clock

private:
    std::string damaged_;
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
    std::vector<std::string> NewsAfter(const std::string& command) {
        Tell(command);
        while (player.IsMoveDue()) player.Wait(-1, -1);
        return player.TakeNews();
    }
    void UseTables() { Tell("tb path " + tables->Folder()); }

    Player player{{}};
};

TEST_F(PlayDatabases, TakesPathsAndCache) {
    const std::string path = "Nalimov path: " + tables->Folder() + "; 10 files of up to 3 men, ";
    UseTables();
    EXPECT_TRUE(IsRegistered("krk"));
    Tell("tb cache 7");
    EXPECT_THAT(
        Tell("tb thompson /tb5"),
        ElementsAre(
            "The engine uses endgame databases.", path + "cache 7 MB", "Thompson path: /tb5"));
    EXPECT_THAT(Tell("settings"), Contains("  212  Thompson Endgame Path: /tb5"));
    EXPECT_THAT(Tell("settings"), Contains("  215  Cache size (MB): 7"));
    // Either path keeps them in use; the last one that goes ends it.
    EXPECT_THAT(Tell("tb path none"), Contains("The engine uses endgame databases."));
    EXPECT_FALSE(IsRegistered("krk"));
    Tell("settings 212");
    EXPECT_THAT(Tell("tb path"), Contains("The engine uses no endgame databases."));
    EXPECT_EQ(Tell("settings 214 " + tables->Folder()).at(0),
              "214  Nalimov Endgame Path: " + tables->Folder());
    EXPECT_THAT(Tell("tb path"), Contains(path + "cache 7 MB"));
    EXPECT_THAT(Tell("tb off"), Contains("The engine uses no endgame databases."));

    const std::string file = tables->File("settings");
    Tell("save settings " + file);
    Tell("tb path none");
    Tell("tb cache 4");
    Tell("load settings " + file);
    EXPECT_TRUE(IsRegistered("krk"));
    EXPECT_THAT(
        Tell("tb path"),
        ElementsAre(
            "The engine uses no endgame databases.", path + "cache 7 MB", "Thompson path: none"));
    fs::remove(file);
    Tell("tb cache 4");
}

TEST_F(PlayDatabases, RefusesWhatTheEngineWouldEndFor) {
    UseTables();
    const std::vector<std::string> before = Tell("tb path");
    const std::string file = tables->File("settings");
    const std::string damaged = Damaged();
    EXPECT_THAT(Refused("tb path " + damaged), HasSubstr(Damage()));
    EXPECT_THAT(Refused("settings 214 " + damaged), HasSubstr(Damage()));
    EXPECT_THAT(Refused("tb path  " + std::string(1023, 'x')), HasSubstr("at most 1022"));
    EXPECT_THAT(Refused(std::string("tb path \xC3\xA4")), HasSubstr("cannot begin"));
    EXPECT_THAT(Refused(std::string("tb thompson ") + kTwentyCharacters), HasSubstr(kTooLong));
    EXPECT_THAT(Refused(std::string("settings 212 ") + kTwentyCharacters), HasSubstr(kTooLong));
    EXPECT_THAT(Refused("tb cache 1025"), HasSubstr("0 to 1024"));
    EXPECT_THAT(Refused("tb perhaps"), HasSubstr("usage: tb"));
    SettingsImage image = SettingsImage::Defaults();
    image.SetNalimovPath(damaged);
    std::ofstream(file, std::ios::binary)
        .write(reinterpret_cast<const char*>(image.bytes().data()),
               static_cast<std::streamsize>(image.bytes().size()));
    EXPECT_THAT(Refused("load settings " + file), HasSubstr(Damage()));
    fs::remove(file);
    EXPECT_EQ(Tell("tb path"), before);
    // A file in use that is damaged later is found when the engine would look again.
    Tell("tb thompson " + std::string(19, 'x'));
    fs::rename(tables->File("krk.nbw"), tables->File("away"));
    fs::copy(damaged + "/krk.nbw", tables->File("krk.nbw"));
    EXPECT_THAT(Refused("settings 215 9"), HasSubstr("is damaged"));
    fs::rename(tables->File("away"), tables->File("krk.nbw"));

    for (const auto& [option, path, problem] :
         {std::tuple{"--tb", damaged, Damage()},
          std::tuple{"--thompson", std::string(kTwentyCharacters), std::string(kTooLong)}}) {
        const Ran ran = Torval({"play", "--book=none", option, path});
        EXPECT_EQ(ran.code, 2);
        EXPECT_THAT(ran.err, HasSubstr(std::string(option) + ": " + problem));
    }
}

TEST_F(PlayDatabases, TellsTheValueOfEachMove) {
    UseTables();
    const auto ask = [this](const std::string& fen) {
        Tell("fen " + fen);
        return Tell("tb");
    };
    EXPECT_THAT(ask(kLongestMate),
                ElementsAre("White to move: mate in 16.",
                            "  mate in 16: Kb1 Ka2 Rb1 Ra2 Rg2 Rh2 Rb7 Rb8",
                            "  mate in 17: Re2 Rf2 Rb5 Rb6",
                            "  draw: Rc2+ Rd2 Rb3+ Rb4"));
    EXPECT_THAT(ask("8/P7/8/8/8/8/8/k1K5 w - - 0 1"), Contains("  mate in 1: a8=Q# a8=R#"));
    EXPECT_THAT(ask("7r/K7/2k5/8/8/8/8/8 w - - 0 1"),
                ElementsAre("White to move: mated in 1.", "  mated in 1: Ka6"));
    EXPECT_THAT(ask("4k3/8/8/8/8/8/8/4K2R w K - 0 1").at(0), HasSubstr("Castling"));
    EXPECT_THAT(ask(kStartFen).at(0), HasSubstr("too many men"));
    // A capture leads to men that a file knows.
    EXPECT_THAT(ask("8/8/8/8/8/5k2/n7/KR6 w - - 0 1"),
                ElementsAre("There is no file that knows this position: krkn.nbw would.",
                            "  mate in 15: Kxa2"));
}

TEST_F(PlayDatabases, TellsWhatIsExact) {
    UseTables();
    Tell("level depth 3");
    Tell(std::string("fen ") + kLongestMate);
    EXPECT_THAT(NewsAfter("go"),
                ElementsAre(HasSubstr("  (mate in 16 by the databases, depth 3)")));
    EXPECT_THAT(player.CurrentView().thinking, HasSubstr("mate in 16 by the databases  "));
    Tell("fen 8/8/8/8/8/2k5/2P5/1K6 b - - 0 1");
    EXPECT_THAT(NewsAfter("go"), ElementsAre(HasSubstr("  (draw by the databases, depth 3)")));
    Tell("tb off");
    Tell(std::string("fen ") + kLongestMate);
    EXPECT_THAT(NewsAfter("go"), ElementsAre(HasSubstr("  (+5.")));
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

class UciDatabases : public HostDatabases {
protected:
    std::string Answer(const std::string& line) {
        dialogue.Forget();
        dialogue.Send(line);
        dialogue.Ready();
        return dialogue.lines().at(0);
    }
    void Set(const std::string& name, const std::string& value) {
        EXPECT_EQ(Answer("setoption name " + name + " value " + value), "readyok");
    }
    std::string Go(const std::string& position) {
        dialogue.Forget();
        dialogue.Send("position " + position);
        dialogue.Send("go depth 3");
        (void)dialogue.Until("bestmove");
        return dialogue.lines().at(0);
    }

    UciDialogue dialogue;
};

TEST_F(UciDatabases, TakesPathsBetweenSearches) {
    dialogue.Send("uci");
    dialogue.Until("uciok");
    EXPECT_EQ(dialogue.Count("option name NalimovPath type string default <empty>"), 1);
    EXPECT_EQ(dialogue.Count("option name NalimovCache type spin default 4 min 0 max 1024"), 1);
    EXPECT_EQ(dialogue.Count("option name ThompsonPath type string default <empty>"), 1);
    const std::string words = "info string endgame database: ";
    EXPECT_THAT(Go(std::string("fen ") + kLongestMate), HasSubstr("info depth 1 score cp"));
    Set("NalimovPath", tables->Folder());
    EXPECT_EQ(Go(std::string("fen ") + kLongestMate), words + "mate in 16 for the side to move");
    EXPECT_EQ(dialogue.Count("info depth 3 score mate 16 "), 2);
    EXPECT_EQ(Go(std::string("fen ") + kLongestMate + " moves b2b4"),
              words + "draw for the side to move");
    const std::string damaged = Damaged();
    EXPECT_EQ(Answer("setoption name NalimovPath value " + damaged),
              "info string NalimovPath stays as it is: " + Damage());
    EXPECT_THAT(Go(std::string("fen ") + kLongestMate), HasSubstr("mate in 16"));
    // Sound when it was named, damaged when it is to be used.
    fs::rename(damaged, damaged + "_away");
    fs::copy(tables->Folder(), damaged);
    Set("NalimovPath", damaged);
    fs::remove_all(damaged);
    fs::rename(damaged + "_away", damaged);
    EXPECT_EQ(Go(std::string("fen ") + kLongestMate),
              "info string NalimovPath is empty now: " + Damage());
    EXPECT_EQ(Answer("setoption name NalimovPath value /nowhere"),
              "info string NalimovPath: there are no database files");
    EXPECT_THAT(Go(std::string("fen ") + kLongestMate), HasSubstr("info depth"));
    Set("NalimovPath", "<empty>");
}

TEST_F(UciDatabases, SaysWhatTheThompsonDatabasesLack) {
    EXPECT_EQ(Answer(std::string("setoption name ThompsonPath value ") + kTwentyCharacters),
              std::string("info string ThompsonPath stays as it is: ") + kTooLong +
                  "; a link to the directory can be shorter");
    Set("ThompsonPath", std::string(19, 'x'));
    due = true;
    dialogue.Send("go depth 2");
    dialogue.Until("bestmove");
    EXPECT_EQ(dialogue.Count(std::string("info string ") + kNoDatabaseMoveSentence), 1);
}

}  // namespace
}  // namespace torval
