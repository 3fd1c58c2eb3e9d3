#include "apps/uci/uci_loop.h"

#include <csignal>
#include <string>
#include <vector>

#include "apps/host/books.h"
#include "apps/host/databases.h"
#include "apps/host/line_io.h"
#include "apps/host/session.h"
#include "apps/makers/tables/database_words.h"
#include "apps/text/fen.h"
#include "apps/text/text.h"
#include "apps/uci/command.h"
#include "apps/uci/computation.h"
#include "apps/uci/options.h"
#include "apps/uci/uci_game.h"

namespace torval {

namespace {

/// A write to a closed pipe answers with an error instead of ending the process.
class PipeSignalIgnored {
public:
    PipeSignalIgnored() {
        struct sigaction ignore = {};
        ignore.sa_handler = SIG_IGN;
        sigaction(SIGPIPE, &ignore, &before_);
    }
    ~PipeSignalIgnored() { sigaction(SIGPIPE, &before_, nullptr); }
    PipeSignalIgnored(const PipeSignalIgnored&) = delete;
    PipeSignalIgnored& operator=(const PipeSignalIgnored&) = delete;

private:
    struct sigaction before_ = {};
};

class UciLoop {
public:
    UciLoop(int input, int output)
        : reader_(input),
          writer_(output),
          computation_(&writer_),
          session_(Handlers()),
          game_(session_.engine()),
          options_(SettingsImage::Defaults()) {}

    void Run();

private:
    SiteHandlers Handlers();
    void Handle(const Command& command);
    void Start();
    void FinishSearch();
    void OpenBookFile();
    void LeaveOutDamage();
    void UseNalimovPath();
    void HeardMessage(int id, std::string_view text);
    void SetOption(const Command& command);
    void SetPosition(const std::string& fen, const std::vector<std::string>& moves);
    void Go(const GoLimits& limits);
    void Remark(const std::string& text) {
        if (!text.empty()) writer_.Write("info string " + text);
    }

    PipeSignalIgnored no_signal_;
    LineReader reader_;
    LineWriter writer_;
    Computation computation_;
    Session session_;
    ProtocolGame game_;
    ProtocolOptions options_;
    DatabaseWords words_;
    std::string told_damage_;         ///< the last remark about the program's own directory
    std::string fen_ = kStartFen;     ///< as the last `position` had it
    std::vector<std::string> moves_;  ///< likewise
    bool debug_ = false;
    bool quit_ = false;
};

SiteHandlers UciLoop::Handlers() {
    return {.move = {},
            .next_move =
                [this](int depth, int moves_to_go, EVAR move) {
                    computation_.HeardRootMove(depth, moves_to_go, move);
                },
            .clocks = {},
            .line = [this](const MAINVAR& line) { computation_.HeardLine(line); },
            .message = [this](int id, int, int, std::string_view text) { HeardMessage(id, text); }};
}

void UciLoop::Run() {
    while (!quit_ && !writer_.closed()) {
        std::string line;
        while (!quit_ && reader_.Next(&line)) {
            const Command command = ParseCommand(line);
            if (debug_ && command.kind == CommandKind::Nothing && !line.empty()) {
                Remark("nothing known in " + Quote(line));
            }
            Handle(command);
        }
        if (quit_ || reader_.ended()) break;
        if (session_.Wait(reader_.descriptor(), computation_.Step())) reader_.Fill();
    }
    FinishSearch();
}

void UciLoop::Handle(const Command& command) {
    switch (command.kind) {
        case CommandKind::Nothing: break;
        case CommandKind::Uci:
            writer_.Write("id name Torval");
            writer_.Write("id author The Torval authors");
            options_.Describe(&writer_);
            writer_.Write("uciok");
            break;
        case CommandKind::Debug: debug_ = command.debug_on; break;
        case CommandKind::IsReady: writer_.Write("readyok"); break;
        case CommandKind::SetOption: SetOption(command); break;
        case CommandKind::NewGame:
            FinishSearch();
            if (session_.started()) game_.Renew();
            fen_ = kStartFen;
            moves_.clear();
            break;
        case CommandKind::Position:
            if (command.fen) SetPosition(*command.fen, command.moves);
            break;
        case CommandKind::Go: Go(command.limits); break;
        case CommandKind::Stop: FinishSearch(); break;
        case CommandKind::PonderHit: computation_.PonderHit(Computation::Clock::now()); break;
        case CommandKind::Quit: quit_ = true; break;
    }
}

/// The first time: all options that were set by now become one stream of settings. Only commands
/// that need the engine call this, since some options have no effect once it has started.
void UciLoop::Start() {
    if (session_.started()) return;
    const BookFiles books = PrepareMainBook();
    options_.SetMainBook(books.main);
    LeaveOutDamage();
    session_.Load(options_.image());
    session_.Start(EventMainVar | EventNextMove | EventMsg);
    options_.Fix(SettingsImage::Of(session_.engine()));
    UseNalimovPath();
    if (options_.own_book() && options_.book_file().empty()) {
        for (const std::string& remark : books.remarks) Remark(remark);
    }
    OpenBookFile();
}

/// Only here does the engine report whether it could open its books.
void UciLoop::OpenBookFile() {
    const std::string& file = options_.book_file();
    if (file.empty()) return;
    const HRESULT result = session_.engine()->SelectBook(file.c_str());
    if (result != S_OK) Remark(BookProblem(file, result));
}

/// The engine would end the process for a damaged file, in its own directory or in one that was sound
/// when it was named.
void UciLoop::LeaveOutDamage() {
    const std::string own = LeaveOutDamagedOwnDirectory();
    if (own != told_damage_) Remark(own);
    told_damage_ = own;
    const std::string problem = NalimovPathProblem(options_.image().NalimovPath());
    if (problem.empty()) return;
    Remark("NalimovPath is empty now: " + problem);
    Remark(options_.Set("NalimovPath", {}));
}

/// Only here, and at the first start in the process, does the engine look for files.
void UciLoop::UseNalimovPath() {
    if (!options_.TakeNalimovChange()) return;
    LeaveOutDamage();
    (void)options_.TakeNalimovChange();  // dropping it was a change, too
    const SettingsImage& image = options_.image();
    const std::string paths = image.NalimovPath();
    RegisterNalimovPath(session_.engine(), paths, image.Get(settings::kCacheSizeMB));
    words_.Use(paths);
}

void UciLoop::HeardMessage(int id, std::string_view text) {
    if (id == MsgVolumesWanted) {
        Remark(MissingVolumesSentence(text, options_.image().Get(settings::kThompsonPath)));
    } else if (id == MsgNoDatabaseMove) {
        Remark(kNoDatabaseMoveSentence);
    }
    computation_.HeardMessage(id);
}

void UciLoop::FinishSearch() {
    computation_.Stop();
    for (;;) {
        const int sleep_ms = computation_.Step();
        if (!computation_.running() || writer_.closed()) return;
        session_.Wait(-1, sleep_ms);
    }
}

void UciLoop::SetOption(const Command& command) {
    Remark(options_.Set(command.name, command.value));
    if (ProtocolOptions::IsBookFile(command.name) && session_.started()) {
        FinishSearch();
        OpenBookFile();
    }
    if (!ProtocolOptions::IsClearHash(command.name) || !session_.started()) return;
    // A new game clears the table.
    FinishSearch();
    game_.Renew();
    Remark(game_.Set(fen_, moves_));
}

void UciLoop::SetPosition(const std::string& fen, const std::vector<std::string>& moves) {
    FinishSearch();
    Start();
    fen_ = fen;
    moves_ = moves;
    Remark(game_.Set(fen_, moves_));
}

void UciLoop::Go(const GoLimits& limits) {
    const auto asked = Computation::Clock::now();
    FinishSearch();
    Start();
    if (!game_.IsSet()) SetPosition(kStartFen, {});
    UseNalimovPath();
    if (options_.TakeChanges()) session_.Reload(options_.image());
    if (options_.uses_databases()) {
        const auto value = words_.Value(game_.Board(), game_.LastMove());
        if (value) Remark("endgame database: " + value->words + " for the side to move");
    }
    computation_.Begin(
        session_.engine(), limits, options_.image().Level(), options_.overhead_ms(), asked);
}

}  // namespace

void RunUci(int input, int output) { UciLoop(input, output).Run(); }

}  // namespace torval
