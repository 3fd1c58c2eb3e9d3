// Whatever bytes are accepted as a position can be generated, evaluated and searched.
//
// Input    the first byte chooses: a CHSBRD as it is in memory, changes of single bytes of the
//          start position (index, value), or the text of a FEN.

#include <cstdlib>
#include <cstring>
#include <string>

#include "apps/makers/set_up.h"
#include "board/legality.h"
#include "eval/evaluate.h"
#include "game/game.h"
#include "game/think.h"
#include "platform/tick.h"
#include "state/flags.h"
#include "state/settings.h"

namespace {

using namespace torval;

void Require(bool holds) {
    if (!holds) std::abort();
}

CHSBRD StartPosition() {
    NewGame();
    CHSBRD board;
    StorePosition(&board);
    return board;
}

bool Accept(const std::uint8_t* data, std::size_t size) {
    const int kind = data[0] % 3;
    ++data;
    --size;
    if (kind == 0) {
        std::string error;
        const bool accepted = SetUpFen({reinterpret_cast<const char*>(data), size}, &error);
        Require(accepted == error.empty());
        return accepted;
    }
    CHSBRD board{};
    if (kind == 1) {
        std::memcpy(&board, data, size < sizeof board ? size : sizeof board);
    } else {
        board = StartPosition();
        auto* const bytes = reinterpret_cast<std::uint8_t*>(&board);
        for (std::size_t i = 0; i + 1 < size; i += 2) bytes[data[i] % sizeof board] = data[i + 1];
    }
    return SetPosition(board) == StatusOk;
}

/// A board full of queens can be searched for hours at any depth: after this many looks at the
/// clock, 1500 nodes apart, the search is stopped as a host would stop it.
constexpr int kMostLooks = 40;
int looks = 0;

std::uint32_t CountedTick() {
    if (++looks == kMostLooks) SetFlag(FlagAbort);
    return 0;
}

void Use() {
    MoveList& list = GenerateMoves();
    FilterLegal(&list);
    const bool has_moves = list.count != 0;
    ReleaseMoves(list);
    Require(PositionIsSound());
    const int score = Evaluate(0, -20000, 20000, 0).score;
    Require(score >= -kScoreLimit && score <= kScoreLimit);

    MAINVAR line;
    looks = 0;
    Require(ComputeMove(&line) == StatusOk);
    ClearFlags(FlagBusy);
    const bool stopped = looks >= kMostLooks;
    Require((line.vlen > 0) == (has_moves && !stopped));
    Require(PositionIsSound());
}

}  // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***) {
    SetDefaultSettings();
    settings_block.Level.mode = 0;
    settings_block.Level.depth1 = 3;
    tick_source.now = CountedTick;
    settings_block.TranspKB = 16;  // cleared for every input
    InitialiseEngine();
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    if (size != 0 && Accept(data, size)) Use();
    return 0;
}
