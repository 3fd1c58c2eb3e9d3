// What tests of the whole engine share: a fixture that starts from a cleared engine, set-up by FEN,
// random positions, and one search as a value that can be compared.
//
// Owner    the fixture's Reset... functions: engine state is global, so every test begins with them.
#pragma once

#include <gtest/gtest.h>

#include <cstdint>
#include <cstdlib>
#include <iostream>
#include <random>
#include <string>
#include <vector>

#include "apps/text/fen.h"
#include "board/legality.h"
#include "board/make.h"
#include "eval/setup.h"
#include "game/game.h"
#include "game/think.h"
#include "platform/tick.h"
#include "state/clocks.h"
#include "state/controller.h"
#include "state/flags.h"
#include "state/notify.h"
#include "state/settings.h"
#include "support/board_fixture.h"

namespace torval {

#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
inline constexpr bool kSanitized = true;
#else
inline constexpr bool kSanitized = false;
#endif

/// A number of rounds that the sanitizers' slower builds get through as well.
inline constexpr int Rounds(int count) { return kSanitized ? (count + 9) / 10 : count; }

/// Random numbers whose seed is printed; TORVAL_TEST_SEED sets it for every test.
class TestRandom {
public:
    explicit TestRandom(std::uint32_t seed = 4711) {
        const char* given = std::getenv("TORVAL_TEST_SEED");
        if (given) seed = static_cast<std::uint32_t>(std::strtoul(given, nullptr, 0));
        std::cout << "TORVAL_TEST_SEED=" << seed << "\n";
        engine_.seed(seed);
    }
    /// 0 to limit - 1.
    int Below(int limit) { return static_cast<int>(engine_() % static_cast<std::uint32_t>(limit)); }

private:
    std::mt19937 engine_;
};

/// A level with the usual floor of the capture search.
LEVEL LevelOf(int mode, int depth1, int time1, int moves1 = 0, int time2 = 0, int moves2 = 0);

/// Everything that a search returns.
struct SearchRecord {
    int vlen = 0;
    int depth = 0;
    int score = 0;
    std::vector<std::string> line;  ///< from, to, flags, capture in hexadecimal
    std::uint32_t nodes = 0;
    std::uint32_t qnodes = 0;

    bool operator==(const SearchRecord&) const = default;
};

/// The four bytes of a move in hexadecimal.
std::string Hex(Move move);

/// A position with the sides exchanged: ranks turned, colours, rights and turn swapped.
CHSBRD Mirrored(const CHSBRD& board);

/// The position that the host sees.
CHSBRD StoredPosition();

/// Men thrown on the board at random, both kings included: pawns on every rank, any number of any
/// man up to `most_men` a side, random rights where their men are at home.
CHSBRD RandomBoard(TestRandom* random, int most_men);

/// Makes one random legal move as the search does, with GamePly counted on. False when there is
/// none.
bool PlayRandomMove(TestRandom* random);

std::ostream& operator<<(std::ostream& out, const SearchRecord& record);

class EngineTest : public testing::Test {
protected:
    void SetUp() override;
    void TearDown() override;

    static void SetUpPosition(const std::string& fen);
    /// Enters moves in coordinates, separated by blanks, as game moves.
    static void Play(const std::string& moves);
    /// Computes a move in mode 0 to a depth.
    static SearchRecord SearchTo(int depth);
    /// Computes a move by the level in force.
    static SearchRecord Compute();

    /// Replaces the tick source: time stands still at fake_now but for fake_step a look, and
    /// sleeping only moves it on. `on_look` is called with the number of the look.
    static void UseFakeTicks(std::uint32_t now, std::uint32_t step = 0);
    static std::uint32_t fake_now;
    static std::uint32_t fake_step;
    static int fake_looks;
    static void (*on_look)(int look);
};

/// A notification as a test wants to see it.
struct SentMessage {
    int id, p1;
    bool operator==(const SentMessage&) const = default;
};
extern std::vector<SentMessage> sent_messages;
extern std::vector<std::uint16_t> sent_clocks;

}  // namespace torval
