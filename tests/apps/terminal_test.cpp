// The program in a terminal of its own: what is typed goes through the line editor, what comes back
// is what a terminal would show.
#include <gtest/gtest.h>

#include <fcntl.h>
#include <poll.h>
#include <pty.h>
#include <sys/wait.h>
#include <termios.h>
#include <unistd.h>

#include <array>
#include <chrono>
#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>
#include <thread>

namespace torval {
namespace {

constexpr winsize kSize = {.ws_row = 24, .ws_col = 80, .ws_xpixel = 0, .ws_ypixel = 0};

class Terminal {
public:
    explicit Terminal(const std::string& state_home) {
        // A second descriptor of the terminal's own end shows the state the program leaves it in.
        char name[64];
        child_ = forkpty(&master_, name, nullptr, &kSize);
        if (child_ == 0) {
            setenv("TERM", "xterm", 1);
            setenv("LC_ALL", "C.UTF-8", 1);
            setenv("XDG_STATE_HOME", state_home.c_str(), 1);
            execl(TORVAL_PROGRAM, "torval", "play", "--book=none", static_cast<char*>(nullptr));
            _exit(127);
        }
        slave_ = open(name, O_RDWR | O_NOCTTY | O_CLOEXEC);
        tcgetattr(slave_, &before_);
    }
    ~Terminal() {
        close(slave_);
        close(master_);
        // It also ends when its terminal is gone.
        if (child_ > 0) waitpid(child_, nullptr, 0);
    }
    Terminal(const Terminal&) = delete;
    Terminal& operator=(const Terminal&) = delete;

    void Type(const std::string& keys) {
        ASSERT_EQ(write(master_, keys.data(), keys.size()), static_cast<ssize_t>(keys.size()));
    }
    /// Waits until the text has been written, and discards everything up to it.
    void Await(const std::string& text) {
        constexpr std::chrono::seconds kPatience(60);
        if (testing::Test::HasFatalFailure()) return;
        const auto end = std::chrono::steady_clock::now() + kPatience;
        std::size_t found;
        while ((found = shown_.find(text)) == shown_.npos) {
            pollfd ready = {.fd = master_, .events = POLLIN, .revents = 0};
            ASSERT_LT(std::chrono::steady_clock::now(), end) << text << " is not in\n" << shown_;
            if (poll(&ready, 1, 1000) != 1) continue;
            std::array<char, 4096> bytes;
            const ssize_t count = read(master_, bytes.data(), bytes.size());
            ASSERT_GT(count, 0) << "it ended, and " << text << " is not in\n" << shown_;
            for (const char byte :
                 std::string_view(bytes.data(), static_cast<std::size_t>(count))) {
                Show(byte);
            }
        }
        shown_.erase(0, found + text.size());
    }
    /// -1 for a program that did not end by itself.
    int ExitCode() {
        constexpr int kPatience = 600;
        constexpr std::chrono::milliseconds kStep(100);
        int status = -1;
        if (testing::Test::HasFatalFailure()) return -1;
        for (int i = 0; i < kPatience; ++i) {
            // What it still writes must not fill the terminal's buffer.
            pollfd ready = {.fd = master_, .events = POLLIN, .revents = 0};
            if (poll(&ready, 1, kStep.count()) == 1) {
                std::array<char, 4096> bytes;
                if (read(master_, bytes.data(), bytes.size()) <= 0)
                    std::this_thread::sleep_for(kStep);
            }
            if (waitpid(child_, &status, WNOHANG) != child_) continue;
            child_ = -1;
            return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
        }
        kill(child_, SIGKILL);
        return -1;
    }
    /// Whether lines and echo work as they did before the program began.
    bool IsRestored() const {
        termios now{};
        tcgetattr(slave_, &now);
        return now.c_lflag == before_.c_lflag && now.c_iflag == before_.c_iflag;
    }

private:
    /// Keeps the text, without what moves the cursor: a return, ESC and a character, or ESC [ up to a
    /// letter.
    void Show(char byte) {
        constexpr char kEscape = '\x1b';
        if (sequence_.empty() && byte != kEscape) {
            if (byte != '\r') shown_ += byte;
            return;
        }
        sequence_ += byte;
        const std::size_t length = sequence_.size();
        const bool is_long = length > 1 && sequence_[1] == '[';
        if (is_long ? length > 2 && byte >= '@' : length == 2) sequence_.clear();
    }

    int master_ = -1;
    int slave_ = -1;
    pid_t child_ = -1;
    termios before_{};
    std::string shown_;
    std::string sequence_;  ///< one that is incomplete
};

class PlayTerminalTest : public testing::Test {
protected:
    PlayTerminalTest() { std::filesystem::remove_all(state_home_); }
    ~PlayTerminalTest() override { std::filesystem::remove_all(state_home_); }

    std::string History() const {
        std::ostringstream text;
        text << std::ifstream(state_home_ + "/torval/history").rdbuf();
        return text.str();
    }

    // The two tests may run at the same time.
    std::string state_home_ = testing::TempDir() + "torval_terminal_" + std::to_string(getpid());
};

constexpr const char* kUp = "\x1b[A";

TEST_F(PlayTerminalTest, PlaysCompletesAndRemembers) {
    Terminal terminal(state_home_);
    terminal.Await("White to move.");
    terminal.Await("torval> ");
    terminal.Type("le\t");
    terminal.Await("level");
    terminal.Type("dep\t2\r");
    terminal.Await("Level: depth 2.");
    // Escape alone, which the other bytes of a key may follow, stops nothing.
    terminal.Type("f3\r\x1b");
    terminal.Await("1. f3");
    terminal.Await("1... ");
    terminal.Type("[A");
    terminal.Await("f3");
    terminal.Type("\x15");
    terminal.Type("Ke5\r");
    terminal.Await("Sorry: 'Ke5' is not a legal move.");
    terminal.Type("help\r");
    terminal.Await("take back your last move");
    terminal.Await("torval (Enter shows the board)> ");
    terminal.Type("\r");
    terminal.Await("a  b  c  d  e  f  g  h");
    terminal.Type(std::string(kUp) + kUp + kUp);
    terminal.Await("f3");
    // A line that is erased and typed again; a man is one character of three bytes.
    terminal.Type("\x15");
    terminal.Type(
        "a\xE2\x99\x9E\x7F\x7F"
        "mo\t\r");
    terminal.Await("moves");
    terminal.Await("1. f3");
    // Leaves the line alone, and the program running.
    terminal.Type("\x03");
    terminal.Await("'quit' leaves.");
    terminal.Await("> ");
    terminal.Type("quit\r");
    EXPECT_EQ(terminal.ExitCode(), 0);
    EXPECT_TRUE(terminal.IsRestored());
    EXPECT_EQ(History(), "level depth 2\nf3\nKe5\nhelp\nmoves \nquit\n");
}

TEST_F(PlayTerminalTest, KnowsWhatEarlierSessionsTyped) {
    {
        Terminal first(state_home_);
        first.Await("torval> ");
        first.Type("moves\r");
        first.Await("No moves yet.");
        // The program reads keys only at its prompt; before, the terminal would handle this one.
        first.Await("torval> ");
        first.Type("\x04");
        EXPECT_EQ(first.ExitCode(), 0) << "the end of input leaves too";
    }
    Terminal second(state_home_);
    second.Await("torval> ");
    second.Type(std::string(kUp) + "\r");
    second.Await("moves");
    second.Await("No moves yet.");
    second.Type("moves\rquit\r");
    EXPECT_EQ(second.ExitCode(), 0);
    EXPECT_EQ(History(), "moves\nquit\n") << "a line that repeats the last one is kept once";
}

}  // namespace
}  // namespace torval
