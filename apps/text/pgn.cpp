#include "apps/text/pgn.h"

#include <algorithm>
#include <array>

#include "apps/text/moves.h"
#include "apps/text/pgn_tokens.h"
#include "apps/text/text.h"

namespace torval {

namespace {

constexpr std::array<std::pair<const char*, const char*>, 6> kRoster = {{{"Event", "?"},
                                                                         {"Site", "?"},
                                                                         {"Date", "????.??.??"},
                                                                         {"Round", "?"},
                                                                         {"White", "?"},
                                                                         {"Black", "?"}}};

std::string TagLine(std::string_view name, std::string_view value) {
    std::string line = "[" + std::string(name) + " \"";
    for (const char c : value) {
        if (c == '"' || c == '\\') line += '\\';
        // A tag is on a single line.
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

/// Plies before a position, by its FEN; those of the usual start where the FEN has none.
std::size_t FirstPly(std::string_view fen) {
    constexpr int kMost = 999'999'999;
    const std::vector<std::string_view> fields = SplitWords(fen);
    int number = 1;
    if (fields.size() > 5) (void)ReadNumber(fields[5], 1, kMost, &number);
    const bool black = fields.size() > 1 && fields[1] == "b";
    return 2 * static_cast<std::size_t>(number - 1) + (black ? 1 : 0);
}

/// Reads one game.
class Reader {
public:
    explicit Reader(std::string_view text) : tokens_(text) {}

    bool Read(PgnGame* game) {
        using Token = PgnTokens::Token;
        for (bool ended = false; message_.empty() && !ended;) {
            const Token token = tokens_.Next();
            if (token == Token::End) break;
            if (token != Token::Tag) {
                ended = ReadMoveText(token, game);
            } else if (in_moves_) {
                ended = true;  // the next game's tags: this one came without a result
            } else {
                ReadTag(game);
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
    bool InLine() { return tokens_.Peek() != PgnTokens::kEnd && tokens_.Peek() != '\n'; }
    char TakeCharacter() {
        const auto c = static_cast<char>(tokens_.Peek());
        line_ += c;
        tokens_.Take();
        return c;
    }
    void SkipBlanksOfLine() {
        while (InLine() && PgnTokens::IsBlank(tokens_.Peek())) TakeCharacter();
    }

    /// A tag, which is on a single line; more tags or moves may follow on it.
    void ReadTag(PgnGame* game) {
        line_.clear();
        TakeCharacter();
        SkipBlanksOfLine();
        std::string name;
        while (InLine() && !PgnTokens::IsBlank(tokens_.Peek()) && tokens_.Peek() != '"') {
            name += TakeCharacter();
        }
        SkipBlanksOfLine();
        std::string value;
        bool closed = false;
        if (tokens_.Peek() == '"') {
            TakeCharacter();
            while (InLine() && !closed) {
                char c = TakeCharacter();
                closed = c == '"';
                if (c == '\\' && InLine()) c = TakeCharacter();
                if (!closed) value += c;
            }
        }
        SkipBlanksOfLine();
        if (!closed || name.empty() || tokens_.Peek() != ']') {
            while (InLine()) TakeCharacter();
            message_ = "tag " + Quote(line_) + " cannot be read";
            return;
        }
        tokens_.Take();
        if (name == "FEN") {
            game->fen = value;
        } else if (name == "Result") {
            if (IsPgnResult(value)) game->result = value;
        } else if (name != "SetUp") {
            game->tags.emplace_back(name, value);
        }
    }

    /// One element of the move text. True when it ends the game.
    bool ReadMoveText(PgnTokens::Token token, PgnGame* game) {
        using Token = PgnTokens::Token;
        in_moves_ = true;
        switch (token) {
            case Token::Comment:
                if (!tokens_.SkipComment()) message_ = "a comment has no end";
                return false;
            case Token::LineComment: tokens_.SkipLine(); return false;
            case Token::VariationBegins:
                ++depth_;
                tokens_.Take();
                return false;
            case Token::VariationEnds:
                if (depth_ == 0) {
                    message_ = "a variation ends that has not begun";
                } else {
                    --depth_;
                    tokens_.Take();
                }
                return false;
            default: return ReadWord(game);
        }
    }

    bool ReadWord(PgnGame* game) {
        const std::string_view word = tokens_.TakeWord();
        if (depth_ > 0) return false;
        if (IsPgnResult(word)) {
            game->result = word;
            return true;
        }
        if (const std::string_view move = PgnMove(word); !move.empty()) {
            game->moves.emplace_back(move);
        }
        return false;
    }

    PgnTokens tokens_;
    std::string line_;  ///< of the tag, as far as it is read
    int depth_ = 0;
    bool in_moves_ = false;
    std::string message_;
};

/// The move in the spelling that the engine's reader understands most reliably.
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
