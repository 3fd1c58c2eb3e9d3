#include <langinfo.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include <algorithm>
#include <clocale>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string_view>

#include <readline/readline.h>

#include "apps/play/front_ends.h"
#include "apps/play/history.h"

namespace torval {

namespace {

constexpr int kTickMs = 1000;
constexpr const char* kPrompt = "torval> ";
constexpr const char* kCoveredPrompt = "torval (Enter shows the board)> ";
constexpr unsigned kNeededRows = 24;
constexpr unsigned kNeededColumns = 80;

volatile std::sig_atomic_t interrupted = 0;

void Interrupt(int) { interrupted = 1; }

struct Size {
    unsigned rows = 0;
    unsigned columns = 0;

    bool operator==(const Size&) const = default;
};

Size TerminalSize() {
    winsize size{};
    if (ioctl(STDOUT_FILENO, TIOCGWINSZ, &size) != 0) return {};
    return {size.ws_row, size.ws_col};
}

void Write(std::string_view text) { std::fwrite(text.data(), 1, text.size(), stdout); }

/// The upper rows hold the screen; in those below, which scroll on their own, the player types. A
/// terminal that is too small or too simple has the dialogue only, with the board after each move.
class Terminal {
public:
    explicit Terminal(Player& player) : player_(player) {}

    void Run();

private:
    static Terminal* running;
    static void TakeLine(char* line);
    static char** Complete(const char* text, int start, int end);
    static char* NextMatch(const char* text, int state);

    void Enter(std::string_view line);
    void Arrange();
    void Leave();
    void Draw();
    /// Prints above the prompt that the player may be typing at.
    void TellAbove(const std::vector<std::string>& lines);
    void TellHere(const std::vector<std::string>& lines);
    void ShowWhole(const std::vector<std::string>& lines);
    void HandleInterrupt();

    Player& player_;
    Size size_;
    bool has_screen_ = false;
    bool covered_ = false;  ///< a long answer stands where the board was
    std::vector<std::string> drawn_;
    std::vector<std::string> matches_;
    EVAR plain_last_{};
};

Terminal* Terminal::running = nullptr;

void Terminal::Run() {
    running = this;
    std::setlocale(LC_CTYPE, "");
    rl_readline_name = "torval";
    rl_catch_signals = 0;
    // A line that was changed while it was looked up is remembered as it was typed at first.
    rl_variable_bind("revert-all-at-newline", "on");
    rl_attempted_completion_function = &Terminal::Complete;
    std::signal(SIGINT, &Interrupt);
    // Suspending would leave the terminal divided.
    std::signal(SIGTSTP, SIG_IGN);
    const std::string history = HistoryFile(std::getenv("XDG_STATE_HOME"), std::getenv("HOME"));
    ReadHistory(history);
    Arrange();
    Draw();
    TellHere({"Welcome. 'help' lists what you can type; 'quit' leaves."});
    rl_callback_handler_install(kPrompt, &Terminal::TakeLine);
    while (!player_.HasQuit()) {
        if (size_ != TerminalSize()) {
            rl_resize_terminal();
            Arrange();
            rl_forced_update_display();
        }
        if (player_.Wait(STDIN_FILENO, kTickMs)) rl_callback_read_char();
        if (interrupted) HandleInterrupt();
        if (player_.HasQuit()) break;
        // A dialogue alone has the board behind the move that led to it.
        if (!has_screen_) TellAbove(player_.TakeNews());
        // Drawing reads the clocks, which is how a side is found to be out of time.
        if (!covered_) Draw();
        TellAbove(player_.TakeNews());
    }
    rl_callback_handler_remove();
    WriteHistory(history);
    Leave();
    running = nullptr;
}

void Terminal::TakeLine(char* line) {
    if (!line) {
        running->Enter("quit");
        rl_callback_handler_remove();
        return;
    }
    Remember(line);
    running->Enter(line);
    std::free(line);
    // Otherwise the editor would show its prompt once more.
    if (running->player_.HasQuit()) rl_callback_handler_remove();
}

void Terminal::Enter(std::string_view line) {
    if (covered_) Arrange();
    const Reply reply = player_.Execute(line);
    if (player_.HasQuit()) return;
    std::vector<std::string> lines = reply.lines;
    if (!reply.accepted) lines.front() = "Sorry: " + lines.front() + ".";
    lines = Wrapped(lines, size_.columns > 0 ? size_.columns - 1 : kScreenWidth);
    const std::size_t room = size_.rows > kScreenLines ? size_.rows - kScreenLines - 1 : 0;
    if (has_screen_ && lines.size() > room) {
        ShowWhole(lines);
    } else {
        TellHere(lines);
    }
}

/// Divides the terminal and draws all of it anew.
void Terminal::Arrange() {
    const bool had_screen = has_screen_;
    size_ = TerminalSize();
    const char* const kind = std::getenv("TERM");
    has_screen_ = size_.rows >= kNeededRows && size_.columns >= kNeededColumns && kind &&
                  std::strcmp(kind, "dumb") != 0;
    if (covered_) rl_set_prompt(kPrompt);
    covered_ = false;
    drawn_.clear();
    if (!has_screen_) {
        // What was divided before is one again.
        if (had_screen) Write("\x1b[r\x1b[2J\x1b[H");
        return;
    }
    Write("\x1b[r\x1b[2J\x1b[" + std::to_string(kScreenLines + 1) + ";" +
          std::to_string(size_.rows) + "r\x1b[" + std::to_string(kScreenLines + 1) + ";1H");
    Draw();
}

void Terminal::Leave() {
    if (has_screen_) Write("\x1b[r\x1b[" + std::to_string(size_.rows) + ";1H");
    Write("\n");
    std::fflush(stdout);
}

void Terminal::Draw() {
    const View view = player_.CurrentView();
    if (!has_screen_) {
        const EVAR last = view.last;
        if (!drawn_.empty() && last == plain_last_) return;
        plain_last_ = last;
        drawn_ = BoardLines(view.board, nullptr, view.style);
        if (!view.opening.empty()) drawn_.push_back(view.opening);
        TellAbove(drawn_);
        return;
    }
    std::vector<std::string> lines = ScreenLines(view);
    if (lines == drawn_) return;
    std::string out =
        "\x1b"
        "7";
    for (std::size_t row = 0; row < lines.size(); ++row) {
        if (row < drawn_.size() && drawn_[row] == lines[row]) continue;
        out += "\x1b[" + std::to_string(row + 1) + ";1H" + lines[row] + "\x1b[K";
    }
    out +=
        "\x1b"
        "8";
    drawn_ = std::move(lines);
    Write(out);
    std::fflush(stdout);
}

void Terminal::TellHere(const std::vector<std::string>& lines) {
    for (const std::string& line : lines) Write(line + "\n");
    std::fflush(stdout);
}

void Terminal::TellAbove(const std::vector<std::string>& lines) {
    if (lines.empty()) return;
    rl_clear_visible_line();
    TellHere(lines);
    rl_on_new_line();
    rl_redisplay();
}

void Terminal::ShowWhole(const std::vector<std::string>& lines) {
    covered_ = true;
    rl_set_prompt(kCoveredPrompt);
    Write("\x1b[r\x1b[2J\x1b[H");
    TellHere(lines);
}

void Terminal::HandleInterrupt() {
    interrupted = 0;
    if (player_.IsThinking()) player_.Execute("stop");
    // Back from whatever line of the history was being looked at.
    rl_end_of_history(1, 0);
    rl_delete_text(0, rl_end);
    rl_point = 0;
    TellAbove({"Stopped; 'quit' leaves."});
}

char** Terminal::Complete(const char* text, int start, int) {
    running->matches_ =
        Player::Completions(std::string(rl_line_buffer, static_cast<std::size_t>(start)));
    // File names follow where no words do.
    rl_attempted_completion_over = running->matches_.empty() ? 0 : 1;
    return rl_completion_matches(text, &Terminal::NextMatch);
}

char* Terminal::NextMatch(const char* text, int state) {
    static std::size_t next = 0;
    if (state == 0) next = 0;
    while (next < running->matches_.size()) {
        const std::string& word = running->matches_[next++];
        if (word.starts_with(text)) return strdup(word.c_str());
    }
    return nullptr;
}

}  // namespace

bool TerminalHasPieces() {
    std::setlocale(LC_CTYPE, "");
    return std::strcmp(nl_langinfo(CODESET), "UTF-8") == 0;
}

void PlayTerminal(Player& player) { Terminal(player).Run(); }

}  // namespace torval
