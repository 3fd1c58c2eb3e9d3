#include "apps/host/line_io.h"

#include <poll.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <utility>

namespace torval {

namespace {

/// Sleeps until a non-blocking descriptor is ready.
void WaitFor(int descriptor, short event) {
    pollfd file = {.fd = descriptor, .events = event, .revents = 0};
    (void)poll(&file, 1, -1);
}

}  // namespace

void LineReader::Fill() {
    if (ended_) return;
    std::array<char, 65536> bytes;
    const ssize_t count = read(descriptor_, bytes.data(), bytes.size());
    if (count > 0) {
        Take({bytes.data(), static_cast<std::size_t>(count)});
        return;
    }
    if (count < 0 && (errno == EINTR || errno == EAGAIN)) return;
    End();
}

bool LineReader::CanFill() const {
    pollfd file = {.fd = descriptor_, .events = POLLIN, .revents = 0};
    return !ended_ && poll(&file, 1, 0) > 0;
}

void LineReader::End() {
    ended_ = true;
    if (!partial_.empty() || dropping_) EndLine();
}

void LineReader::Take(std::string_view bytes) {
    while (!bytes.empty()) {
        const std::size_t length = bytes.find('\n');
        const std::string_view piece = bytes.substr(0, length);
        if (partial_.size() + piece.size() > kLongestLine) {
            dropping_ = true;
            partial_.clear();
        }
        if (!dropping_) partial_ += piece;
        if (length == bytes.npos) return;
        EndLine();
        bytes.remove_prefix(length + 1);
    }
}

void LineReader::EndLine() {
    if (!partial_.empty() && partial_.back() == '\r') partial_.pop_back();
    lines_.push_back({std::move(partial_), dropping_});
    partial_.clear();
    dropping_ = false;
}

bool LineReader::Next(std::string* line, bool* too_long) {
    while (!too_long && !lines_.empty() && lines_.front().too_long) lines_.pop_front();
    if (lines_.empty()) return false;
    *line = std::move(lines_.front().text);
    if (too_long) *too_long = lines_.front().too_long;
    lines_.pop_front();
    return true;
}

void LineWriter::Write(std::string line) {
    line += '\n';
    std::string_view left = line;
    while (!closed_ && !left.empty()) {
        const ssize_t count = write(descriptor_, left.data(), left.size());
        if (count >= 0) {
            left.remove_prefix(static_cast<std::size_t>(count));
        } else if (errno == EAGAIN) {
            WaitFor(descriptor_, POLLOUT);
        } else if (errno != EINTR) {
            closed_ = true;
        }
    }
}

}  // namespace torval
