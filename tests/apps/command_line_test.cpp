// Whole commands: arguments in, text, message and exit code out.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <nlohmann/json.hpp>

#include "apps/cli/bench_positions.h"
#include "support/run_command.h"

namespace torval {
namespace {

using Json = nlohmann::ordered_json;
using testing::HasSubstr;
using testing::MatchesRegex;
using testing::StartsWith;

/// The one line of JSON that a good call answers with.
Json RunJson(std::vector<std::string> arguments, const std::string& input = "") {
    arguments.push_back("--json");
    const Ran ran = Torval(arguments, input);
    EXPECT_EQ(ran.code, 0) << ran.err;
    EXPECT_EQ(ran.err, "");
    EXPECT_EQ(std::ranges::count(ran.out, '\n'), 1) << ran.out;
    return Json::parse(ran.out, nullptr, false);
}

std::vector<std::string> KeysOf(const Json& object) {
    std::vector<std::string> keys;
    for (const auto& [key, value] : object.items()) keys.push_back(key);
    return keys;
}

using Keys = std::vector<std::string>;

struct RefusedCase {
    const char* name;
    std::vector<std::string> arguments;
    const char* message;
};
class RefusedTest : public testing::TestWithParam<RefusedCase> {};

TEST_P(RefusedTest, SaysInOneLineWhatIsWrong) {
    const Ran ran = Torval(GetParam().arguments);
    EXPECT_EQ(ran.code, 2);
    EXPECT_EQ(ran.out, "");
    EXPECT_THAT(ran.err, StartsWith("torval: "));
    EXPECT_THAT(ran.err, HasSubstr(GetParam().message));
    EXPECT_EQ(ran.err.find('\n'), ran.err.size() - 1) << ran.err;
}

INSTANTIATE_TEST_SUITE_P(
    CommandLine,
    RefusedTest,
    testing::Values(
        RefusedCase{"NoCommand", {}, "subcommand"},
        RefusedCase{"UnknownCommand", {"fly"}, "'fly'"},
        RefusedCase{"UnknownOption", {"eval", "--deep"}, "--deep"},
        RefusedCase{"DepthTooSmall", {"search", "--depth", "0"}, "--depth"},
        RefusedCase{"DepthTooLarge", {"search", "--depth", "31"}, "--depth"},
        RefusedCase{"DepthNoNumber", {"search", "--depth", "5x"}, "--depth"},
        RefusedCase{"NoTime", {"search", "--movetime", "0"}, "--movetime"},
        RefusedCase{"TimeTooLong", {"search", "--movetime", "28801"}, "--movetime"},
        RefusedCase{"TimeInFractions", {"search", "--movetime", "0.5"}, "--movetime"},
        RefusedCase{"DepthAndTime", {"search", "--depth", "3", "--movetime", "1"}, "excludes"},
        RefusedCase{"NegativeTable", {"search", "--hash", "-1"}, "--hash"},
        RefusedCase{"BadFen", {"search", "--fen", "8/8/8/8/8/8/8/8 w - -"}, "--fen: board"},
        RefusedCase{
            "IllegalMove", {"search", "--moves", "e2e4 e2e4"}, "move 2 'e2e4' is not legal"},
        RefusedCase{"NoMoveText", {"state", "--moves", "e2e4 --"}, "move 2 '--' cannot be read"},
        RefusedCase{"AmbiguousMove",
                    {"moves", "--fen", "7k/P7/8/8/8/8/8/K7 w - -", "--moves", "a7a8"},
                    "move 1 'a7a8' can mean more than one move"},
        RefusedCase{"SkipNotLegal", {"search", "--skip", "e2e4 e2e5"}, "--skip: move 2 'e2e5'"},
        RefusedCase{"FileAndFen", {"eval", "--epd", "x", "--fen", "y"}, "excludes"},
        RefusedCase{"NoSuchFile", {"eval", "--epd", "/nowhere/x.epd"}, "/nowhere/x.epd"},
        RefusedCase{"FileIsFolder", {"moves", "--epd", "/"}, "cannot read '/'"},
        RefusedCase{"NoPerftDepth", {"perft"}, "DEPTH"},
        RefusedCase{"PerftTooDeep", {"perft", "13"}, "DEPTH"},
        RefusedCase{"NothingToDivide", {"perft", "0", "--divide"}, "--divide"},
        RefusedCase{"NoTextToParse", {"parse"}, "TEXT"},
        RefusedCase{"LineEndInArgument", {"fly\naway"}, "'fly?away'"}),
    [](const auto& test) { return test.param.name; });

TEST(CommandLine, HelpsWithEveryCommand) {
    EXPECT_EQ(Torval({"--help"}).code, 0);
    EXPECT_THAT(Torval({"--version"}).out, MatchesRegex("Torval [0-9]+(\\.[0-9]+)+\n"));
    for (const char* name : {"search", "eval", "moves", "perft", "state", "parse", "bench"}) {
        EXPECT_THAT(Torval({"--help"}).out, HasSubstr(name));
        const Ran ran = Torval({name, "--help"});
        EXPECT_EQ(ran.code, 0);
        EXPECT_THAT(ran.out, HasSubstr("--json"));
        EXPECT_EQ(ran.err, "");
    }
}

constexpr const char* kMateInTwo = "k7/8/8/8/8/8/7R/K5R1 w - -";

TEST(SearchCommand, AnswersWithTheFinalLine) {
    const Json answer = RunJson({"search", "--fen", kMateInTwo, "--depth", "4"});
    EXPECT_EQ(KeysOf(answer),
              (Keys{"vlen", "depth", "score", "evar", "line", "nodes", "qnodes", "time_ms"}));
    EXPECT_EQ(answer["score"], 9998);
    EXPECT_EQ(answer["vlen"], 3);
    EXPECT_EQ(answer["evar"].size(), 3U);
    // The last move mates: check and mate marks in the destination.
    const std::string mate = answer["evar"][2];
    EXPECT_EQ(std::stoi(mate.substr(2, 2), nullptr, 16) & 0x88, 0x88);
    EXPECT_GT(answer["nodes"], 0);
}

TEST(SearchCommand, TellsItsLinesWithoutDisturbingTheSearch) {
    const char* fen = "r2q1rk1/ppp2pbp/4bnp1/4p3/1PP1P3/2NBB3/P4PPP/R2Q1RK1 b - b3";
    const Json quiet = RunJson({"search", "--fen", fen, "--depth", "6"});
    const Ran told = Torval({"search", "--fen", fen, "--depth", "6"});
    EXPECT_EQ(told.code, 0) << told.err;
    EXPECT_THAT(told.out,
                HasSubstr("at depth 6, " + quiet["nodes"].dump() + " nodes (" +
                          quiet["qnodes"].dump() + " of"));
    EXPECT_THAT(told.out, HasSubstr("\nBest move: "));
    for (const char* depth : {"\n    1 ", "\n    3 ", "\n    6 "}) {
        EXPECT_THAT(told.out, HasSubstr(depth)) << "every iteration has a best line";
    }
}

TEST(SearchCommand, TakesMovesInBothNotations) {
    const Json algebraic = RunJson({"search", "--moves", "e4 e5 Nf3 Nc6 Bb5 a6 Bxc6 dxc6 O-O"});
    const Json coordinates =
        RunJson({"search", "--moves", "e2e4 e7e5 g1f3 b8c6 f1b5 a7a6 b5c6 d7c6 e1g1"});
    EXPECT_EQ(algebraic["evar"], coordinates["evar"]);
    EXPECT_EQ(algebraic["nodes"], coordinates["nodes"]);
}

TEST(SearchCommand, PromotesToABishopInCoordinates) {
    const Json state = RunJson({"state", "--fen", "7k/P7/8/8/8/8/8/K7 w - -", "--moves", "a7a8b"});
    EXPECT_EQ(state["white_material"].get<std::uint32_t>(), 0x00400180U);
}

TEST(SearchCommand, LeavesOutWhatIsSkipped) {
    const Json best = RunJson({"search", "--fen", kMateInTwo, "--depth", "4"});
    const std::string move = best["line"][0];
    const Json other =
        RunJson({"search", "--fen", kMateInTwo, "--depth", "4", "--skip", move.c_str()});
    EXPECT_NE(other["line"][0], best["line"][0]);
    // The list must not outlive its search.
    EXPECT_EQ(RunJson({"search", "--fen", kMateInTwo, "--depth", "4"})["line"], best["line"]);
}

TEST(SearchCommand, SearchesWithoutATable) {
    const Json with = RunJson({"search", "--depth", "6"});
    const Json without = RunJson({"search", "--depth", "6", "--hash", "0"});
    EXPECT_NE(with["nodes"], without["nodes"]);
    EXPECT_EQ(RunJson({"search", "--depth", "6"})["nodes"], with["nodes"]);
}

TEST(SearchCommand, SaysWhyThereIsNoMove) {
    EXPECT_EQ(Torval({"search", "--fen", "R6k/8/6K1/8/8/8/8/8 b - -"}).out, "Checkmate\n");
    EXPECT_EQ(Torval({"search", "--fen", "7k/5Q2/6K1/8/8/8/8/8 b - -"}).out, "Stalemate\n");
    EXPECT_EQ(Torval({"search", "--moves", "f3 e5 g4 Qh4"}).out, "Checkmate\n");
    EXPECT_THAT(Torval({"search", "--fen", "8/8/8/8/8/8/5k2/7K w - -", "--skip", "Kh2"}).out,
                HasSubstr("skipped"));
    const Json answer = RunJson({"search", "--fen", "R6k/8/6K1/8/8/8/8/8 b - -"});
    EXPECT_EQ(answer["vlen"], 0);
    EXPECT_EQ(answer["line"], Json::array());
}

TEST(SearchCommand, SearchesOnAfterADrawByRule) {
    const Json answer =
        RunJson({"search", "--depth", "2", "--moves", "Nf3 Nf6 Ng1 Ng8 Nf3 Nf6 Ng1 Ng8 Nf3"});
    EXPECT_GT(answer["vlen"], 0);
}

TEST(SearchCommand, RefusesAGameWithoutRoomForAMove) {
    std::string moves;
    for (int i = 0; i < 100; ++i) moves += "Nf3 Nf6 Ng1 Ng8 ";
    const Ran ran = Torval({"search", "--moves", moves.c_str()});
    EXPECT_EQ(ran.code, 2);
    EXPECT_THAT(ran.err, HasSubstr("one more than a game can have"));
    moves.erase(moves.size() - 4);
    EXPECT_THAT(Torval({"search", "--moves", moves.c_str()}).err, HasSubstr("too long"));
}

TEST(EvalCommand, SplitsTheScore) {
    const Json black = RunJson({"eval", "--fen", "4k3/8/8/8/8/8/4P3/4K3 b - -"});
    EXPECT_EQ(KeysOf(black), (Keys{"phase", "margin", "score", "material", "positional"}));
    const Json white = RunJson({"eval", "--fen", "4k3/8/8/8/8/8/4P3/4K3 w - -"});
    EXPECT_EQ(white["score"].get<int>(), -black["score"].get<int>());
    EXPECT_EQ(white["material"], black["material"]) << "always White's view";
    EXPECT_EQ(white["material"].get<int>() + white["positional"].get<int>(),
              white["score"].get<int>());
    const Ran table = Torval({"eval", "--fen", "4k3/8/8/8/8/8/4P3/4K3 b - -"});
    EXPECT_THAT(table.out, HasSubstr("King safety"));
    EXPECT_THAT(table.out, HasSubstr("pawn endgame"));
}

TEST(MovesCommand, ListsGeneratedAndLegalMoves) {
    // The knight is pinned: its moves are generated, and not legal.
    const char* fen = "4r2k/8/8/3p4/4N3/8/8/4K3 w - -";
    const Json answer = RunJson({"moves", "--fen", fen});
    EXPECT_EQ(KeysOf(answer), (Keys{"quiet", "captures", "legal", "count", "capture_count"}));
    EXPECT_EQ(answer["count"].get<std::size_t>(),
              answer["quiet"].size() + answer["captures"].size());
    EXPECT_EQ(answer["capture_count"], 0);
    EXPECT_EQ(answer["quiet"].size(), 13U);
    EXPECT_EQ(answer["legal"].size(), 5U);
    EXPECT_EQ(Torval({"moves", "--fen", "7k/8/8/8/8/8/r7/7K w - -"}).out, "Kg1\n");
}

TEST(PerftCommand, DividesByFirstMove) {
    const Json answer = RunJson({"perft", "2", "--divide"});
    EXPECT_EQ(KeysOf(answer), (Keys{"depth", "leaves", "divide", "time_ms", "leaves_per_second"}));
    EXPECT_EQ(answer["leaves"], 400);
    EXPECT_EQ(answer["divide"].size(), 20U);
    EXPECT_EQ(answer["divide"]["g1f3"], 20);
    EXPECT_THAT(Torval({"perft", "3"}).out, HasSubstr(": 8902\n"));
}

TEST(StateCommand, ShowsTheBooksOfThePosition) {
    const Json state = RunJson({"state", "--moves", "e4 d5 exd5"});
    EXPECT_EQ(KeysOf(state),
              (Keys{"primary",
                    "secondary",
                    "white_material",
                    "black_material",
                    "white_positional",
                    "black_positional",
                    "white_list",
                    "black_list",
                    "castle",
                    "fifty",
                    "side",
                    "game_ply",
                    "phase",
                    "margin",
                    "draw"}));
    EXPECT_EQ(state["white_list"].size(), 16U);
    EXPECT_EQ(state["white_list"][0], "e1") << "the king comes first";
    EXPECT_EQ(state["black_list"].size(), 15U);
    EXPECT_EQ(state["side"], 1);
    EXPECT_EQ(state["game_ply"], 4);
    EXPECT_EQ(RunJson({"state", "--fen", "4k3/8/8/8/8/8/8/4K3 w - -"})["draw"], 1);
}

TEST(ParseCommand, TellsWhatATextCanMean) {
    EXPECT_EQ(RunJson({"parse", "Nf3"}), (Json{{"result", 1}, {"moves", {"06250200"}}}));
    EXPECT_EQ(RunJson({"parse", "e5"}), (Json{{"result", 0}, {"moves", Json::array()}}));
    EXPECT_EQ(RunJson({"parse", "e9"}), (Json{{"result", -1}, {"moves", Json::array()}}));
    EXPECT_EQ(RunJson({"parse", "Nd2", "--fen", "4k3/8/8/8/8/5N2/8/1N2K3 w - -"})["moves"].size(),
              2U);
    EXPECT_EQ(Torval({"parse", "g1f3"}).out, "Nf3 (g1f3)\n");
}

constexpr const char* kThreeLines =
    "4k3/8/8/8/8/8/4P3/4K3 w - - bm e4; id \"one\";\r\n"
    "\n"
    "4k3/8/8/8/8/8/4P3/4K3 b - - 0 1\n";

TEST(PositionFile, IsAnsweredLineByLine) {
    for (const char* command : {"eval", "search", "moves"}) {
        const Ran ran = Torval({command, "--epd", "-", "--json"}, kThreeLines);
        EXPECT_EQ(ran.code, 0) << ran.err;
        EXPECT_EQ(std::ranges::count(ran.out, '\n'), 2) << command;
        const std::string first = ran.out.substr(0, ran.out.find('\n'));
        Json alone = RunJson({command, "--fen", "4k3/8/8/8/8/8/4P3/4K3 w - -"});
        Json in_file = Json::parse(first);
        alone.erase("time_ms");
        in_file.erase("time_ms");
        EXPECT_EQ(in_file, alone) << command;
        EXPECT_EQ(std::ranges::count(Torval({command, "--epd", "-"}, kThreeLines).out, '\n'), 2);
    }
}

TEST(PositionFile, IsAnsweredUpToABadLineWhichIsNamed) {
    const Ran ran = Torval({"eval", "--epd", "-"}, std::string(kThreeLines) + "4k3/8 w - -\n");
    EXPECT_EQ(ran.code, 2);
    EXPECT_EQ(std::ranges::count(ran.out, '\n'), 2);
    EXPECT_EQ(ran.err, "torval: standard input:4: board: 2 ranks instead of 8\n");
}

TEST(PositionFile, ShowsProgressOnATerminalOnly) {
    const auto path = std::filesystem::path(testing::TempDir()) / "torval_progress_test.epd";
    std::ofstream(path) << kThreeLines;
    const std::string name = path.string();
    const Ran piped = Torval({"eval", "--epd", name.c_str()});
    const Ran shown = Torval({"eval", "--epd", name.c_str()}, "", true);
    EXPECT_EQ(piped.code, 0) << piped.err;
    EXPECT_EQ(piped.err, "");
    EXPECT_EQ(shown.out, piped.out);
    EXPECT_THAT(shown.err, HasSubstr(" 3/3"));
    EXPECT_THAT(shown.err, testing::EndsWith("\033[K")) << "the bar is wiped off in the end";
    std::filesystem::remove(path);
}

TEST(BenchCommand, AddsUpTheNodesOfEnoughPositions) {
    static_assert(kBenchPositions.size() >= 40);
    const Json answer = RunJson({"bench", "2"});
    EXPECT_EQ(answer["positions"].size(), kBenchPositions.size());
    std::uint64_t sum = 0;
    for (const Json& nodes : answer["positions"]) sum += nodes.get<std::uint64_t>();
    EXPECT_EQ(answer["nodes"].get<std::uint64_t>(), sum);
    EXPECT_GT(sum, 0U);
    const Ran told = Torval({"bench", "2"});
    EXPECT_THAT(told.out, HasSubstr("\nNodes searched  : " + answer["nodes"].dump() + "\n"));
    EXPECT_THAT(told.out, HasSubstr("\nNodes/second    : "));
    EXPECT_THAT(told.out, HasSubstr("\nPerft leaves/second: "));
}

}  // namespace
}  // namespace torval
