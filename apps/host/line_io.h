// Lines in from one file descriptor and out to another.
//
// Thread   one at a time.
// Errors   an input that ends or fails has ended; an output that is closed or fails is closed, and
//          what is written from then on is dropped.
#pragma once

#include <cstddef>
#include <deque>
#include <string>
#include <string_view>

namespace torval {

class LineReader {
public:
    /// Lines beyond this length are no commands, and nothing of them is kept.
    static constexpr std::size_t kLongestLine = std::size_t{1} << 20;

    explicit LineReader(int descriptor) : descriptor_(descriptor) {}

    /// To be waited for; -1 once the input has ended.
    int descriptor() const { return ended_ ? -1 : descriptor_; }
    bool ended() const { return ended_; }

    /// Reads once. Waits when nothing is there. A last line without an end counts as a line.
    void Fill();

    /// Whether Fill would not wait.
    bool CanFill() const;

    /// What was read otherwise: bytes, and the end of the input.
    void Take(std::string_view bytes);
    void End();

    /// Takes the next line, without its end. False when there is no whole line yet. A line that was
    /// too long is passed over; with `too_long`, it comes as an empty one.
    bool Next(std::string* line, bool* too_long = nullptr);

private:
    struct Line {
        std::string text;
        bool too_long;
    };
    void EndLine();

    int descriptor_;
    bool ended_ = false;
    bool dropping_ = false;  ///< the line that is being read is too long
    std::string partial_;
    std::deque<Line> lines_;
};

class LineWriter {
public:
    explicit LineWriter(int descriptor) : descriptor_(descriptor) {}

    /// Writes the line and its end at once, so that the reader has it when this returns.
    void Write(std::string line);

    bool closed() const { return closed_; }

private:
    int descriptor_;
    bool closed_ = false;
};

}  // namespace torval
