// A progress bar for long work, drawn on a terminal and nowhere else.
#pragma once

#include <cstddef>

#include "apps/text/console.h"

namespace torval {

/// Draws done of total while it lives; nothing when `err` is no terminal or total is 0.
class ProgressBar {
public:
    ProgressBar(Console& console, std::size_t total);
    ~ProgressBar() { Clear(); }
    ProgressBar(const ProgressBar&) = delete;
    ProgressBar& operator=(const ProgressBar&) = delete;

    void Step();

    /// Erases the bar, so that a result can be printed in its place.
    void Clear();

private:
    void Draw();

    Console& console_;
    std::size_t total_;
    std::size_t done_ = 0;
    bool drawn_ = false;
};

}  // namespace torval
