// A person's game with the engine: what the commands do, apart from how they are typed and shown.
//
// Shape    a command line goes in, a reply comes out; what happens by itself (the engine's move, a
//          clock that ran out) is news. The game is kept beside the engine's own record, with each
//          position, so that moves can be written.
// Thread   the one that made it; nothing happens outside its calls.
// Errors   a refused command has changed nothing, unless its reply says otherwise. SessionError
//          when the engine cannot be used at all.
#pragma once

#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "apps/host/books.h"
#include "apps/host/databases.h"
#include "apps/host/openings.h"
#include "apps/host/session.h"
#include "apps/makers/tables/database_words.h"
#include "apps/play/screen.h"
#include "apps/text/fen.h"
#include "apps/text/pgn.h"
#include "torval/pages.h"

namespace torval {

struct Reply {
    bool accepted = true;
    std::vector<std::string> lines;
};

/// Endgame databases: where they are, and whether they are used.
struct DatabaseSettings {
    std::string nalimov;   ///< directories; empty for none
    std::string thompson;  ///< likewise
    std::uint32_t cache_mb = 4;
    bool in_use = false;
};

struct PlayOptions {
    BoardStyle style;
    Language language = Language::English;
    BookFiles books = {};  ///< to play from; none unless given
    /// Paths without a problem; used when one of them is not empty.
    DatabaseSettings databases = {};
    /// A user is there to answer questions; otherwise a command that needs to ask is refused.
    bool asks = false;
};

class Player {
public:
    using Words = std::span<const std::string_view>;

    explicit Player(const PlayOptions& options);
    Player(const Player&) = delete;
    Player& operator=(const Player&) = delete;

    /// Carries out one line of input; nothing for a line without words.
    Reply Execute(std::string_view line);

    /// Waits as Session::Wait does, and plays the move that the engine may have found.
    bool Wait(int input, int timeout_ms);

    /// What happened since the last call, in sentences.
    std::vector<std::string> TakeNews();

    /// The engine works on its move.
    bool IsThinking() const { return thinking_; }
    /// A move will come without a request: not at the infinite level.
    bool IsMoveDue() const;
    bool IsOver() const { return !over_.empty(); }
    bool HasQuit() const { return quit_; }

    /// The game's opening, by the last named position that it went through; null before that.
    const Opening* GameOpening() const { return plies_.empty() ? nullptr : plies_.back().opening; }

    /// Reads the clocks too, which may report that a side has run out of time.
    View CurrentView();

    /// Command names and, for a line that begins with one, the words that may follow.
    static std::vector<std::string> Completions(std::string_view line);

private:
    struct Ply {
        EVAR move;
        CHSBRD before;
        MoveCounts counts;  ///< of the position before
        std::string text;
        bool by_engine;
        const Opening* opening;  ///< the last named position up to here, or null
    };
    /// A game to return to, with what the engine was doing in it.
    struct Kept {
        PgnGame game;
        std::vector<std::pair<std::string, std::string>> tags;
        std::vector<Ply> plies;
        std::vector<std::string> news;
        std::string over;
        std::string thought;
        std::string saved;
        CLOCKS clocks;
        bool running;
        bool thinking;
        bool pondering;
        bool analysing;
    };
    /// What is to be written to a file.
    struct Saving {
        bool game;  ///< or the settings
        std::string path;
    };
    struct Command {
        const char* name;
        const char* usage;
        const char* help;
        const char* words;  ///< that may follow, for completion
        Reply (Player::*run)(Words);
        bool listed = true;  ///< false: another command's line in the list covers it
    };
    static const std::vector<Command>& Commands();

    // player.cpp: the game, and the engine at work.
    SiteHandlers Handlers();
    void HandleLine(const MAINVAR& line);
    void HandleMessage(int id, int side, std::string_view text);
    void End(const std::string& sentence, const char* result);
    CHSBRD Position() const;
    MoveCounts Counts() const;
    void Append(const EVAR& move, const CHSBRD& before, bool by_engine);
    void ForgetGame();
    /// The move's number and text, as the last line of the move list has it.
    std::string LastMoveText() const;
    std::vector<std::string> MoveLines() const;
    /// The score of a line in the position that is computed.
    std::string ScoreWords(const MAINVAR& line) const;
    std::string LineText(const MAINVAR& line) const;
    HRESULT Think();
    std::string Origin(const MAINVAR& found);
    void PlayFound();
    void Ponder();
    /// Ends whatever the engine computes, without a move.
    void Halt();
    /// Ends a computation that still runs for a game that is over, such as one lost on time.
    void SettleEnd();
    /// Reports a side to move without a legal move, and then ends the game.
    void FindEnd(bool running);
    /// Ends a game that is drawn where it was set up or left.
    void JudgeSetUp();
    void EndAfterFiftyMoves();
    /// Sets up what a game begins from: a FEN, or nothing for the usual start.
    bool SetUp(const std::string& fen, std::string* error);
    static Reply Done(std::string line = {});
    static Reply Refuse(std::string line);
    static Reply Refuse(HRESULT code);

    // player_commands.cpp
    Reply EnterMove(std::string_view text);
    Reply New(Words words);
    Reply Fen(Words words);
    Reply Go(Words words);
    Reply Now(Words words);
    Reply Stop(Words words);
    Reply Auto(Words words);
    Reply PonderSwitch(Words words);
    Reply Analyse(Words words);
    Reply Hint(Words words);
    Reply Next(Words words);
    Reply Back(Words words);
    Reply Draw(Words words);
    Reply Level(Words words);
    Reply Clock(Words words);
    Reply Moves(Words words);
    Reply Board(Words words);
    Reply Flip(Words words);
    Reply Help(Words words);
    Reply Quit(Words words);

    // player_books.cpp
    void OpenBooks();
    HRESULT AskBooks(W_BOOKMOVES2* moves);
    bool IsFromBook(const EVAR& move);
    void ChangeSetting(const NumberSetting& setting, std::uint32_t value);
    Reply Book(Words words);
    Reply ListBook();
    Reply EditBook(HRESULT result, const std::string& done);
    Reply AddToBook(Words words);
    Reply DeleteFromBook(Words words);
    Reply ExcludeFromBook();
    Reply BookMode(Words words);
    Reply BookMargin(Words words);

    // player_databases.cpp
    /// Before the engine looks for files. Reports damage in the program's own directory once.
    void LeaveOutOwnDamage();
    void OpenDatabases();
    /// What the engine's settings say about the databases, after a change.
    void ReadDatabaseSettings();
    /// The value of the position on the board, while the databases are in use.
    std::optional<Verdict> DatabaseValue();
    const EVAR* LastMove() const { return plies_.empty() ? nullptr : &plies_.back().move; }
    Reply UseNalimovPath(const std::string& paths, std::uint32_t cache_mb);
    Reply UseThompsonPath(const std::string& paths);
    Reply UseDatabases(bool use);
    /// Has the engine use them while there is a path.
    void UseDatabasesByPaths();
    Reply TellDatabases() const;
    Reply Databases(Words words);
    /// Why a control of the settings page must not get this value; empty when it may.
    std::string NewPathProblem(std::uint32_t control, const std::string& value) const;
    /// After the page has changed one of them.
    void TakeDatabaseSettings();

    // player_files.cpp
    Reply Settings(Words words);
    Reply Save(Words words);
    Reply Write(const Saving& saving);
    Reply Load(Words words);
    Reply LoadSettings(const std::string& path);
    Reply LoadGame(const std::string& path);
    bool Replay(const PgnGame& game, std::string* error);
    PgnGame Game() const;
    Kept Keep();
    void Restore(const Kept& kept);

    PlayOptions options_;
    Session session_;
    IChessEngine2* engine_;

    std::string start_fen_;    ///< empty for the usual start
    MoveCounts start_counts_;  ///< of the position that the game begins from
    std::vector<Ply> plies_;
    std::vector<std::pair<std::string, std::string>> tags_;  ///< of a game that was loaded
    std::string result_ = "*";
    std::string over_;  ///< the sentence that ended the game, or empty

    std::optional<Saving> unanswered_;  ///< its file exists; the next line may say yes
    std::string saved_game_;            ///< where this game was written to; empty for nowhere
    std::string saved_settings_;

    bool automatic_ = true;
    bool ponder_ = false;
    bool quit_ = false;
    bool thinking_ = false;   ///< from the start command to its final record
    bool pondering_ = false;  ///< while the other side thinks, or analysing
    bool analysing_ = false;
    bool hurry_ = false;  ///< the player wants the move now
    std::optional<MAINVAR> final_;
    EVAR made_{};  ///< the last move that the engine reported as made
    std::string thought_;

    DatabaseSettings databases_;
    DatabaseWords words_;
    std::optional<Verdict> root_value_;  ///< of the position that is computed
    std::string told_missing_;           ///< the last sentence about missing databases
    std::string told_damage_;            ///< likewise about damage beside the program
    std::vector<std::string> news_;
};

}  // namespace torval
