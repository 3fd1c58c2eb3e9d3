// Whatever bytes come in, lines are split and read without a fault, and what is read keeps to the
// limits that the rest relies on.
//
// Input    bytes as they come through a pipe, in pieces of lengths that the first byte chooses.

#include <unistd.h>

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstdlib>
#include <optional>
#include <string>

#include "apps/host/line_io.h"
#include "apps/text/fen.h"
#include "apps/text/moves.h"
#include "apps/uci/command.h"
#include "apps/uci/skip_list.h"
#include "apps/uci/time_budget.h"

namespace {

using namespace torval;

void Require(bool holds) {
    if (!holds) std::abort();
}

bool IsWithin(const std::optional<std::int64_t>& number, std::int64_t least) {
    return !number || (*number >= least && *number <= kLargestNumber);
}

void CheckTime(const GoLimits& limits) {
    for (const int side : {0, 1}) {
        const ThinkingTime time = ThinkingTimeFor(limits, side, 30);
        if (time.enough_ms) Require(time.most_ms && *time.enough_ms <= *time.most_ms);
        if (!time.most_ms || limits.movetime_ms) continue;
        Require(*time.most_ms >= 1);
        Require(*time.most_ms <= std::max<std::int64_t>(*limits.time_ms[side] - 30, 1));
    }
}

void CheckGo(const GoLimits& limits) {
    Require(IsWithin(limits.depth, 0) && IsWithin(limits.nodes, 0) && IsWithin(limits.mate, 0));
    Require(IsWithin(limits.movetime_ms, 0) && IsWithin(limits.moves_to_go, 0));
    for (const int side : {0, 1}) {
        Require(IsWithin(limits.time_ms[side], -kLargestNumber));
        Require(IsWithin(limits.increment_ms[side], -kLargestNumber));
    }
    CheckTime(limits);
    for (const std::string& move : limits.search_moves) Require(IsCoordinateText(move));
    std::string error;
    const std::optional<FenPosition> start = ParseFen(kStartFen, &error);
    // A move list longer than this only costs time here.
    constexpr std::size_t kMost = 16;
    if (limits.search_moves.size() > kMost) return;
    const std::size_t left = AllMovesBut(start->board, limits.search_moves).size();
    Require(limits.search_moves.empty() == (left == 0));
}

void Check(const std::string& line) {
    Require(line.find('\n') == line.npos && line.size() <= LineReader::kLongestLine);
    const Command command = ParseCommand(line);
    Require(command.kind == CommandKind::Position || command.moves.empty());
    Require(command.kind == CommandKind::Position || !command.fen);
    CheckGo(command.limits);
    if (command.fen) {
        std::string error;
        (void)ParseFen(*command.fen, &error);
    }
    for (const std::string& move : command.moves) {
        if (IsCoordinateText(move)) Require(EntryText(move).size() == move.size());
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    // More than fits into an empty pipe would wait for a reader.
    constexpr std::size_t kPipeBytes = 4096;
    if (size < 2 || size > kPipeBytes) return 0;
    std::array<int, 2> ends{};
    Require(pipe(ends.data()) == 0);
    LineReader reader(ends[0]);
    const std::size_t piece = std::size_t{1} + data[0];
    for (std::size_t at = 1; at < size; at += piece) {
        const std::size_t count = std::min(piece, size - at);
        Require(write(ends[1], data + at, count) == static_cast<ssize_t>(count));
        reader.Fill();
    }
    close(ends[1]);
    while (!reader.ended()) reader.Fill();
    std::string line;
    while (reader.Next(&line)) Check(line);
    close(ends[0]);
    return 0;
}
