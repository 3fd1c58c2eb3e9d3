#include "apps/text/pgn_tokens.h"

#include <algorithm>
#include <array>
#include <cstring>

namespace torval {

namespace {

constexpr std::size_t kBufferSize = std::size_t{1} << 18;
constexpr std::size_t kLongestWord = 32;
constexpr std::array<std::string_view, 4> kResults = {"1-0", "0-1", "1/2-1/2", "*"};

bool IsDigit(char c) { return c >= '0' && c <= '9'; }

}  // namespace

PgnTokens::PgnTokens(std::istream& in, char line_mark)
    : in_(&in), line_mark_(line_mark), buffer_(kBufferSize) {
    SkipByteOrderMark();
}

PgnTokens::PgnTokens(std::string_view text)
    : buffer_(text.begin(), text.end()), end_(text.size()), bytes_read_(text.size()) {
    SkipByteOrderMark();
}

void PgnTokens::SkipByteOrderMark() {
    constexpr std::string_view kMark = "\xEF\xBB\xBF";
    if (ComesNext(kMark)) at_ += kMark.size();
}

bool PgnTokens::Refill() {
    if (!in_) return false;
    // The rest moves to the front, so that ComesNext can look ahead.
    std::memmove(buffer_.data(), buffer_.data() + at_, end_ - at_);
    end_ -= at_;
    at_ = 0;
    if (!*in_) return false;
    in_->read(buffer_.data() + end_, static_cast<std::streamsize>(buffer_.size() - end_));
    const auto count = static_cast<std::size_t>(in_->gcount());
    bytes_read_ += count;
    end_ += count;
    return count > 0;
}

void PgnTokens::Take() {
    if (buffer_[at_++] == '\n') {
        ++line_;
        column_ = 0;
    } else {
        ++column_;
    }
}

bool PgnTokens::ComesNext(std::string_view text) {
    while (end_ - at_ < text.size()) {
        if (!Refill()) return false;
    }
    return Buffered().starts_with(text);
}

bool PgnTokens::EndsWord(int c) {
    return c == kEnd || IsBlank(c) || c == '{' || c == '}' || c == '(' || c == ')' || c == ';' ||
           c == '[' || c == ']';
}

bool PgnTokens::SkipBlanks() {
    for (;;) {
        const int c = Peek();
        if (c == kEnd) return false;
        if (column_ == 0 && c == line_mark_) {
            SkipLine();
        } else if (IsBlank(c)) {
            Take();
        } else {
            return true;
        }
    }
}

void PgnTokens::SkipLine() {
    while (Peek() != kEnd && Peek() != '\n') Take();
}

PgnTokens::Token PgnTokens::Next() {
    if (!SkipBlanks()) return Token::End;
    switch (Peek()) {
        case '[': return Token::Tag;
        case '{': return Token::Comment;
        case ';': return Token::LineComment;
        case '(': return Token::VariationBegins;
        case ')': return Token::VariationEnds;
        case '}':
        case ']': return Token::Stray;
        default: return Token::Word;
    }
}

bool PgnTokens::SkipComment() {
    for (;;) {
        Take();
        if (Peek() == '}') {
            Take();
            return true;
        }
        if (Peek() == kEnd || AtNextGame()) return false;
    }
}

std::string_view PgnTokens::TakeWord() {
    // A text in memory sets the limit itself.
    const std::size_t most = in_ ? kLongestWord : buffer_.size();
    word_.clear();
    do {
        if (word_.size() < most) word_ += static_cast<char>(Peek());
        Take();
    } while (!EndsWord(Peek()));
    return word_;
}

bool IsPgnResult(std::string_view word) {
    return std::ranges::find(kResults, word) != kResults.end();
}

std::string_view PgnMove(std::string_view word) {
    // "12.e4" and "12..." begin with a number; "0-0" does not.
    const auto digits =
        static_cast<std::size_t>(std::ranges::find_if_not(word, IsDigit) - word.begin());
    if (digits == word.size()) return {};
    if (digits > 0 && word[digits] == '.') word.remove_prefix(digits);
    while (word.starts_with('.')) word.remove_prefix(1);
    while (word.ends_with('!') || word.ends_with('?')) word.remove_suffix(1);
    if (word.starts_with('$') || word == "e.p.") return {};
    return word;
}

}  // namespace torval
