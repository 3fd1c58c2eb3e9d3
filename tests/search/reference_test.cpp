// The answers of a second implementation made for this project, see tests/data/reference.

#include <fstream>
#include <nlohmann/json.hpp>

#include "eval/evaluate.h"
#include "search/engine_test.h"

namespace torval {

namespace {

using Json = nlohmann::json;

class ReferenceTest : public EngineTest {
protected:
    static std::vector<Json> Lines(const std::string& name) {
        std::ifstream in(TORVAL_TEST_DATA "/reference/" + name);
        std::vector<Json> lines;
        for (std::string line; std::getline(in, line);) lines.push_back(Json::parse(line));
        EXPECT_FALSE(lines.empty()) << name;
        return lines;
    }

    static SearchRecord RecordOf(const Json& json) {
        return {.vlen = json["vlen"],
                .depth = json["depth"],
                .score = json["score"],
                .line = json["evar"],
                .nodes = json["nodes"],
                .qnodes = json["qnodes"]};
    }

    static Json HexOf(Link head) {
        Json moves = Json::array();
        for (const Move move : MovesOf(head)) moves.push_back(Hex(move));
        return moves;
    }
};

TEST_F(ReferenceTest, GeneratesTheSameMovesInTheSameOrder) {
    for (const Json& line : Lines("positions.jsonl")) {
        SetUpPosition(line["fen"]);
        MoveList& list = GenerateMoves();
        const Json& moves = line["moves"];
        EXPECT_EQ(HexOf(list.quiet_head), moves["quiet"]) << line["fen"];
        EXPECT_EQ(HexOf(list.capture_head), moves["captures"]) << line["fen"];
        EXPECT_EQ(list.count, moves["count"]) << line["fen"];
        EXPECT_EQ(list.capture_count, moves["capture_count"]) << line["fen"];
        FilterLegal(&list);
        EXPECT_EQ(HexOf(list.quiet_head), moves["legal"]) << line["fen"];
        ReleaseMoves(list);
    }
}

TEST_F(ReferenceTest, EvaluatesTheSame) {
    for (const Json& line : Lines("positions.jsonl")) {
        SetUpPosition(line["fen"]);
        const int score = Evaluate(0, -20000, 20000, 0).score;
        const int white = position.SideToMove == White ? score : -score;
        const Json eval = {{"phase", position.GamePhase},
                           {"margin", PositionalMargin},
                           {"score", score},
                           {"material", white - LastPositionalScore},
                           {"positional", LastPositionalScore}};
        EXPECT_EQ(eval, line["eval"]) << line["fen"];
    }
}

TEST_F(ReferenceTest, SearchesTheSameTree) {
    int left = 0;
    for (const Json& line : Lines("positions.jsonl")) {
        // Under the sanitizers every fifth position goes to the full depth.
        const int deepest = kSanitized && left++ % 5 != 0 ? 4 : 6;
        for (int depth = 1; depth <= deepest; ++depth) {
            SetUpPosition(line["fen"]);
            EXPECT_EQ(SearchTo(depth), RecordOf(line["search"][std::to_string(depth)]))
                << line["fen"] << " depth " << depth;
        }
    }
}

TEST_F(ReferenceTest, SearchesTheSameTreeWithoutATable) {
    settings_block.TranspFlags &= ~static_cast<std::uint32_t>(TranspInUse);
    for (const Json& line : Lines("positions.jsonl")) {
        SetUpPosition(line["fen"]);
        EXPECT_EQ(SearchTo(5), RecordOf(line["search_no_table"]["5"])) << line["fen"];
    }
}

TEST_F(ReferenceTest, SearchesTheSameTreeAfterGameMoves) {
    for (const Json& line : Lines("games.jsonl")) {
        NewGame();
        Play(line["moves"]);
        EXPECT_EQ(SearchTo(line["depth"]), RecordOf(line["search"])) << line["moves"];
    }
}

}  // namespace

}  // namespace torval
