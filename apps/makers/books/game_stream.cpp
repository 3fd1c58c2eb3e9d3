#include "apps/makers/books/game_stream.h"

#include <algorithm>
#include <charconv>
#include <cstring>
#include <optional>

#include "apps/text/text.h"

namespace torval {

namespace {

constexpr std::size_t kBufferSize = std::size_t{1} << 18;
constexpr std::size_t kLongestTag = 255;
constexpr std::size_t kLongestWord = 32;

bool IsBlank(int c) {
    return c == ' ' || c == '\t' || c == '\n' || c == '\r' || c == '\v' || c == '\f';
}
bool IsDigit(char c) { return c >= '0' && c <= '9'; }

bool EndsWord(int c) {
    return c < 0 || IsBlank(c) || c == '{' || c == '}' || c == '(' || c == ')' || c == ';' ||
           c == '[' || c == ']';
}

std::optional<GameResult> ResultOf(std::string_view word) {
    if (word == "1-0") return GameResult::White;
    if (word == "0-1") return GameResult::Black;
    if (word == "1/2-1/2" || word == "*") return GameResult::Other;
    return std::nullopt;
}

void Complain(StreamedGame* game, const std::string& what) {
    if (game->error.empty()) game->error = what;
}

/// The value between the quotes of a tag's line, which ends in a bracket.
std::optional<std::string> TagValue(std::string_view line) {
    const std::size_t open = line.find('"');
    if (open == line.npos) return std::nullopt;
    std::string value;
    for (std::size_t i = open + 1; i < line.size(); ++i) {
        if (line[i] == '"') {
            return line.find(']', i) == line.npos ? std::nullopt : std::optional(value);
        }
        if (line[i] == '\\' && i + 1 < line.size()) ++i;
        value += line[i];
    }
    return std::nullopt;
}

/// Games are letters and digits mostly, so every second byte of theirs is zero. In other texts a zero
/// is a rare fault.
bool LooksLikeUtf16(std::string_view start) {
    constexpr std::size_t kEnough = 4096;
    start = start.substr(0, kEnough);
    const auto zeros = static_cast<std::size_t>(std::ranges::count(start, '\0'));
    return start.starts_with("\xFF\xFE") || start.starts_with("\xFE\xFF") ||
           (zeros > 0 && zeros >= start.size() / 4);
}

int Rating(std::string_view text) {
    constexpr int kHighest = 9999;
    int rating = 0;
    const auto read = std::from_chars(text.data(), text.data() + text.size(), rating);
    return read.ec == std::errc() && rating > 0 && rating <= kHighest ? rating : 0;
}

}  // namespace

GameStream::GameStream(std::istream& in, Shape shape, std::size_t most_moves)
    : in_(in), shape_(shape), most_moves_(most_moves), buffer_(kBufferSize) {
    if (ComesNext("\xEF\xBB\xBF")) at_ += 3;
    is_utf16_ = LooksLikeUtf16({buffer_.data(), end_});
}

bool GameStream::Refill() {
    // What is left moves to the front, so that ComesNext can look ahead.
    std::memmove(buffer_.data(), buffer_.data() + at_, end_ - at_);
    end_ -= at_;
    at_ = 0;
    if (!in_) return false;
    in_.read(buffer_.data() + end_, static_cast<std::streamsize>(buffer_.size() - end_));
    const auto count = static_cast<std::size_t>(in_.gcount());
    bytes_read_ += count;
    end_ += count;
    return count > 0;
}

void GameStream::Take() {
    if (buffer_[at_++] == '\n') {
        ++line_;
        column_ = 0;
    } else {
        ++column_;
    }
}

bool GameStream::ComesNext(std::string_view text) {
    while (end_ - at_ < text.size()) {
        if (!Refill()) return false;
    }
    return std::string_view(buffer_.data() + at_, text.size()) == text;
}

bool GameStream::Next(StreamedGame* game) {
    do {
        if (!ReadGame(game)) return false;
    } while (!something_read_ && game->error.empty());
    const std::string_view text = game->text;
    std::size_t begin = 0;
    for (const std::size_t end : ends_) {
        game->moves.push_back(text.substr(begin, end - begin));
        begin = end;
    }
    return true;
}

bool GameStream::ReadGame(StreamedGame* game) {
    something_read_ = false;
    game->fen.clear();
    game->white_elo = game->black_elo = 0;
    game->result = GameResult::Other;
    game->moves.clear();
    game->text.clear();
    game->error.clear();
    ends_.clear();
    if (!SkipBlanks()) return false;
    game->line = line_;
    if (shape_ == Shape::Pgn) {
        ReadPgnGame(game);
    } else {
        ReadLineGame(game);
    }
    return true;
}

bool GameStream::SkipBlanks() {
    const int line_comment = shape_ == Shape::Pgn ? '%' : '#';
    for (;;) {
        const int c = Peek();
        if (c == kEnd) return false;
        if (AtLineStart() && c == line_comment) {
            SkipLine();
        } else if (IsBlank(c)) {
            Take();
        } else {
            return true;
        }
    }
}

void GameStream::SkipLine() {
    while (Peek() != kEnd && Peek() != '\n') Take();
}

void GameStream::ReadPgnGame(StreamedGame* game) {
    bool in_moves = false;
    while (SkipBlanks()) {
        const int c = Peek();
        if (c == '[') {
            // The next game's tags: this one came without a result.
            if (in_moves) return;
            something_read_ = true;
            ReadTag(game);
            continue;
        }
        if (c == '{') {
            SkipComment(game);
        } else if (c == ';') {
            SkipLine();
        } else if (c == '(') {
            in_moves = true;
            SkipVariations(game);
        } else if (c == ')' || c == '}' || c == ']') {
            Complain(game, std::string("a '") + static_cast<char>(c) + "' closes nothing");
            Take();
        } else {
            in_moves = true;
            if (AddWord(ReadWord(), game)) return;
        }
    }
}

void GameStream::ReadLineGame(StreamedGame* game) {
    for (;;) {
        int c = Peek();
        while (c != '\n' && IsBlank(c)) {
            Take();
            c = Peek();
        }
        if (c == kEnd || c == '\n') return;
        if (EndsWord(c)) {
            Complain(game, Quote(std::string(1, static_cast<char>(c))) + " is no move");
            SkipLine();
        } else if (AddWord(ReadWord(), game)) {
            SkipLine();
        }
    }
}

void GameStream::ReadTag(StreamedGame* game) {
    word_.clear();
    for (int c = Peek(); c != kEnd && c != '\n'; c = Peek()) {
        if (word_.size() < kLongestTag) word_ += static_cast<char>(c);
        Take();
    }
    const bool wanted = word_.starts_with("[FEN ") || word_.starts_with("[Result ") ||
                        word_.starts_with("[WhiteElo ") || word_.starts_with("[BlackElo ");
    if (!wanted) return;
    const std::optional<std::string> value = TagValue(word_);
    if (!value) {
        Complain(game, "tag " + Quote(word_) + " cannot be read");
    } else if (word_[1] == 'F') {
        game->fen = *value;
    } else if (word_[1] == 'R') {
        game->result = ResultOf(*value).value_or(GameResult::Other);
    } else {
        (word_[1] == 'W' ? game->white_elo : game->black_elo) = Rating(*value);
    }
}

void GameStream::SkipComment(StreamedGame* game) {
    for (;;) {
        Take();
        if (Peek() == '}') return Take();
        if (Peek() == kEnd || AtNextGame()) return Complain(game, "a comment has no end");
    }
}

void GameStream::SkipVariations(StreamedGame* game) {
    for (std::size_t depth = 0;;) {
        const int c = Peek();
        if (c == kEnd || AtNextGame()) return Complain(game, "a variation has no end");
        if (c == '{') {
            SkipComment(game);
        } else if (c == ';') {
            SkipLine();
        } else {
            Take();
            if (c == '(') ++depth;
            if (c == ')' && --depth == 0) return;
        }
    }
}

std::string_view GameStream::ReadWord() {
    something_read_ = true;
    word_.clear();
    do {
        // What is longer is no move however it goes on.
        if (word_.size() < kLongestWord) word_ += static_cast<char>(Peek());
        Take();
    } while (!EndsWord(Peek()));
    return word_;
}

bool GameStream::AddWord(std::string_view word, StreamedGame* game) {
    if (const auto result = ResultOf(word)) {
        game->result = *result;
        return true;
    }
    if (ends_.size() >= most_moves_) return false;
    // "12.e4" and "12..." begin with a number; "0-0" does not.
    const auto digits =
        static_cast<std::size_t>(std::ranges::find_if_not(word, IsDigit) - word.begin());
    if (digits == word.size()) return false;
    if (digits > 0 && word[digits] == '.') word.remove_prefix(digits);
    while (word.starts_with('.')) word.remove_prefix(1);
    while (word.ends_with('!') || word.ends_with('?')) word.remove_suffix(1);
    if (word.empty() || word[0] == '$' || word == "e.p.") return false;
    game->text += word;
    ends_.push_back(game->text.size());
    return false;
}

}  // namespace torval
