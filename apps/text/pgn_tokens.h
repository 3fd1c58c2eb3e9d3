// The parts of games in PGN: tags, comments, variations and words, found where they begin.
//
// Shape    text of any size from a stream, one buffer at a time, or a text in memory. Lines that
//          begin with a mark of their own, '%' in PGN, are skipped between two parts.
// Damage   in a stream of many games a line that begins with "[Event " starts a game even within a
//          comment without an end, so that one damaged game does not take the others with it.
// Source   the Portable Game Notation standard of 1994.
#pragma once

#include <cstdint>
#include <istream>
#include <string>
#include <string_view>
#include <vector>

namespace torval {

class PgnTokens {
public:
    enum class Token {
        End,
        Tag,              ///< '['
        Comment,          ///< '{'
        LineComment,      ///< ';'
        VariationBegins,  ///< '('
        VariationEnds,    ///< ')'
        Stray,            ///< '}' or ']'
        Word,             ///< a move, a number, a result, or anything else
    };
    static constexpr int kEnd = -1;

    /// The stream must outlive this.
    explicit PgnTokens(std::istream& in, char line_mark = '%');
    explicit PgnTokens(std::string_view text);

    static bool IsBlank(int c) {
        return c == ' ' || c == '\t' || c == '\n' || c == '\r' || c == '\v' || c == '\f';
    }
    /// Whether this character ends a word.
    static bool EndsWord(int c);

    /// The kind of the next part, after blanks and marked lines. Nothing of it is consumed.
    Token Next();
    /// Moves to that part; false at the end.
    bool SkipBlanks();
    /// Moves to the end of the line.
    void SkipLine();
    /// Consumes the comment that begins here. False: it has no end, and reading continues where the
    /// text or the game ends.
    bool SkipComment();
    /// Consumes the word that begins here. Of a very long one in a stream, which cannot be a move,
    /// only the beginning is returned. Valid until the next word is taken.
    std::string_view TakeWord();
    /// Whether a game of a stream certainly begins here.
    bool AtNextGame() { return in_ && column_ == 0 && Peek() == '[' && ComesNext("[Event "); }

    /// The next character, kEnd after the last one.
    int Peek() { return at_ < end_ || Refill() ? static_cast<unsigned char>(buffer_[at_]) : kEnd; }
    /// Moves past it.
    void Take();

    /// The number of the line, from 1.
    std::size_t Line() const { return line_; }
    std::uint64_t BytesRead() const { return bytes_read_; }
    /// Text that has been read but not consumed.
    std::string_view Buffered() const { return {buffer_.data() + at_, end_ - at_}; }

private:
    bool Refill();
    /// Whether this text comes next; false also when less text is left.
    bool ComesNext(std::string_view text);
    void SkipByteOrderMark();

    std::istream* in_ = nullptr;  ///< null for a text in memory
    char line_mark_ = '%';
    std::vector<char> buffer_;
    std::size_t at_ = 0;
    std::size_t end_ = 0;
    std::uint64_t bytes_read_ = 0;
    std::size_t line_ = 1;
    std::size_t column_ = 0;
    std::string word_;
};

/// Whether the word is one of the four results, which end a game.
bool IsPgnResult(std::string_view word);

/// The move in a word: without the number before it and marks such as "!?" after it. Empty for a
/// number, a numeric glyph and "e.p.".
std::string_view PgnMove(std::string_view word);

}  // namespace torval
