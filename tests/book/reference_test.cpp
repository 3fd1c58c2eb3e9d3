// Books made for this project by a second implementation, the moves they hold, and the results of
// edits.

#include <fstream>
#include <nlohmann/json.hpp>

#include "book/book_fixture.h"
#include "book/learn.h"

namespace torval {

namespace {

using Json = nlohmann::json;

Json ReadJson(const std::string& name) {
    std::ifstream in(TORVAL_TEST_DATA "/reference/book/" + name);
    return Json::parse(in);
}

/// The bytes of a text of hexadecimal digits in lines.
Bytes ReadHex(const std::string& name) {
    std::ifstream in(TORVAL_TEST_DATA "/reference/book/edits/" + name);
    Bytes bytes;
    for (std::string line; std::getline(in, line);) {
        for (std::size_t i = 0; i + 1 < line.size(); i += 2) {
            bytes.push_back(static_cast<std::uint8_t>(std::stoi(line.substr(i, 2), nullptr, 16)));
        }
    }
    return bytes;
}

std::string HexText(std::uint32_t value, int digits) {
    char text[16];
    std::snprintf(text, sizeof text, "%0*x", digits, value);
    return text;
}

class BookReferenceTest : public BookTest {
protected:
    static void PlayGame(const Json& game) {
        SetUpPosition(game["fen"]);
        Play(game["moves"]);
    }

    template <typename BookMoves>
    static Json AsJson(BookMoves& found) {
        CollectBookMoves(*legal_moves, &found);
        Json moves = Json::array();
        for (int i = 0; i < found.NmbrOfMoves; ++i) {
            const auto& move = found.MOVES[i];
            moves.push_back({{"evar", Hex(move.move)}, {"score", move.score}, {"flag", move.flag}});
            if constexpr (requires { move.totalplayed; }) {
                moves.back()["winwhite"] = move.winwhite;
                moves.back()["winblack"] = move.winblack;
                moves.back()["totalplayed"] = move.totalplayed;
            }
        }
        return {{"iStatus", found.iStatus},
                {"NmbrOfMoves", found.NmbrOfMoves},
                {"moves", moves},
                {"messages", Json::array()}};
    }
};

TEST_F(BookReferenceTest, TheSameMovesAtEveryPosition) {
    for (const Json& group : ReadJson("moves.json")) {
        ASSERT_EQ(Open(CopyOfReference(group["main"])), group["open"][0]);
        for (const Json& game : group["positions"]) {
            SCOPED_TRACE(group["main"].get<std::string>() + " " + game["moves"].get<std::string>());
            PlayGame(game);
            const HashKey key = position.GamePositionKey;
            const HashKey key3 = BookKey(kVersion3);
            EXPECT_EQ(HexText(PrimaryKey(key), 8), game["key"]);
            EXPECT_EQ(HexText(SecondaryKey(key), 4), game["key2"]);
            EXPECT_EQ(HexText(PrimaryKey(key3), 8), game["v3key"]);
            EXPECT_EQ(HexText(SecondaryKey(key3), 4), game["v3key2"]);
            W_BOOKMOVES moves;
            EXPECT_EQ(AsJson(moves), game["bookmoves"]);
            W_BOOKMOVES2 moves2;
            EXPECT_EQ(AsJson(moves2), game["bookmoves2"]);
        }
    }
    EXPECT_TRUE(text_messages.empty());
}

TEST_F(BookReferenceTest, TheSameFilesAfterEdits) {
    for (const bool reopen : {false, true}) {
        for (const Json& script : ReadJson("edits.json")) {
            const std::string path = CopyOfReference(script["book"]);
            ASSERT_EQ(Open(path), BookOpened);
            for (const Json& step : script["calls"]) {
                SCOPED_TRACE(step["hex"].get<std::string>());
                const Json& call = step["call"];
                PlayGame(call);
                const Position before = position;
                const auto records = game_record.PlyStack;
                const std::int32_t result =
                    call["op"] == "add"
                        ? AddBookMoves(call["id"], call["cnt"], call["score"], call["flg"])
                        : DelBookMoves(call["id"], call["cnt"]);
                EXPECT_EQ(result, step["result"]);
                EXPECT_EQ(ReadBytes(path), ReadHex(step["hex"]));
                EXPECT_EQ(position.GamePositionKey, before.GamePositionKey);
                EXPECT_EQ(std::memcmp(&records, &game_record.PlyStack, sizeof records), 0);
                EXPECT_TRUE(PositionIsSound());
                if (reopen) {
                    ASSERT_EQ(Open(path), BookOpened);
                }
            }
        }
    }
    EXPECT_TRUE(text_messages.empty());
}

}  // namespace

}  // namespace torval
