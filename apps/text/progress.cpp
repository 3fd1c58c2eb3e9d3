#include "apps/text/progress.h"

#include <string>

namespace torval {

ProgressBar::ProgressBar(Console& console, std::size_t total)
    : console_(console), total_(console.err_is_terminal ? total : 0) {
    Draw();
}

void ProgressBar::Step() {
    ++done_;
    Draw();
}

void ProgressBar::Clear() {
    constexpr const char* kToLineStartAndErase = "\r\033[K";
    if (drawn_) console_.err << kToLineStartAndErase << std::flush;
    drawn_ = false;
}

void ProgressBar::Draw() {
    constexpr std::size_t kWidth = 40;
    if (total_ == 0 || done_ > total_) return;
    // Results go to another stream; both may end up on the same screen.
    console_.out << std::flush;
    const std::size_t full = kWidth * done_ / total_;
    console_.err << "\r[" << std::string(full, '#') << std::string(kWidth - full, '.') << "] "
                 << done_ << '/' << total_ << std::flush;
    drawn_ = true;
}

}  // namespace torval
