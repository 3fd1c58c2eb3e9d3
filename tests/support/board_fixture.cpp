#include "support/board_fixture.h"

#include <algorithm>
#include <cctype>
#include <cstdlib>
#include <random>
#include <sstream>

#include "apps/makers/set_up.h"
#include "apps/text/fen.h"
#include "board/attack.h"
#include "board/legality.h"
#include "board/make.h"
#include "game/game.h"
#include "state/flags.h"
#include "state/notify.h"
#include "state/settings.h"

namespace torval {

namespace {

constexpr std::string_view kTypeLetters = ".pnbrqk";

constexpr std::string_view kWalkStarts[] = {
    kStartFen,
    "r3k2r/p1ppqpb1/bn2pnp1/3PN3/1p2P3/2N2Q1p/PPPBBPPP/R3K2R w KQkq - 0 1",
    "r3k2r/8/8/8/8/8/8/R3K2R w KQkq - 0 1",
    "n1n1k3/PPP2ppp/8/8/8/8/ppp2PPP/N1N1K3 w - - 0 1",
    "4k3/pppppppp/8/8/8/8/PPPPPPPP/4K3 w - - 0 1",
    "4k3/8/8/pPpPpPpP/8/8/8/4K3 w - c6 0 1",
    "3qkq2/8/8/8/8/8/8/2BNKNB1 b - - 0 1",
};

slow::Spot SpotOf(int square) { return {(square & kSquareBits) >> 4, square & 7}; }

}  // namespace

BoardTest::BoardTest() {
    tick_source = {.now = [] { return std::uint32_t{0}; }, .sleep = [](std::uint32_t) {}};
    notification_sink = {};
    ClearFlags(0xFFFF);
    SetDefaultSettings();
    InitialiseEngine();
}

BoardTest::~BoardTest() {
    notification_sink = {};
    tick_source = kept_ticks_;
}

void PutFen(std::string_view fen) {
    std::string error;
    if (!SetUpFen(fen, &error)) ADD_FAILURE() << fen << ": " << error;
}

bool Play(std::string_view moves) {
    for (const std::string& text : Words(moves)) {
        const MoveList& list = GenerateLegal();
        const auto legal = MovesOf(list.quiet_head);
        ReleaseMoves(list);
        const auto move = std::ranges::find(legal, text, TextOf);
        if (move == legal.end()) return false;
        MakeMove(Plain(*move));
    }
    return true;
}

Move LegalMove(std::string_view text) {
    const MoveList& list = GenerateLegal();
    const auto legal = MovesOf(list.quiet_head);
    ReleaseMoves(list);
    const auto move = std::ranges::find(legal, text, TextOf);
    if (move != legal.end()) return *move;
    ADD_FAILURE() << text << " is not legal";
    return {};
}

std::vector<std::string> Words(std::string_view text) {
    std::istringstream in{std::string(text)};
    return {std::istream_iterator<std::string>(in), {}};
}

std::string TextOf(Move move) {
    const auto [from, to] = std::pair{SpotOf(move.from), SpotOf(move.to)};
    const PieceType type = PromotionType(move);
    return slow::TextOf({from, to, kTypeLetters[type], slow::kEmpty, false, false, false});
}

std::vector<std::string> GenerationOrder(const MoveList& list) {
    std::vector<std::string> texts;
    const auto* entries = reinterpret_cast<const MoveEntry*>(&list + 1);
    std::transform(entries, entries + list.count, std::back_inserter(texts), [](MoveEntry entry) {
        return TextOf(entry.move);
    });
    return texts;
}

std::vector<Move> MovesOf(Link head) {
    std::vector<Move> moves;
    for (const MoveEntry* entry = EntryAt(head); entry; entry = NextEntry(*entry)) {
        moves.push_back(entry->move);
    }
    return moves;
}

std::vector<std::string> TextsOf(Link head) {
    std::vector<std::string> texts;
    for (const Move move : MovesOf(head)) texts.push_back(TextOf(move));
    return texts;
}

std::string Mirrored(std::string_view fen) {
    const auto other_case = [](unsigned char c) {
        return static_cast<char>(std::isupper(c) ? std::tolower(c) : std::toupper(c));
    };
    const std::vector<std::string> fields = Words(fen);
    std::string board;
    std::istringstream ranks(fields[0]);
    for (std::string rank; std::getline(ranks, rank, '/');) {
        board = rank + (board.empty() ? "" : "/") + board;
    }
    std::ranges::transform(board, board.begin(), other_case);
    std::string castling = fields[2];
    std::ranges::transform(castling, castling.begin(), other_case);
    return board + (fields[1] == "w" ? " b " : " w ") + castling + " - 0 1";
}

char LetterOf(PieceCode code) {
    const char letter = kTypeLetters[TypeOf(code)];
    const bool white = (code & kWhiteBit) != 0;
    return white ? static_cast<char>(std::toupper(static_cast<unsigned char>(letter))) : letter;
}

PieceCode CodeOfLetter(char letter) {
    const auto c = static_cast<unsigned char>(letter);
    const auto type = kTypeLetters.find(static_cast<char>(std::tolower(c)));
    return CodeOf(std::isupper(c) ? White : Black, static_cast<int>(type));
}

slow::Move AsSlow(Move move) {
    const PieceType promotion = PromotionType(move);
    return {SpotOf(move.from),
            SpotOf(move.to),
            kTypeLetters[promotion],
            LetterOf(move.capture),
            (move.flags == kEnPassantFlags),
            (move.flags & kCastlingBit) != 0,
            (move.to & kCheckMark) != 0};
}

std::uint64_t Seed() {
    constexpr std::uint64_t kUsualSeed = 20240817;
    const char* const given = std::getenv("TORVAL_TEST_SEED");
    return given ? std::strtoull(given, nullptr, 0) : kUsualSeed;
}

void WalkRandomGames(int games, const std::function<void(const slow::Chess&)>& visit) {
    constexpr int kPlies = 100;
    SCOPED_TRACE("TORVAL_TEST_SEED=" + std::to_string(Seed()));
    std::mt19937_64 random(Seed());
    for (int game = 0; game < games && !testing::Test::HasFailure(); ++game) {
        const std::string_view start = kWalkStarts[unsigned(game) % std::size(kWalkStarts)];
        PutFen(start);
        slow::Chess chess(start);
        std::string played = std::string(start) + " moves";
        for (int ply = 0; ply < kPlies && !testing::Test::HasFailure(); ++ply) {
            SCOPED_TRACE(played);
            visit(chess);
            const std::vector<slow::Move> legal = chess.LegalMoves();
            if (legal.empty()) break;
            const slow::Move move = legal[random() % legal.size()];
            played += " " + slow::TextOf(move);
            MakeMove(Plain(LegalMove(slow::TextOf(move))));
            chess.Play(move);
        }
    }
}

}  // namespace torval
