#include "apps/text.h"

#include <charconv>

namespace torval {

std::vector<std::string_view> SplitWords(std::string_view text) {
    constexpr std::string_view kBlanks = " \t\r\n";
    std::vector<std::string_view> words;
    for (;;) {
        const std::size_t begin = text.find_first_not_of(kBlanks);
        if (begin == std::string_view::npos) return words;
        text.remove_prefix(begin);
        words.push_back(text.substr(0, text.find_first_of(kBlanks)));
        text.remove_prefix(words.back().size());
    }
}

std::string JoinWords(const std::vector<std::string>& words) {
    std::string text;
    for (const std::string& word : words) {
        if (!text.empty()) text += ' ';
        text += word;
    }
    return text;
}

std::string Quote(std::string_view text) {
    constexpr std::size_t kLongest = 24;
    std::string quoted = "'";
    for (const char c : text.substr(0, kLongest)) quoted += c >= ' ' && c <= '~' ? c : '?';
    return quoted + (text.size() > kLongest ? "...'" : "'");
}

bool ReadNumber(std::string_view word, int least, int most, int* number) {
    if (word.starts_with('+')) word.remove_prefix(1);
    int value = 0;
    const auto [end, code] = std::from_chars(word.data(), word.data() + word.size(), value);
    if (code != std::errc() || end != word.data() + word.size()) return false;
    if (value < least || value > most) return false;
    *number = value;
    return true;
}

}  // namespace torval
