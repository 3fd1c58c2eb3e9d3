#include "support/uci_dialogue.h"

#include <gtest/gtest.h>
#include <poll.h>
#include <unistd.h>

#include <algorithm>
#include <array>

namespace torval {

namespace {

/// Far longer than any step of a test; only a fault gets here.
constexpr int kPatienceMs = 60000;

void CloseOnce(int* descriptor) {
    if (*descriptor >= 0) close(*descriptor);
    *descriptor = -1;
}

}  // namespace

UciDialogue::UciDialogue(std::function<void(int input, int output)> loop) {
    std::array<int, 2> in{};
    std::array<int, 2> out{};
    if (pipe(in.data()) != 0 || pipe(out.data()) != 0) {
        ADD_FAILURE() << "no pipes";
        return;
    }
    to_loop_ = in[1];
    from_loop_ = out[0];
    loop_ = std::thread([run = std::move(loop), input = in[0], output = out[1]] {
        EXPECT_NO_THROW(run(input, output));
        close(input);
        close(output);
    });
}

UciDialogue::~UciDialogue() {
    End();
    CloseOnce(&from_loop_);
    if (loop_.joinable()) loop_.join();
}

void UciDialogue::SendRaw(std::string_view bytes) {
    while (!bytes.empty()) {
        const ssize_t count = write(to_loop_, bytes.data(), bytes.size());
        if (count <= 0) {
            ADD_FAILURE() << "the loop does not read";
            return;
        }
        bytes.remove_prefix(static_cast<std::size_t>(count));
    }
}

void UciDialogue::Send(std::string_view line) { SendRaw(std::string(line) + "\n"); }

bool UciDialogue::ReadLine(std::string* line) {
    for (;;) {
        if (const std::size_t end = buffer_.find('\n'); end != buffer_.npos) {
            *line = buffer_.substr(0, end);
            buffer_.erase(0, end + 1);
            return true;
        }
        pollfd file = {.fd = from_loop_, .events = POLLIN, .revents = 0};
        if (poll(&file, 1, kPatienceMs) <= 0) {
            ADD_FAILURE() << "nothing more is said";
            return false;
        }
        std::array<char, 4096> bytes;
        const ssize_t count = read(from_loop_, bytes.data(), bytes.size());
        if (count <= 0) return false;
        buffer_.append(bytes.data(), static_cast<std::size_t>(count));
    }
}

std::string UciDialogue::Until(std::string_view beginning) {
    std::string line;
    while (ReadLine(&line)) {
        lines_.push_back(line);
        if (line.starts_with(beginning)) return line;
    }
    ADD_FAILURE() << "no line begins with " << beginning;
    return {};
}

void UciDialogue::Ready() {
    Send("isready");
    (void)Until("readyok");
}

void UciDialogue::End() {
    CloseOnce(&to_loop_);
    if (from_loop_ < 0) return;
    std::string line;
    while (ReadLine(&line)) lines_.push_back(line);
}

void UciDialogue::CloseOutput() {
    CloseOnce(&from_loop_);
    loop_.join();
}

long UciDialogue::Count(std::string_view beginning) const {
    return std::ranges::count_if(
        lines_, [beginning](const std::string& line) { return line.starts_with(beginning); });
}

}  // namespace torval
