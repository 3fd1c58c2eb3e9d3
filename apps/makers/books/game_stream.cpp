#include "apps/makers/books/game_stream.h"

#include <algorithm>
#include <charconv>
#include <optional>

#include "apps/text/text.h"

namespace torval {

namespace {

constexpr std::size_t kLongestTag = 255;

/// A draw and an unknown result are Other.
GameResult ResultOf(std::string_view word) {
    if (word == "1-0") return GameResult::White;
    return word == "0-1" ? GameResult::Black : GameResult::Other;
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

/// Games are mostly letters and digits, so in UTF-16 every second byte is zero. In other texts a
/// zero is a rare fault.
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
    : tokens_(in, shape == Shape::Pgn ? '%' : '#'),
      shape_(shape),
      most_moves_(most_moves),
      is_utf16_(LooksLikeUtf16(tokens_.Buffered())) {}

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
    if (!tokens_.SkipBlanks()) return false;
    game->line = tokens_.Line();
    if (shape_ == Shape::Pgn) {
        ReadPgnGame(game);
    } else {
        ReadLineGame(game);
    }
    return true;
}

void GameStream::ReadPgnGame(StreamedGame* game) {
    using Token = PgnTokens::Token;
    bool in_moves = false;
    for (;;) {
        switch (tokens_.Next()) {
            case Token::End: return;
            case Token::Tag:
                // The next game's tags: this one came without a result.
                if (in_moves) return;
                something_read_ = true;
                ReadTag(game);
                break;
            case Token::Comment: SkipComment(game); break;
            case Token::LineComment: tokens_.SkipLine(); break;
            case Token::VariationBegins:
                in_moves = true;
                SkipVariations(game);
                break;
            case Token::VariationEnds:
            case Token::Stray:
                Complain(
                    game,
                    std::string("a '") + static_cast<char>(tokens_.Peek()) + "' closes nothing");
                tokens_.Take();
                break;
            case Token::Word:
                in_moves = true;
                if (ReadWord(game)) return;
                break;
        }
    }
}

void GameStream::ReadLineGame(StreamedGame* game) {
    for (;;) {
        int c = tokens_.Peek();
        while (c != '\n' && PgnTokens::IsBlank(c)) {
            tokens_.Take();
            c = tokens_.Peek();
        }
        if (c == PgnTokens::kEnd || c == '\n') return;
        if (PgnTokens::EndsWord(c)) {
            Complain(game, Quote(std::string(1, static_cast<char>(c))) + " is no move");
            tokens_.SkipLine();
        } else if (ReadWord(game)) {
            tokens_.SkipLine();
        }
    }
}

void GameStream::ReadTag(StreamedGame* game) {
    tag_.clear();
    for (int c = tokens_.Peek(); c != PgnTokens::kEnd && c != '\n'; c = tokens_.Peek()) {
        if (tag_.size() < kLongestTag) tag_ += static_cast<char>(c);
        tokens_.Take();
    }
    const bool wanted = tag_.starts_with("[FEN ") || tag_.starts_with("[Result ") ||
                        tag_.starts_with("[WhiteElo ") || tag_.starts_with("[BlackElo ");
    if (!wanted) return;
    const std::optional<std::string> value = TagValue(tag_);
    if (!value) {
        Complain(game, "tag " + Quote(tag_) + " cannot be read");
    } else if (tag_[1] == 'F') {
        game->fen = *value;
    } else if (tag_[1] == 'R') {
        game->result = ResultOf(*value);
    } else {
        (tag_[1] == 'W' ? game->white_elo : game->black_elo) = Rating(*value);
    }
}

void GameStream::SkipComment(StreamedGame* game) {
    if (!tokens_.SkipComment()) Complain(game, "a comment has no end");
}

void GameStream::SkipVariations(StreamedGame* game) {
    using Token = PgnTokens::Token;
    for (std::size_t depth = 0;;) {
        const Token token = tokens_.Next();
        if (token == Token::End || tokens_.AtNextGame()) {
            return Complain(game, "a variation has no end");
        }
        switch (token) {
            case Token::Comment: SkipComment(game); break;
            case Token::LineComment: tokens_.SkipLine(); break;
            case Token::Word: tokens_.TakeWord(); break;
            default: tokens_.Take();
        }
        if (token == Token::VariationBegins) ++depth;
        if (token == Token::VariationEnds && --depth == 0) return;
    }
}

bool GameStream::ReadWord(StreamedGame* game) {
    something_read_ = true;
    const std::string_view word = tokens_.TakeWord();
    if (IsPgnResult(word)) {
        game->result = ResultOf(word);
        return true;
    }
    if (ends_.size() >= most_moves_) return false;
    if (const std::string_view move = PgnMove(word); !move.empty()) {
        game->text += move;
        ends_.push_back(game->text.size());
    }
    return false;
}

}  // namespace torval
