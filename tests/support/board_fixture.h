// What the tests of board and game share: a fresh engine for each, positions and moves as text,
// and walks of random moves in step with the second set of rules.
#pragma once

#include <gtest/gtest.h>

#include <functional>
#include <set>
#include <string>
#include <string_view>
#include <vector>

#include "board/generate.h"
#include "platform/tick.h"
#include "support/slow_chess.h"
#include "torval/records.h"

namespace torval {

/// Random and counting tests do a tenth of their work where every access is checked.
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
inline constexpr int kSlowdown = 10;
#else
inline constexpr int kSlowdown = 1;
#endif

/// A new game at default settings, no listeners, and a clock that stands still.
class BoardTest : public testing::Test {
protected:
    BoardTest();
    ~BoardTest() override;

private:
    TickSource kept_ticks_ = tick_source;
};

/// Sets up a FEN as the game position; a refusal fails the test.
void PutFen(std::string_view fen);

/// Makes moves given as "e2e4 e7e8q" on the working board. False at one that is not legal.
bool Play(std::string_view moves);

/// The legal move with this text; it must exist.
Move LegalMove(std::string_view text);

std::vector<std::string> Words(std::string_view text);

std::string TextOf(Move move);

/// The entries of a list in the order in which they were generated, and one chain from its head.
std::vector<std::string> GenerationOrder(const MoveList& list);
std::vector<Move> MovesOf(Link head);
std::vector<std::string> TextsOf(Link head);

/// The FEN's position with colours and ranks exchanged; without en passant.
std::string Mirrored(std::string_view fen);

/// The man on a square of the working board as a FEN letter, and the code for a letter.
char LetterOf(PieceCode code);
PieceCode CodeOfLetter(char letter);

/// A move of the working position as the second set of rules writes it.
slow::Move AsSlow(Move move);

/// Seed of the random tests: TORVAL_TEST_SEED, or always the same. A failing test prints it.
std::uint64_t Seed();

/// Random games from starts rich in castling, promotion and en passant, as moves on the working
/// board; visit is called at every position, which it must leave as it found it.
void WalkRandomGames(int games, const std::function<void(const slow::Chess&)>& visit);

}  // namespace torval
