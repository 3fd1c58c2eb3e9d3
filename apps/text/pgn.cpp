#include "apps/text/pgn.h"

#include <algorithm>
#include <array>

#include "apps/text/moves.h"
#include "apps/text/text.h"

namespace torval {

namespace {

constexpr std::array<std::pair<const char*, const char*>, 6> kRoster = {{{"Event", "?"},
                                                                         {"Site", "?"},
                                                                         {"Date", "????.??.??"},
                                                                         {"Round", "?"},
                                                                         {"White", "?"},
                                                                         {"Black", "?"}}};
constexpr std::array<std::string_view, 4> kResults = {"1-0", "0-1", "1/2-1/2", "*"};

bool IsBlank(char c) { return c == ' ' || c == '\t' || c == '\n' || c == '\r' || c == '\v'; }
bool IsDigit(char c) { return c >= '0' && c <= '9'; }

std::string TagLine(std::string_view name, std::string_view value) {
    std::string line = "[" + std::string(name) + " \"";
    for (const char c : value) {
        if (c == '"' || c == '\\') line += '\\';
        // A tag stands on one line.
        line += static_cast<unsigned char>(c) < ' ' ? ' ' : c;
    }
    return line + "\"]\n";
}

const std::string* FindTag(const PgnGame& game, std::string_view name) {
    for (const auto& [known, value] : game.tags) {
        if (known == name) return &value;
    }
    return nullptr;
}

/// Plies before a position, by its FEN; those of the usual start where it does not tell.
std::size_t FirstPly(std::string_view fen) {
    constexpr int kMost = 999'999'999;
    const std::vector<std::string_view> fields = SplitWords(fen);
    int number = 1;
    if (fields.size() > 5) (void)ReadNumber(fields[5], 1, kMost, &number);
    const bool black = fields.size() > 1 && fields[1] == "b";
    return 2 * static_cast<std::size_t>(number - 1) + (black ? 1 : 0);
}

/// Walks through the text of one game.
class Reader {
public:
    explicit Reader(std::string_view text) : text_(text) {
        if (text_.starts_with("\xEF\xBB\xBF")) at_ = 3;
    }

    bool Read(PgnGame* game) {
        while (message_.empty() && SkipBlanks()) {
            const char c = text_[at_];
            if (c == '[' && !in_moves_) {
                ReadTag(game);
            } else if (c == '[') {
                break;  // the next game's tags: this one came without a result
            } else if (ReadMoveText(game)) {
                break;
            }
        }
        if (message_.empty() && game->moves.empty() && game->tags.empty() && game->fen.empty() &&
            !in_moves_) {
            message_ = "there is no game in it";
        }
        if (message_.empty() && depth_ > 0) message_ = "a variation has no end";
        return message_.empty();
    }
    const std::string& message() const { return message_; }

private:
    /// Goes to the next thing that is no blank and no line for other programs; false at the end.
    bool SkipBlanks() {
        for (; at_ < text_.size(); ++at_) {
            const bool line_start = at_ == 0 || text_[at_ - 1] == '\n';
            if (line_start && text_[at_] == '%') {
                SkipLine();
            } else if (!IsBlank(text_[at_])) {
                return true;
            }
        }
        return false;
    }

    /// Stops on the line end, or on the last byte.
    void SkipLine() { at_ = std::min(text_.find('\n', at_), text_.size() - 1); }

    void ReadTag(PgnGame* game) {
        const std::size_t end = text_.find('\n', at_);
        const std::string_view line = text_.substr(at_, end - at_);
        std::size_t i = 1;
        while (i < line.size() && IsBlank(line[i])) ++i;
        const std::size_t name_begin = i;
        while (i < line.size() && !IsBlank(line[i]) && line[i] != '"') ++i;
        const std::string name(line.substr(name_begin, i - name_begin));
        while (i < line.size() && IsBlank(line[i])) ++i;
        std::string value;
        bool closed = false;
        if (i < line.size() && line[i] == '"') {
            for (++i; i < line.size() && !closed; ++i) {
                if (line[i] == '"') {
                    closed = true;
                } else {
                    if (line[i] == '\\' && i + 1 < line.size()) ++i;
                    value += line[i];
                }
            }
        }
        while (i < line.size() && IsBlank(line[i])) ++i;
        if (!closed || name.empty() || i >= line.size() || line[i] != ']') {
            message_ = "tag " + Quote(line) + " cannot be read";
            return;
        }
        at_ += i + 1;
        if (name == "FEN") {
            game->fen = value;
        } else if (name == "Result") {
            if (std::ranges::find(kResults, value) != kResults.end()) game->result = value;
        } else if (name != "SetUp") {
            game->tags.emplace_back(name, value);
        }
    }

    /// One thing among the moves. True when it ends the game.
    bool ReadMoveText(PgnGame* game) {
        in_moves_ = true;
        switch (text_[at_]) {
            case '{': return !SkipComment();
            case ';': SkipLine(), ++at_; return false;
            case '(': ++depth_, ++at_; return false;
            case ')':
                if (depth_ == 0) {
                    message_ = "a variation ends that has not begun";
                    return true;
                }
                --depth_, ++at_;
                return false;
            default: return ReadWord(game);
        }
    }

    bool SkipComment() {
        const std::size_t end = text_.find('}', at_);
        if (end == text_.npos) {
            message_ = "a comment has no end";
            return false;
        }
        at_ = end + 1;
        return true;
    }

    bool ReadWord(PgnGame* game) {
        constexpr std::string_view kEnds = " \t\r\n\v{}();[]";
        const std::size_t end = std::min(text_.find_first_of(kEnds, at_ + 1), text_.size());
        std::string_view word = text_.substr(at_, end - at_);
        at_ = end;
        if (depth_ > 0) return false;
        if (std::ranges::find(kResults, word) != kResults.end()) {
            game->result = word;
            return true;
        }
        // "12.e4" and "12..." begin with a number; "0-0" does not.
        const std::size_t digits =
            static_cast<std::size_t>(std::ranges::find_if_not(word, IsDigit) - word.begin());
        if (digits == word.size()) return false;
        if (digits > 0 && word[digits] == '.') word.remove_prefix(digits);
        while (word.starts_with('.')) word.remove_prefix(1);
        while (word.ends_with('!') || word.ends_with('?')) word.remove_suffix(1);
        if (word.empty() || word[0] == '$' || word == "e.p.") return false;
        game->moves.emplace_back(word);
        return false;
    }

    std::string_view text_;
    std::size_t at_ = 0;
    int depth_ = 0;
    bool in_moves_ = false;
    std::string message_;
};

/// The move in the spelling that the engine's reader is surest about.
std::string Plain(std::string_view move) {
    std::string text;
    for (const char c : move) {
        if (c != '=' && c != '+' && c != '#' && c != '!' && c != '?') text += c;
    }
    // In "B2xc3" the engine would read the square b2.
    if (text.starts_with('B')) std::erase(text, 'x');
    return text;
}

}  // namespace

std::string WritePgn(const PgnGame& game) {
    constexpr std::size_t kLineWidth = 80;
    std::string text;
    for (const auto& [name, unknown] : kRoster) {
        const std::string* const value = FindTag(game, name);
        text += TagLine(name, value ? *value : unknown);
    }
    text += TagLine("Result", game.result);
    for (const auto& [name, value] : game.tags) {
        const auto in_roster = [&name = name](const auto& entry) { return entry.first == name; };
        if (std::ranges::none_of(kRoster, in_roster)) text += TagLine(name, value);
    }
    if (!game.fen.empty()) text += TagLine("SetUp", "1") + TagLine("FEN", game.fen);
    text += '\n';

    std::size_t ply = FirstPly(game.fen);
    std::size_t width = 0;
    const auto add = [&](const std::string& word) {
        if (width > 0) text += width + 1 + word.size() < kLineWidth ? ' ' : '\n';
        width = text.ends_with('\n') ? word.size() : width + 1 + word.size();
        text += word;
    };
    for (std::size_t i = 0; i < game.moves.size(); ++i, ++ply) {
        if (ply % 2 == 0 || i == 0) {
            add(std::to_string(ply / 2 + 1) + (ply % 2 == 0 ? "." : "..."));
        }
        add(game.moves[i]);
    }
    add(game.result);
    return text + "\n\n";
}

std::optional<PgnGame> ReadPgn(std::string_view text, std::string* error) {
    PgnGame game;
    Reader reader(text);
    if (reader.Read(&game)) return game;
    *error = reader.message();
    return std::nullopt;
}

HRESULT EnterPgnMove(IChessEngine* engine, std::string_view move, MOVES* made) {
    const std::string text = Plain(move);
    const HRESULT result = engine->DoMove(text.c_str(), made);
    const std::size_t type = std::string_view("  NBRQK").find(text.empty() ? ' ' : text[0]);
    if (result != StatusAmbiguous || type < 2 || type > 6) return result;
    // A capital B finds bishop moves and captures of the b-pawn; here it means the bishop.
    const EVAR* found = nullptr;
    for (std::size_t i = 0; i < made->NmbrOfMoves; ++i) {
        const EVAR& candidate = made->MOVES[i];
        if ((candidate.flags & 0xF0) || (candidate.flags & 7) != static_cast<int>(type)) continue;
        if (found) return result;
        found = &candidate;
    }
    if (!found) return result;
    return engine->DoMove(EntryText(CoordinateText(*found)).c_str(), made);
}

}  // namespace torval
