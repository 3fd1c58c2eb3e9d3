#include "apps/play/level_text.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <vector>

#include "apps/text/game_text.h"
#include "apps/text/text.h"
#include "torval/codes.h"

namespace torval {

namespace {

constexpr std::array<std::string_view, 7> kModeNames = {
    "depth", "game", "move", "plies", "average", "increment", "infinite"};

/// Reads word by word; every read after the first failure returns false.
class Reader {
public:
    explicit Reader(std::span<const std::string_view> words) : words_(words) {}

    bool IsAtEnd() const { return words_.empty(); }
    bool IsNumber() const { return !IsAtEnd() && words_[0][0] >= '0' && words_[0][0] <= '9'; }
    bool Skip(std::string_view word) {
        if (IsAtEnd() || words_[0] != word) return false;
        words_ = words_.subspan(1);
        return true;
    }
    template <typename Field>
    bool Number(Field* field) {
        if (IsAtEnd()) return Fail("a number is missing");
        // A signed depth of 16 bits holds what any field may reasonably be given.
        const int most = std::is_signed_v<Field> ? 30 : 65535;
        int value = 0;
        const std::string_view word = words_[0];
        const auto [end, code] = std::from_chars(word.data(), word.data() + word.size(), value);
        if (code != std::errc() || end != word.data() + word.size() || value < 0 || value > most) {
            return Fail(Quote(word) + " is no number from 0 to " + std::to_string(most));
        }
        *field = static_cast<Field>(value);
        words_ = words_.subspan(1);
        return true;
    }
    bool Fail(const std::string& what) {
        message_ = what;
        return false;
    }
    bool FailAtWord() { return Fail("not understood from " + Quote(words_[0]) + " on"); }
    const std::string& message() const { return message_; }
    std::string_view word() const { return words_[0]; }

private:
    std::span<const std::string_view> words_;
    std::string message_;
};

/// "40 moves in 300 then 20 in 120", "in 300", or the numbers alone.
bool ReadGame(Reader* reader, LEVEL* level) {
    const bool whole_game = reader->Skip("in");
    if (!whole_game && !reader->Number(&level->moves1)) return false;
    reader->Skip("moves");
    reader->Skip("in");
    if (!reader->Number(&level->time1)) return false;
    // By default the first period repeats.
    level->moves2 = level->moves1;
    level->time2 = level->moves1 > 0 ? level->time1 : std::uint16_t{0};
    if (!reader->Skip("then") && !reader->IsNumber()) return true;
    if (reader->Skip("in")) {
        level->moves2 = 0;
    } else if (!reader->Number(&level->moves2)) {
        return false;
    }
    reader->Skip("moves");
    reader->Skip("in");
    return reader->Number(&level->time2);
}

bool ReadMode(Reader* reader, std::uint16_t* mode) {
    if (reader->IsNumber()) {
        if (!reader->Number(mode)) return false;
        if (*mode < kModeNames.size()) return true;
        return reader->Fail("the modes are 0 to 6");
    }
    const auto name = std::ranges::find(kModeNames, reader->word());
    if (name == kModeNames.end()) return reader->FailAtWord();
    *mode = static_cast<std::uint16_t>(name - kModeNames.begin());
    return reader->Skip(*name);
}

bool ReadValues(Reader* reader, LEVEL* level) {
    switch (level->mode) {
        case LevelDepth:
        case LevelPlies: return reader->Number(&level->depth1);
        case LevelTournament: return ReadGame(reader, level);
        case LevelMoveTime:
        case LevelAverage: return reader->Number(&level->time1);
        case LevelIncrement: return reader->Number(&level->time1) && reader->Number(&level->time2);
        default: return true;
    }
}

bool HasTime(const LEVEL& level) {
    return level.mode != LevelDepth && level.mode != LevelPlies && level.mode != LevelInfinite;
}

std::string Duration(unsigned seconds) { return ClockText(static_cast<int>(seconds) * 1000); }

}  // namespace

const char* const kLevelForms =
    "Each form in words, in numbers, and what it means:\n"
    "level depth 8              level 0 8        8 half-moves deep\n"
    "level plies 8              level 3 8        the same\n"
    "level game in 300          level 1 0 300    300 s for the whole game\n"
    "level game 40 moves in 300 level 1 40 300   and again for each 40 moves\n"
    "level move 5               level 2 5        5 s for each move\n"
    "level average 10           level 4 10       10 s a move on average\n"
    "level increment 300 2      level 5 300 2    300 s, and 2 s more with each move\n"
    "level infinite             level 6          until 'now' or 'stop'\n"
    "level game 40 moves in 300 then in 600, or level 1 40 300 0 600\n"
    "level game 40 moves in 300 then 20 in 120, or level 1 40 300 20 120\n"
    "A level with time may end in 'depth 8': no deeper than that.";

bool ReadLevel(std::span<const std::string_view> words, LEVEL* level, std::string* error) {
    LEVEL read = *level;
    read.depth1 = 0;
    read.time1 = read.moves1 = read.time2 = read.moves2 = 0;
    Reader reader(words);
    bool good = !words.empty() && ReadMode(&reader, &read.mode) && ReadValues(&reader, &read);
    if (good && HasTime(read) && reader.Skip("depth")) good = reader.Number(&read.depth1);
    if (good && !reader.IsAtEnd()) good = reader.FailAtWord();
    if (good) {
        *level = read;
    } else {
        *error = words.empty() ? "a level is missing" : reader.message();
    }
    return good;
}

std::string LevelText(const LEVEL& level) {
    std::string text;
    switch (level.mode) {
        case LevelDepth:
        case LevelPlies: return "depth " + std::to_string(level.depth1);
        case LevelTournament:
            if (level.moves1 == 0) {
                text = "whole game in " + Duration(level.time1);
                break;
            }
            text = std::to_string(level.moves1) + " moves in " + Duration(level.time1) + ", then ";
            if (level.moves2 > 0) text += std::to_string(level.moves2) + " moves in ";
            text += Duration(level.time2);
            if (level.moves2 == 0) text += " for the rest";
            break;
        case LevelMoveTime: text = Duration(level.time1) + " a move"; break;
        case LevelAverage: text = Duration(level.time1) + " a move on average"; break;
        case LevelIncrement:
            text = Duration(level.time1) + " and " + std::to_string(level.time2) + " s a move";
            break;
        default: return "infinite";
    }
    if (level.depth1 != 0) text += ", depth " + std::to_string(level.depth1) + " at most";
    return text;
}

}  // namespace torval
