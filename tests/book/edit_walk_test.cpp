// Thousands of random edits, each compared with a plain map of what the book should hold.

#include <algorithm>
#include <cstring>
#include <map>

#include "apps/makers/books/book_check.h"
#include "apps/makers/set_up.h"
#include "book/book_fixture.h"
#include "book/learn.h"

namespace torval {

namespace {

struct ModelMove {
    BookMove move;
    int score;
    bool excluded;
    std::uint32_t white, black, games;

    int Value() const { return excluded ? score - 1000 : score; }
    bool operator==(const ModelMove&) const = default;
};

std::ostream& operator<<(std::ostream& out, const ModelMove& m) {
    return out << int{m.move.from} << '-' << int{m.move.to} << ' ' << m.score
               << (m.excluded ? " excluded " : " ") << m.white << '/' << m.black << '/' << m.games;
}

using Contents = std::map<HashKey, std::vector<ModelMove>>;

/// What a book does, without a file.
struct Model {
    Contents positions;
    std::size_t most_moves;  ///< in one position
    bool statistics;

    int Update(HashKey key, BookMove move, int value, int result) {
        const bool preferred = value > 130;
        const bool excluded = value < -130;
        const int base = preferred ? 1000 : 0;
        const auto score = static_cast<std::int8_t>(preferred  ? value - 1000
                                                    : excluded ? value + 1000
                                                               : value);
        int best = value - base;
        std::vector<ModelMove>& moves = positions[key];
        auto at = std::ranges::find(moves, move, &ModelMove::move);
        if (at == moves.end() && moves.size() < most_moves) {
            at = moves.insert(moves.end(), {move, 0, false, 0, 0, 0});
        }
        if (at != moves.end()) {
            at->score = score;
            at->excluded = excluded;
            if (statistics) {
                at->white += result == 1 ? 1 : 0;
                at->black += result == 2 ? 1 : 0;
                ++at->games;
            }
        }
        for (const ModelMove& one : moves) best = std::max(best, one.Value());
        return base + best;
    }

    int Best(HashKey key) const {
        int best = -20000;
        for (const ModelMove& one : positions.at(key)) best = std::max(best, one.Value());
        return best;
    }
};

/// A game with the key of each position that a move was made in.
struct WalkedGame {
    std::vector<std::pair<HashKey, BookMove>> moves;

    void Add(Model* model, int count, int value, int result) const {
        for (auto at = moves.rbegin(); at != moves.rend() && count-- > 0; ++at) {
            value = model->Update(at->first, at->second, value, result);
            if (!model->statistics) value = -value;
        }
    }

    void Delete(Model* model, int count) const {
        auto at = moves.rbegin();
        int carried = 0;
        for (bool rescoring = false; !rescoring; ++at) {
            if (at == moves.rend() || count-- == 0) return;
            const auto found = model->positions.find(at->first);
            if (found == model->positions.end()) return;
            const int old_best = model->Best(at->first);
            const auto erased = std::erase_if(
                found->second, [&](const ModelMove& one) { return one.move == at->second; });
            if (erased == 0) return;
            if (found->second.empty()) {
                model->positions.erase(found);
                continue;
            }
            carried = -model->Best(at->first);
            if (-carried == old_best || count == 0) return;
            rescoring = true;
        }
        for (; at != moves.rend(); ++at) {
            const int updated = model->Update(at->first, at->second, carried, 0);
            if (updated == carried) return;
            carried = -updated;
        }
    }
};

/// A few moves are played often, so that lines meet again.
WalkedGame PlayRandomGame(TestRandom* random, const std::string& fen, int plies, char version) {
    std::string error;
    EXPECT_TRUE(SetUpFen(fen, &error)) << error;
    WalkedGame game;
    for (int ply = 0; ply < plies && legal_moves->count > 0; ++ply) {
        const int choices = plies == 1 || random->Below(4) == 0 ? legal_moves->count : 2;
        MoveEntry* entry = EntryAt(legal_moves->quiet_head);
        for (int i = random->Below(std::min(choices, legal_moves->count)); i > 0; --i) {
            entry = NextEntry(*entry);
        }
        game.moves.emplace_back(BookKey(static_cast<std::uint8_t>(version)),
                                EncodeBookMove(Plain(entry->move)));
        Move made;
        entry->move = Plain(entry->move);
        if (MakeGameMove(entry, &made) != OutcomeGoesOn) break;
    }
    return game;
}

Contents ReadContents(const std::string& path, BookReport* report) {
    Contents contents;
    *report = CheckBook(path, [&](HashKey key, auto entries) {
        for (const BookEntry& e : entries) {
            contents[key].push_back(
                {e.move, e.score, (e.flags & kExcluded) != 0, e.white, e.black, e.games});
        }
    });
    EXPECT_TRUE(report->IsWhole()) << testing::PrintToString(report->faults);
    return contents;
}

struct WalkCase {
    const char* name;
    char version;
    bool statistics;
    std::uint16_t block_size;
    std::uint16_t slots;
};

class BookWalkTest : public BookTest, public testing::WithParamInterface<WalkCase> {};

TEST_P(BookWalkTest, EditsDoWhatAPlainMapDoes) {
    constexpr const char* kStarts[] = {
        kStartFen,
        "r3k2r/1P4p1/8/8/3Qq3/8/1p4P1/R3K2R w KQkq - 0 1",  // over 20 moves, promotions, castling
        "4k3/8/8/8/2p1p3/8/3P4/4K3 w - - 0 1",              // en passant
    };
    const WalkCase& walk = GetParam();
    const std::string path = Path("walk");
    WriteBytes(path,
               EmptyBook({.has_statistics = walk.statistics,
                          .version_major = walk.version,
                          .block_size = walk.block_size,
                          .slots = walk.slots,
                          .comment = "walk"}));
    ASSERT_EQ(Open(path), BookOpened);
    const std::size_t fitting = (walk.block_size - kBlockLinks - kRecordKeys) /
                                (walk.statistics ? kStatisticsEntrySize : kPlainEntrySize);
    Model model = {{}, std::min<std::size_t>(fitting, kMostEntries), walk.statistics};
    TestRandom random(static_cast<std::uint32_t>(walk.version) + walk.block_size);
    std::size_t fullest = 0;
    std::size_t longest_chain = 0;
    const int rounds = Rounds(800);
    for (int round = 0; round < rounds && !HasFailure(); ++round) {
        const int plies = random.Below(2) == 0 ? 1 : 1 + random.Below(8);
        const WalkedGame game =
            PlayRandomGame(&random, kStarts[random.Below(3)], plies, walk.version);
        const Position before = position;
        const GameRecord record = game_record;
        const int count = random.Below(3) == 0 ? -1 : 1 + random.Below(4);
        const int plies_touched = count < 0 ? 1000 : count;
        // No deletions at first, so that positions fill up.
        const bool adds = walk.statistics || round < rounds / 2 || random.Below(3) == 0;
        std::int32_t result = 0;
        text_messages.clear();  // a game that ends sends some
        if (adds) {
            const int score = random.Below(255) - 127;
            const int marks[] = {0, 0, 0, 0x40, 0xC0};
            const int mark = marks[random.Below(5)];
            const int winner = random.Below(4);
            result = AddBookMoves(MainBook, count, score, mark | winner << 8);
            int value = score + (mark == 0x40 ? 1000 : mark == 0xC0 ? -1000 : 0);
            if (position.SideToMove == White) value = -value;
            game.Add(&model, plies_touched, value, winner);
        } else {
            result = DelBookMoves(MainBook, count);
            game.Delete(&model, plies_touched);
        }
        ASSERT_EQ(result, StatusOk);
        EXPECT_TRUE(text_messages.empty());
        // A position without room for a single move is not stored.
        std::erase_if(model.positions, [](const auto& one) { return one.second.empty(); });
        BookReport report;
        ASSERT_EQ(ReadContents(path, &report), model.positions) << "round " << round;
        EXPECT_EQ(position.Board, before.Board);
        EXPECT_EQ(position.key, before.key);
        EXPECT_EQ(position.GamePositionKey, before.GamePositionKey);
        EXPECT_EQ(position.FiftyCounter, before.FiftyCounter);
        EXPECT_EQ(position.CastleState, before.CastleState);
        EXPECT_TRUE(PositionIsSound());
        EXPECT_EQ(std::memcmp(&game_record, &record, sizeof record), 0);
        fullest = std::max(fullest, report.most_entries);
        longest_chain = std::max(longest_chain, report.longest_chain);
    }
    // The walk reached the cases it is meant for; a shortened one may not.
    if (kSanitized) return;
    EXPECT_EQ(fullest, model.most_moves);
    EXPECT_GE(longest_chain, 5U);
}

INSTANTIATE_TEST_SUITE_P(Book,
                         BookWalkTest,
                         testing::Values(WalkCase{"Plain2", '2', false, 128, 4},
                                         WalkCase{"Plain2Tiny", '2', false, 64, 2},
                                         WalkCase{"Plain3", '3', false, 128, 4},
                                         WalkCase{"Statistics2", '2', true, 352, 4},
                                         WalkCase{"Statistics3Tiny", '3', true, 64, 4}),
                         [](const auto& test) { return test.param.name; });

}  // namespace

}  // namespace torval
