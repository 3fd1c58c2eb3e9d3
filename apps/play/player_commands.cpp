#include <algorithm>
#include <utility>

#include "apps/play/level_text.h"
#include "apps/play/player.h"
#include "apps/text/game_text.h"
#include "apps/text/san.h"
#include "apps/text/text.h"

namespace torval {

namespace {

constexpr std::size_t kLineWidth = 79;
constexpr std::size_t kUsageWidth = 24;
constexpr int kMostBack = 400;

std::string Joined(std::span<const std::string_view> words) {
    return JoinWords({words.begin(), words.end()});
}

std::vector<std::string> SplitLines(std::string_view text) {
    std::vector<std::string> lines;
    while (!text.empty()) {
        const std::size_t end = std::min(text.find('\n'), text.size());
        lines.emplace_back(text.substr(0, end));
        text.remove_prefix(std::min(end + 1, text.size()));
    }
    return lines;
}

constexpr std::string_view kBookForms =
    "book                     the books' moves here, with their scores and games\n"
    "book on|off              play from your book and the main book, or from none\n"
    "book main|user|both      from one of them, or from both together\n"
    "book add [N [SCORE]]     put the last N half-moves, or all, into your book;\n"
    "                         SCORE is White's view of the position, -127 to 127\n"
    "book delete [N]          take the last move out, and up to N while none is left\n"
    "book exclude             keep the last move from being played\n"
    "book mode best           play the best move of the books\n"
    "book mode games          as often as in the games that a book counts\n"
    "book mode score          good scores more often\n"
    "book mode even           all good moves equally often\n"
    "book margin N            how far below the best score a good move may lie\n";

constexpr std::string_view kDatabaseForms =
    "tb                       what the databases say of this position and its moves\n"
    "tb on|off                whether the engine uses them; a path switches them on\n"
    "tb path [DIRS|none]      where the Nalimov files are, such as /tb3;/tb4\n"
    "tb cache [MB]            memory for their blocks, 0 to 1024\n"
    "tb thompson [DIRS|none]  where the Thompson files are, at most 19 characters\n"
    "Nalimov files, which 'torval tb make' makes, give exact values to the search;\n"
    "Thompson files give a move at once. A Nalimov directory that does not exist or\n"
    "has a damaged file is refused.\n";

/// "on" or "off"; without a word the switch is only shown.
bool ReadSwitch(std::span<const std::string_view> words, bool* value) {
    if (words.empty()) return true;
    if (words.size() > 1 || (words[0] != "on" && words[0] != "off")) return false;
    *value = words[0] == "on";
    return true;
}

}  // namespace

const std::vector<Player::Command>& Player::Commands() {
    static const std::vector<Command> commands = {
        {"go", "go", "the engine makes the next move", "", &Player::Go},
        {"now", "now, stop", "end its thinking: with a move, without one", "", &Player::Now},
        {"stop", "stop", "end thinking or analysing without a move", "", &Player::Stop, false},
        {"back",
         "back [N]",
         "take back your last move, or N moves of either side",
         "",
         &Player::Back},
        {"hint", "hint", "what the engine would play in your place", "", &Player::Hint},
        {"next", "next", "replace the engine's move by its next best one", "", &Player::Next},
        {"draw", "draw", "offer a draw", "", &Player::Draw},
        {"new", "new", "begin a new game", "", &Player::New},
        {"fen", "fen [FEN]", "set up a position, or write the present one", "", &Player::Fen},
        {"book",
         "book [WORDS]",
         "the books' moves; 'help book' tells more",
         "on off main user both add delete exclude mode margin",
         &Player::Book},
        {"tb",
         "tb [WORDS]",
         "what the databases say here; 'help tb' tells more",
         "on off path cache thompson",
         &Player::Databases},
        {"level",
         "level [LEVEL]",
         "how strong and fast: 'help level' lists the forms",
         "depth game move plies average increment infinite",
         &Player::Level},
        {"clock",
         "clock [white|black S]",
         "read the clocks, or set one to S seconds",
         "white black",
         &Player::Clock},
        {"auto",
         "auto on|off",
         "whether the engine answers your moves (on at first)",
         "on off",
         &Player::Auto},
        {"ponder",
         "ponder on|off",
         "whether it thinks while you do (off at first)",
         "on off",
         &Player::PonderSwitch},
        {"analyse", "analyse", "think about this position, until 'stop'", "", &Player::Analyse},
        {"settings",
         "settings [N VALUE|en|nl]",
         "show the settings (in Dutch), or change number N",
         "en nl",
         &Player::Settings},
        {"save",
         "save game|settings FILE",
         "write the game (PGN) or settings; --force replaces",
         "game settings",
         &Player::Save},
        {"load", "load game|settings FILE", "read them back", "game settings", &Player::Load},
        {"moves", "moves", "list the moves of the game", "", &Player::Moves},
        {"board", "board, flip", "draw the board, turn it round", "", &Player::Board},
        {"flip", "flip", "turn the board round", "", &Player::Flip, false},
        {"help", "help [COMMAND]", "this list", "level book tb", &Player::Help},
        {"quit", "quit", "leave", "", &Player::Quit},
    };
    return commands;
}

std::vector<std::string> Player::Completions(std::string_view line) {
    std::vector<std::string> found;
    const std::vector<std::string_view> words = SplitWords(line);
    const bool in_first = words.empty() || (words.size() == 1 && !line.ends_with(' '));
    if (in_first) {
        for (const Command& command : Commands()) found.emplace_back(command.name);
        return found;
    }
    if (words.size() > 2 || (words.size() == 2 && line.ends_with(' '))) return found;
    for (const Command& command : Commands()) {
        if (words[0] != command.name) continue;
        for (const std::string_view word : SplitWords(command.words)) found.emplace_back(word);
    }
    return found;
}

Reply Player::Execute(std::string_view line) {
    const std::vector<std::string_view> words = SplitWords(line);
    std::string unchanged;
    if (const auto asked = std::exchange(unanswered_, std::nullopt)) {
        if (IsYes(line)) return Write(*asked);
        unchanged = QuoteName(asked->path) + " stays as it is.";
        if (words.empty() || words[0] == "n" || words[0] == "no") return Done(unchanged);
    }
    if (words.empty() || words[0].starts_with('#')) return Done();
    const auto carry_out = [&] {
        for (const Command& command : Commands()) {
            if (words[0] == command.name) return (this->*command.run)(Words(words).subspan(1));
        }
        if (words.size() == 1) return EnterMove(words[0]);
        return Refuse("there is no command " + Quote(words[0]) + "; 'help' lists them");
    };
    Reply reply = carry_out();
    // A command in place of an answer counts as no.
    if (reply.accepted && !unchanged.empty()) reply.lines.insert(reply.lines.begin(), unchanged);
    SettleEnd();
    return reply;
}

Reply Player::EnterMove(std::string_view text) {
    if (IsOver()) return Refuse("the game is over: 'new', 'back' or 'fen' go on from here");
    // The engine itself refuses only once its thread has taken the command up.
    if (thinking_) return Refuse(StatusComputerToMove);
    const CHSBRD before = Position();
    MOVES made;
    const HRESULT result = engine_->DoMove(std::string(text).c_str(), &made);
    switch (result) {
        case StatusOk: break;
        case StatusBadText:
            return Refuse(Quote(text) + " is neither a move nor a command; 'help' lists them");
        case StatusNoMove: return Refuse(Quote(text) + " is not a legal move");
        case StatusAmbiguous: {
            std::string moves;
            for (std::size_t i = 0; i < made.NmbrOfMoves; ++i)
                moves += " " + LongText(made.MOVES[i]);
            return Refuse(Quote(text) + " can mean more than one move:" + moves);
        }
        default: return Refuse(result);
    }
    pondering_ = analysing_ = false;
    Append(made.MOVES[0], before, false);
    Reply reply = Done(LastMoveText());
    if (!IsOver() && automatic_) {
        if (const HRESULT begun = Think(); begun != S_OK) return Refuse(begun);
    } else if (!IsOver()) {
        FindEnd(true);
    }
    return reply;
}

Reply Player::New(Words words) {
    if (!words.empty()) return Refuse("usage: new");
    std::string error;
    SetUp("", &error);
    return Done("A new game.");
}

Reply Player::Fen(Words words) {
    if (words.empty()) return Done(FenText(Position(), LastMove(), Counts()));
    std::string error;
    if (!SetUp(Joined(words), &error)) return Refuse(error);
    JudgeSetUp();
    return Done(Position().color == 0 ? "White to move." : "Black to move.");
}

Reply Player::Go(Words words) {
    if (!words.empty()) return Refuse("usage: go");
    if (IsOver()) return Refuse("the game is over: 'new', 'back' or 'fen' go on from here");
    if (thinking_) return Refuse(StatusComputerToMove);
    const HRESULT result = Think();
    return result == S_OK ? Done() : Refuse(result);
}

Reply Player::Now(Words words) {
    if (!words.empty()) return Refuse("usage: now");
    if (!thinking_) return Refuse(StatusNotComputing);
    hurry_ = true;
    return Done();
}

Reply Player::Stop(Words words) {
    if (!words.empty()) return Refuse("usage: stop");
    if (!thinking_ && !pondering_) return Refuse("the engine is not thinking");
    Halt();
    return Done("Stopped.");
}

Reply Player::Auto(Words words) {
    if (!ReadSwitch(words, &automatic_)) return Refuse("usage: auto on|off");
    return Done(automatic_ ? "The engine answers your moves." : "The engine moves only on 'go'.");
}

Reply Player::PonderSwitch(Words words) {
    if (!ReadSwitch(words, &ponder_)) return Refuse("usage: ponder on|off");
    if (!ponder_ && pondering_ && !analysing_) Halt();
    if (ponder_ && !thinking_ && !pondering_ && !plies_.empty() && !IsOver()) Ponder();
    return Done(ponder_ ? "The engine thinks while you do."
                        : "The engine does not think while you do.");
}

Reply Player::Analyse(Words words) {
    if (!words.empty()) return Refuse("usage: analyse");
    if (thinking_) return Refuse(StatusComputerToMove);
    if (IsOver()) return Refuse("the game is over");
    if (!pondering_) Ponder();
    if (!pondering_) return Refuse(StatusBusy);
    analysing_ = true;
    return Done("Analysing.");
}

Reply Player::Hint(Words words) {
    if (!words.empty()) return Refuse("usage: hint");
    if (thinking_) return Refuse(StatusComputerToMove);
    EVAR move{};
    const HRESULT result = engine_->GetHint(&move);
    if (result == S_FALSE) {
        return Refuse(pondering_ ? "the engine has no hint yet"
                                 : "the engine has no hint here; 'analyse' finds one");
    }
    if (result != S_OK) return Refuse(result);
    return Done("Perhaps " + AlgebraicText(move, Position()) + ".");
}

Reply Player::Next(Words words) {
    if (!words.empty()) return Refuse("usage: next");
    if (thinking_) return Refuse(StatusComputerToMove);
    if (plies_.empty()) return Refuse(StatusNoAlternative);
    EVAR move{};
    const std::string over = std::exchange(over_, {});
    const HRESULT result = engine_->DoNextBestMove(&move);
    if (result != S_OK) {
        over_ = over;
        // An alternative that turned out not to be legal leaves the last move taken back.
        const CHSBRD before = plies_.back().before;
        if (Position().ply_no == before.ply_no) plies_.pop_back();
        return Refuse(result);
    }
    pondering_ = analysing_ = false;
    const CHSBRD before = plies_.back().before;
    plies_.pop_back();
    // The method's result lacks the marks that the notation needs.
    Append(made_, before, true);
    return Done(LastMoveText());
}

Reply Player::Back(Words words) {
    // Without a number it is the player's turn again: the engine's answer goes too.
    int count = automatic_ && plies_.size() > 1 && plies_.back().by_engine ? 2 : 1;
    if (words.size() > 1 || (!words.empty() && !ReadNumber(words[0], 0, kMostBack, &count)) ||
        count == 0) {
        return Refuse("usage: back [N], N from 1 to " + std::to_string(kMostBack));
    }
    if (thinking_) return Refuse(StatusComputerToMove);
    if (static_cast<std::size_t>(count) > plies_.size()) return Refuse(StatusTooFewMoves);
    const HRESULT result = engine_->MoveBack(count);
    if (result != S_OK) return Refuse(result);
    pondering_ = analysing_ = false;
    const bool lost_on_time = over_.find("out of time") != over_.npos;
    plies_.resize(plies_.size() - static_cast<std::size_t>(count), Ply{});
    over_.clear();
    thought_.clear();
    result_ = "*";
    Reply reply =
        Done(plies_.empty() ? std::string("Back at the start.") : "Back to " + LastMoveText());
    if (lost_on_time) {
        reply.lines.emplace_back("The clock that ran out stands still; 'clock white 60' sets it.");
    }
    return reply;
}

Reply Player::Draw(Words words) {
    if (!words.empty()) return Refuse("usage: draw");
    if (IsOver()) return Refuse("the game is over");
    if (engine_->VerifyDrawOffer() != S_OK) return Done("The engine wants to play on.");
    Halt();
    engine_->StopGame();
    over_ = "The engine accepts: the game is drawn.";
    result_ = "1/2-1/2";
    return Done(over_);
}

Reply Player::Level(Words words) {
    LEVEL level{};
    engine_->get_LEVEL(&level);
    if (words.empty()) return Done("Level: " + LevelText(level) + ".");
    std::string error;
    if (!ReadLevel(words, &level, &error)) {
        return Refuse("level: " + error + "; 'help level' lists the forms");
    }
    if (thinking_) return Refuse(StatusComputerToMove);
    const HRESULT result = engine_->put_LEVEL(&level);
    if (result == StatusBadValue) {
        return Refuse(
            "level: out of range (depth to 30; game: 60 s or more and 200 moves or fewer; "
            "move and average: 1 to 28800 s; increment: 10 to 28800 s and to 3600 s)");
    }
    if (result != S_OK) return Refuse(result);
    pondering_ = analysing_ = false;
    return Done("Level: " + LevelText(level) + ".");
}

Reply Player::Clock(Words words) {
    CLOCKS clocks{};
    if (words.empty()) {
        engine_->get_CLOCKS(&clocks);
        return Done("White " + ClockText(clocks.wtime) + ", Black " + ClockText(clocks.btime));
    }
    constexpr int kMostSeconds = 1'000'000;
    int seconds = 0;
    const bool white = words[0] == "white";
    if (words.size() != 2 || (!white && words[0] != "black") ||
        !ReadNumber(words[1], 0, kMostSeconds, &seconds)) {
        return Refuse("usage: clock [white|black SECONDS]");
    }
    if (thinking_) return Refuse(StatusComputerToMove);
    clocks.Command = white ? ClocksWhite : ClocksBlack;
    clocks.wtime = clocks.btime = seconds * 1000;
    const HRESULT result = engine_->put_CLOCKS(&clocks);
    return result == S_OK ? Clock({}) : Refuse(result);
}

Reply Player::Moves(Words words) {
    if (!words.empty()) return Refuse("usage: moves");
    Reply reply;
    for (const std::string& line : MoveLines()) {
        if (reply.lines.empty() || reply.lines.back().size() + 1 + line.size() > kLineWidth) {
            reply.lines.push_back(line);
        } else {
            reply.lines.back() += " " + line;
        }
    }
    return reply.lines.empty() ? Done("No moves yet.") : reply;
}

Reply Player::Board(Words words) {
    if (!words.empty()) return Refuse("usage: board");
    const EVAR* const last = plies_.empty() ? nullptr : &plies_.back().move;
    return {true, BoardLines(Position(), last, options_.style)};
}

Reply Player::Flip(Words words) {
    if (!words.empty()) return Refuse("usage: flip");
    options_.style.flipped = !options_.style.flipped;
    return Done(options_.style.flipped ? "Black is at the bottom." : "White is at the bottom.");
}

Reply Player::Help(Words words) {
    if (words.size() == 1 && words[0] == "level") return {true, SplitLines(kLevelForms)};
    if (words.size() == 1 && words[0] == "book") return {true, SplitLines(kBookForms)};
    if (words.size() == 1 && words[0] == "tb") return {true, SplitLines(kDatabaseForms)};
    Reply reply;
    for (const Command& command : Commands()) {
        if (words.empty() ? !command.listed : words[0] != command.name) continue;
        std::string usage = command.usage;
        while (usage.size() < kUsageWidth) usage += ' ';
        reply.lines.push_back(usage + " " + command.help);
    }
    if (reply.lines.empty()) return Refuse("there is no command " + Quote(words[0]));
    if (words.empty()) {
        reply.lines.insert(reply.lines.begin(),
                           "A move: e4, Nf3, exd5, O-O, e8=Q, or from and to: e2e4, e7e8Q.");
    }
    return reply;
}

Reply Player::Quit(Words) {
    Halt();
    quit_ = true;
    return Done();
}

}  // namespace torval
