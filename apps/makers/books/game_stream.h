// Collections of games of any size, read one game at a time.
//
// Shape    PGN, or plain lines: one line of moves in each text line, with move numbers or without,
//          a result at its end or none; empty lines and those that begin with # are skipped.
// Memory   one buffer of the file and one game's first moves, however long a game or a comment is.
// Damage   a game that cannot be read is returned with its `error`; reading continues after it. A
//          line that begins with "[Event " starts a game even within a comment without an end.
// Source   the Portable Game Notation standard of 1994.
#pragma once

#include <istream>
#include <string>
#include <string_view>
#include <vector>

#include "apps/text/pgn_tokens.h"
#include "book/book_edit.h"

namespace torval {

struct StreamedGame {
    std::size_t line = 0;  ///< where it begins; the first is 1
    std::string fen;       ///< empty for the usual start
    int white_elo = 0;     ///< 0: not given
    int black_elo = 0;
    GameResult result = GameResult::Other;  ///< a draw and an unknown one are Other
    std::vector<std::string_view> moves;    ///< into `text`; valid until the next game is read
    std::string text;
    std::string error;  ///< empty, or what is wrong with the game
};

class GameStream {
public:
    enum class Shape { Pgn, Lines };

    /// The stream must outlive this. At most `most_moves` moves of each game are returned.
    GameStream(std::istream& in, Shape shape, std::size_t most_moves);

    /// Text of two bytes per character, recognised by its byte order mark or the zero bytes at its
    /// start. No game can be read from it.
    bool IsUtf16() const { return is_utf16_; }

    /// False at the end.
    bool Next(StreamedGame* game);

    std::uint64_t BytesRead() const { return tokens_.BytesRead(); }

private:
    /// The next game; empty when only a comment follows the last one.
    bool ReadGame(StreamedGame* game);
    void ReadPgnGame(StreamedGame* game);
    void ReadLineGame(StreamedGame* game);
    void ReadTag(StreamedGame* game);
    void SkipComment(StreamedGame* game);
    void SkipVariations(StreamedGame* game);
    /// Takes a word of the moves. True: it was a result.
    bool ReadWord(StreamedGame* game);

    PgnTokens tokens_;
    const Shape shape_;
    const std::size_t most_moves_;
    const bool is_utf16_;
    bool something_read_ = false;  ///< a tag or a word of the game
    std::string tag_;
    std::vector<std::size_t> ends_;  ///< of the game's moves in its text
};

}  // namespace torval
