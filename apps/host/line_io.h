// Lines in from one file descriptor and out to another.
//
// Thread   one at a time.
// Errors   a failing input counts as ended, a failing output as closed; what is written to a closed
//          output is dropped.
#pragma once

#include <cstddef>
#include <deque>
#include <string>
#include <string_view>

namespace torval {

class LineReader {
public:
    /// Lines beyond this length are not commands, and are not kept.
    static constexpr std::size_t kLongestLine = std::size_t{1} << 20;

    explicit LineReader(int descriptor) : descriptor_(descriptor) {}

    /// The descriptor to wait on; -1 once the input has ended.
    int descriptor() const { return ended_ ? -1 : descriptor_; }
    bool ended() const { return ended_; }

    /// Reads once. Waits when nothing is there. A last line without an end counts as a line.
    void Fill();

    /// Whether Fill would return without waiting.
    bool CanFill() const;

    /// What was read otherwise: bytes, and the end of the input.
    void Take(std::string_view bytes);
    void End();

    /// Takes the next line, without its end. False when there is no complete line yet. A line that
    /// was too long is skipped; with `too_long`, it is reported as an empty one.
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
