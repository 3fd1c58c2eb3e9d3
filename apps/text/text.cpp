#include "apps/text/text.h"

#include <algorithm>
#include <charconv>
#include <cstdlib>

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

bool IsYes(std::string_view answer) {
    const std::vector<std::string_view> words = SplitWords(answer);
    return words.size() == 1 && (words[0] == "y" || words[0] == "Y" || words[0] == "yes");
}

std::string QuoteName(std::string_view name) {
    constexpr char kDelete = 0x7F;
    std::string quoted = "'";
    for (const char c : name) {
        const bool control = static_cast<unsigned char>(c) < ' ' || c == kDelete;
        quoted += control ? '?' : c;
    }
    return quoted + "'";
}

std::string ExpandHome(std::string name) {
    if (!name.starts_with('~') || (name.size() > 1 && name[1] != '/')) return name;
    const char* const home = std::getenv("HOME");
    return home && home[0] != '\0' ? home + name.substr(1) : name;
}

std::string ExpandHomes(std::string_view list, std::string_view separators) {
    std::string expanded;
    for (;;) {
        const std::size_t end = std::min(list.find_first_of(separators), list.size());
        expanded += ExpandHome(std::string(list.substr(0, end)));
        if (end == list.size()) return expanded;
        expanded += list[end];
        list.remove_prefix(end + 1);
    }
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
