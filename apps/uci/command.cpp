#include "apps/uci/command.h"

#include <algorithm>
#include <array>
#include <span>
#include <utility>

#include "apps/text/fen.h"
#include "apps/text/moves.h"
#include "apps/text/text.h"

namespace torval {

namespace {

using Words = std::span<const std::string_view>;

constexpr std::array<std::pair<std::string_view, CommandKind>, 10> kKinds = {{
    {"uci", CommandKind::Uci},
    {"debug", CommandKind::Debug},
    {"isready", CommandKind::IsReady},
    {"setoption", CommandKind::SetOption},
    {"ucinewgame", CommandKind::NewGame},
    {"position", CommandKind::Position},
    {"go", CommandKind::Go},
    {"stop", CommandKind::Stop},
    {"ponderhit", CommandKind::PonderHit},
    {"quit", CommandKind::Quit},
}};

CommandKind KindOf(std::string_view word) {
    for (const auto& [text, kind] : kKinds) {
        if (text == word) return kind;
    }
    return CommandKind::Nothing;
}

/// The words before `end`, which are taken off together with it, joined by spaces.
std::string TakeUntil(Words* words, std::string_view end) {
    std::string text;
    while (!words->empty()) {
        const std::string_view word = words->front();
        *words = words->subspan(1);
        if (word == end) break;
        if (!text.empty()) text += ' ';
        text += word;
    }
    return text;
}

void ParseSetOption(Words words, Command* command) {
    while (!words.empty() && words.front() != "name") words = words.subspan(1);
    if (!words.empty()) words = words.subspan(1);
    command->name = TakeUntil(&words, "value");
    command->value = TakeUntil(&words, {});
}

void ParsePosition(Words words, Command* command) {
    const auto begins = [](std::string_view word) { return word == "startpos" || word == "fen"; };
    while (!words.empty() && !begins(words.front())) words = words.subspan(1);
    if (words.empty()) return;
    const bool start = words.front() == "startpos";
    words = words.subspan(1);
    const std::string fen = TakeUntil(&words, "moves");
    command->fen = start ? kStartFen : fen;
    command->moves.assign(words.begin(), words.end());
}

std::optional<std::int64_t>* NumberNamed(GoLimits* limits, std::string_view word) {
    if (word == "depth") return &limits->depth;
    if (word == "movetime") return &limits->movetime_ms;
    if (word == "wtime") return &limits->time_ms[0];
    if (word == "btime") return &limits->time_ms[1];
    if (word == "winc") return &limits->increment_ms[0];
    if (word == "binc") return &limits->increment_ms[1];
    if (word == "movestogo") return &limits->moves_to_go;
    if (word == "nodes") return &limits->nodes;
    if (word == "mate") return &limits->mate;
    return nullptr;
}

void ParseGo(Words words, GoLimits* limits) {
    while (!words.empty()) {
        const std::string_view word = words.front();
        words = words.subspan(1);
        if (word == "infinite") limits->infinite = true;
        if (word == "ponder") limits->ponder = true;
        if (word == "searchmoves") {
            while (!words.empty() && IsCoordinateText(words.front())) {
                limits->search_moves.emplace_back(words.front());
                words = words.subspan(1);
            }
        }
        std::optional<std::int64_t>* const number = NumberNamed(limits, word);
        if (!number || words.empty()) continue;
        const std::optional<std::int64_t> value = ParseNumber(words.front());
        if (!value) continue;
        *number = value;
        words = words.subspan(1);
    }
    for (auto* const only_positive :
         {&limits->depth, &limits->movetime_ms, &limits->moves_to_go, &limits->nodes}) {
        if (*only_positive) *only_positive = std::max<std::int64_t>(**only_positive, 0);
    }
    if (limits->mate) limits->mate = std::max<std::int64_t>(*limits->mate, 0);
}

}  // namespace

std::optional<std::int64_t> ParseNumber(std::string_view text) {
    const bool negative = text.starts_with('-');
    if (negative || text.starts_with('+')) text.remove_prefix(1);
    if (text.empty()) return std::nullopt;
    std::int64_t value = 0;
    for (const char c : text) {
        if (c < '0' || c > '9') return std::nullopt;
        value = std::min(value * 10 + (c - '0'), kLargestNumber);
    }
    return negative ? -value : value;
}

Command ParseCommand(std::string_view line) {
    const std::vector<std::string_view> all = SplitWords(line);
    Words words = all;
    Command command;
    while (!words.empty() && command.kind == CommandKind::Nothing) {
        command.kind = KindOf(words.front());
        words = words.subspan(1);
    }
    switch (command.kind) {
        case CommandKind::Debug: command.debug_on = words.empty() || words.front() != "off"; break;
        case CommandKind::SetOption: ParseSetOption(words, &command); break;
        case CommandKind::Position: ParsePosition(words, &command); break;
        case CommandKind::Go: ParseGo(words, &command.limits); break;
        default: break;
    }
    return command;
}

}  // namespace torval
