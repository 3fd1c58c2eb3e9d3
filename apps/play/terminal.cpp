#include <langinfo.h>
#include <poll.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <clocale>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <cwchar>
#include <memory>
#include <new>
#include <string_view>

#include <histedit.h>

#include "apps/play/front_ends.h"
#include "apps/play/history.h"
#include "apps/text/text.h"

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

bool HasHungUp() {
    pollfd input = {.fd = STDIN_FILENO, .events = 0, .revents = 0};
    return poll(&input, 1, 0) == 1;
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
    static char* Prompt(EditLine*) { return const_cast<char*>(running->prompt_); }
    static unsigned char Complete(EditLine* editor, wint_t key);
    static unsigned char EndOrDelete(EditLine* editor, wint_t key);

    static int ReadCharacter(EditLine* editor, wchar_t* character);

    void ShowWhatHappened();
    void SetUpEditor();
    /// Shows the prompt and an empty line; without `edits` the terminal is as it was before.
    void Edit(bool edits);
    /// Takes one key, and the line if that ends it.
    void TakeKey();
    /// Erases the prompt and what has been typed after it; the next line is written there.
    void WipeLine();
    void Enter(std::string_view line);
    void Arrange();
    void Leave();
    void Draw();
    /// Prints above the prompt that the player may be typing at.
    void TellAbove(const std::vector<std::string>& lines);
    void TellHere(const std::vector<std::string>& lines);
    void ShowWhole(const std::vector<std::string>& lines);
    void HandleInterrupt();

    struct EditorEnd {
        void operator()(EditLine* editor) const { el_end(editor); }
    };

    Player& player_;
    TypedLines typed_{HistoryFile(std::getenv("XDG_STATE_HOME"), std::getenv("HOME"))};
    std::unique_ptr<EditLine, EditorEnd> editor_;
    const char* prompt_ = kPrompt;
    bool edits_ = false;  ///< the prompt is shown
    bool ended_ = false;  ///< by the end of the input
    Size size_;
    bool has_screen_ = false;
    bool covered_ = false;  ///< a long answer covers the board
    std::vector<std::string> drawn_;
    EVAR plain_last_{};
};

Terminal* Terminal::running = nullptr;

void Terminal::Run() {
    running = this;
    std::setlocale(LC_CTYPE, "");
    std::signal(SIGINT, &Interrupt);
    // Suspending would leave the terminal divided.
    std::signal(SIGTSTP, SIG_IGN);
    SetUpEditor();
    Arrange();
    Draw();
    TellHere({"Welcome. 'help' lists what you can type; 'quit' leaves."});
    Edit(true);
    while (!player_.HasQuit()) {
        if (size_ != TerminalSize()) {
            el_resize(editor_.get());
            Arrange();
            el_set(editor_.get(), EL_REFRESH);
        }
        if (player_.Wait(STDIN_FILENO, kTickMs)) TakeKey();
        if (interrupted) HandleInterrupt();
        if (player_.HasQuit()) break;
        ShowWhatHappened();
    }
    Edit(false);
    typed_.Write();
    Leave();
    running = nullptr;
}

void Terminal::ShowWhatHappened() {
    // Without a divided screen the board follows the move that led to it.
    if (!has_screen_) TellAbove(player_.TakeNews());
    // Drawing reads the clocks, which is how a side is found to be out of time.
    if (!covered_) Draw();
    TellAbove(player_.TakeNews());
}

void Terminal::SetUpEditor() {
    editor_.reset(el_init("torval", stdin, stdout, stderr));
    EditLine* const editor = editor_.get();
    if (!editor) throw std::bad_alloc();
    el_set(editor, EL_PROMPT, &Terminal::Prompt);
    el_set(editor, EL_EDITOR, "emacs");
    el_set(editor, EL_SIGNAL, 0);
    el_set(editor, EL_GETCFN, &Terminal::ReadCharacter);
    el_set(editor, EL_HIST, &history, typed_.List());
    // The editor makes copies of narrow names that it never frees.
    el_wset(editor, EL_ADDFN, L"torval-complete", L"Complete the word", &Terminal::Complete);
    el_wset(editor, EL_ADDFN, L"torval-end", L"Delete, or leave", &Terminal::EndOrDelete);
    constexpr std::array<std::array<const char*, 2>, 11> kKeys = {{
        {"^I", "torval-complete"},
        {"^D", "torval-end"},
        {"^L", "ed-redisplay"},  // its usual command would wipe the board, too
        {"^R", "em-inc-search-prev"},
        {"\\ex", "ed-unassigned"},  // asks for the editor's own commands
        {"\\eX", "ed-unassigned"},
        {"\\e[3~", "ed-delete-next-char"},
        {"\\e[H", "ed-move-to-beg"},
        {"\\e[1~", "ed-move-to-beg"},
        {"\\e[F", "ed-move-to-end"},
        {"\\e[4~", "ed-move-to-end"},
    }};
    for (const auto& [key, command] : kKeys) {
        el_set(editor, EL_BIND, key, command, static_cast<char*>(nullptr));
    }
}

void Terminal::Edit(bool edits) {
    edits_ = edits;
    el_set(editor_.get(), EL_UNBUFFERED, edits ? 1 : 0);
}

void Terminal::TakeKey() {
    int count = 0;
    const char* const typed = el_gets(editor_.get(), &count);
    // An empty line counts as no input, as does a terminal that is gone.
    if (ended_ || (!typed && HasHungUp())) {
        Edit(false);
        Write("\n");
        player_.Execute("quit");
    } else if (typed && count > 0 && typed[count - 1] == '\n') {
        const std::string line(typed, static_cast<std::size_t>(count - 1));
        Edit(false);
        typed_.Remember(line);
        Enter(line);
        if (!player_.HasQuit()) Edit(true);
    }
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

/// Divides the terminal and redraws all of it.
void Terminal::Arrange() {
    const bool had_screen = has_screen_;
    size_ = TerminalSize();
    const char* const kind = std::getenv("TERM");
    has_screen_ = size_.rows >= kNeededRows && size_.columns >= kNeededColumns && kind &&
                  std::strcmp(kind, "dumb") != 0;
    prompt_ = kPrompt;
    covered_ = false;
    drawn_.clear();
    if (!has_screen_) {
        // Undoes the division of the terminal.
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

/// The Escape key looks like the start of a key sequence: the game goes on until the rest comes.
int Terminal::ReadCharacter(EditLine*, wchar_t* character) {
    std::mbstate_t state{};
    for (;;) {
        while (!running->player_.Wait(STDIN_FILENO, kTickMs)) {
            if (interrupted) return -1;
            running->ShowWhatHappened();
        }
        char byte = 0;
        const ssize_t count = read(STDIN_FILENO, &byte, 1);
        if (count < 0 && errno == EINTR) continue;
        if (count <= 0) return static_cast<int>(count);
        constexpr auto kMoreBytes = static_cast<std::size_t>(-2);
        constexpr auto kNoCharacter = static_cast<std::size_t>(-1);
        const std::size_t used = std::mbrtowc(character, &byte, 1, &state);
        if (used == kNoCharacter) state = {};
        if (used != kMoreBytes && used != kNoCharacter) return 1;
    }
}

void Terminal::WipeLine() {
    const LineInfoW* const line = el_wline(editor_.get());
    std::size_t before = std::strlen(prompt_);
    for (const wchar_t* at = line->buffer; at != line->cursor; ++at) {
        before += static_cast<std::size_t>(std::max(0, wcwidth(*at)));
    }
    const std::size_t rows = size_.columns > 0 ? before / size_.columns : 0;
    if (rows > 0) Write("\x1b[" + std::to_string(rows) + "A");
    Write("\r\x1b[J");
}

void Terminal::TellAbove(const std::vector<std::string>& lines) {
    if (lines.empty()) return;
    if (!edits_) return TellHere(lines);
    WipeLine();
    TellHere(lines);
    el_set(editor_.get(), EL_REFRESH);
}

void Terminal::ShowWhole(const std::vector<std::string>& lines) {
    covered_ = true;
    prompt_ = kCoveredPrompt;
    Write("\x1b[r\x1b[2J\x1b[H");
    TellHere(lines);
}

void Terminal::HandleInterrupt() {
    interrupted = 0;
    if (player_.IsThinking()) player_.Execute("stop");
    WipeLine();
    // The line is abandoned, and with it the place in the history.
    Edit(false);
    TellHere({"Stopped; 'quit' leaves."});
    Edit(true);
}

unsigned char Terminal::Complete(EditLine* editor, wint_t key) {
    const LineInfo* const line = el_line(editor);
    const std::string before(line->buffer, line->cursor);
    const std::size_t start = before.find_last_of(' ') + 1;  // nothing found wraps round to 0
    std::vector<std::string> matches = Player::Completions(before.substr(0, start));
    // File names follow where no words do.
    if (matches.empty()) return _el_fn_complete(editor, static_cast<int>(key));
    const std::string begun = before.substr(start);
    std::erase_if(matches, [&](const std::string& word) { return !word.starts_with(begun); });
    if (matches.empty()) return CC_ERROR;
    std::string common = matches[0];
    for (const std::string& word : matches) {
        const auto end = std::ranges::mismatch(common, word).in1;
        common.erase(end, common.end());
    }
    const std::string missing = common.substr(begun.size()) + (matches.size() == 1 ? " " : "");
    if (!missing.empty()) {
        el_insertstr(editor, missing.c_str());
        return CC_REFRESH;
    }
    running->TellAbove(Wrapped({JoinWords(matches)}, running->size_.columns - 1));
    return CC_NORM;
}

unsigned char Terminal::EndOrDelete(EditLine* editor, wint_t) {
    const LineInfoW* const line = el_wline(editor);
    if (line->buffer == line->lastchar) {
        running->ended_ = true;
        return CC_EOF;
    }
    if (line->cursor == line->lastchar) return CC_ERROR;
    el_cursor(editor, 1);
    el_deletestr(editor, 1);
    return CC_REFRESH;
}

}  // namespace

bool TerminalHasPieces() {
    std::setlocale(LC_CTYPE, "");
    return std::strcmp(nl_langinfo(CODESET), "UTF-8") == 0;
}

void PlayTerminal(Player& player) { Terminal(player).Run(); }

}  // namespace torval
