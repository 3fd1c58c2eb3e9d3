#include "apps/play/player.h"

#include <algorithm>

#include "apps/play/level_text.h"
#include "apps/text/fen.h"
#include "apps/text/game_text.h"
#include "apps/text/moves.h"
#include "apps/text/san.h"
#include "torval/apartment.h"

namespace torval {

namespace {

constexpr std::uint32_t kEvents = EventMove | EventMainVar | EventMsg | EventPondering;

constexpr const char* kFiftyMoves = "Fifty moves without capture or pawn move: a draw.";
constexpr const char* kNoMaterial = "Neither side can mate any more: the game is drawn.";
constexpr const char* kDrawn = "1/2-1/2";

/// The engine's rule: no pawn, and no more than a knight or bishop a side.
bool NobodyCanMate(const CHSBRD& board) {
    int minor_pieces[2] = {};
    for (const std::uint8_t code : board.board) {
        const int type = code & kTypeBits;
        if (type == NoType || type == King) continue;
        if (type != Knight && type != Bishop) return false;
        if (++minor_pieces[code & kBlackBit ? 1 : 0] > 1) return false;
    }
    return true;
}

const char* SideName(int side) { return side == 0 ? "White" : "Black"; }

}  // namespace

Player::Player(const PlayOptions& options)
    : options_(options), session_(Handlers()), engine_(session_.engine()) {
    SettingsImage settings = SettingsImage::Defaults();
    settings.Set(settings::kMainBookName, options.books.MainName());
    settings.Set(settings::kUserBookName, options.books.user);
    settings.Set(settings::kBookUse, options.books.Use());
    session_.Load(settings);
    LeaveOutOwnDamage();
    session_.Start(kEvents);
    OpenBooks();
    OpenDatabases();
    // The engine outlives a player within one process, and keeps its game and clocks.
    engine_->NewGame();
    LEVEL level;
    engine_->get_LEVEL(&level);
    engine_->put_LEVEL(&level);
}

SiteHandlers Player::Handlers() {
    SiteHandlers handlers;
    handlers.move = [this](const W_BOARD& change) {
        if (change.Mask & MaskMove) made_ = change.move;
    };
    handlers.line = [this](const MAINVAR& line) { HandleLine(line); };
    handlers.message = [this](int id, int p1, int, std::string_view text) {
        HandleMessage(id, p1, text);
    };
    return handlers;
}

void Player::HandleLine(const MAINVAR& line) {
    switch (line.iCommand) {
        case LineBest:
        case LinePondered: thought_ = LineText(line); break;
        case LineFinal: final_ = line; break;
        default: break;
    }
}

void Player::HandleMessage(int id, int side, std::string_view text) {
    const std::string quoted(text);
    const bool white = side == 0;
    const std::string winner = std::string(SideName(white ? 1 : 0)) + " wins.";
    switch (id) {
        case MsgMate: return End("Checkmate. " + winner, white ? "0-1" : "1-0");
        case MsgStalemate: return End("Stalemate: the game is drawn.", "1/2-1/2");
        case MsgRepetition: return End("The position is repeated: the game is drawn.", "1/2-1/2");
        case MsgFiftyMoves: return End(kFiftyMoves, kDrawn);
        case MsgMaterial: return End(kNoMaterial, kDrawn);
        case MsgTimeForfeit:
            return End(std::string(SideName(side)) + " has run out of time. " + winner,
                       white ? "0-1" : "1-0");
        case MsgBookNotReadable: news_.push_back("The book " + quoted + " cannot be read."); break;
        case MsgBookNotWritten:
            news_.push_back("The book " + quoted + " cannot be written.");
            break;
        case MsgBookDamaged: news_.push_back("The book " + quoted + " is damaged."); break;
        case MsgVolumesWanted:
        case MsgNoDatabaseMove: {
            const std::string sentence = id == MsgVolumesWanted
                                             ? MissingVolumesSentence(text, databases_.thompson)
                                             : std::string(kNoDatabaseMoveSentence);
            // Every move of an ending would say the same.
            if (sentence != told_missing_) news_.push_back(sentence);
            told_missing_ = sentence;
            break;
        }
        default: break;
    }
}

void Player::End(const std::string& sentence, const char* result) {
    over_ = sentence;
    result_ = result;
    news_.push_back(sentence);
}

CHSBRD Player::Position() const {
    CHSBRD board{};
    engine_->get_Position(&board);
    return board;
}

MoveCounts Player::Counts() const {
    if (plies_.empty()) return start_counts_;
    const Ply& last = plies_.back();
    return CountsAfter(last.move, last.before, last.counts);
}

void Player::Append(const EVAR& move, const CHSBRD& before, bool by_engine) {
    const Opening* const named = BuiltInOpenings().Find(Position());
    plies_.push_back({move,
                      before,
                      Counts(),
                      AlgebraicText(move, before),
                      by_engine,
                      named ? named : GameOpening()});
    thought_.clear();
    EndAfterFiftyMoves();
}

void Player::ForgetGame() {
    plies_.clear();
    tags_.clear();
    start_fen_.clear();
    start_counts_ = {};
    over_.clear();
    thought_.clear();
    told_missing_.clear();
    saved_game_.clear();
    result_ = "*";
}

std::string Player::LastMoveText() const {
    return NumberText(plies_.back().before, plies_.back().counts) + " " + plies_.back().text;
}

std::vector<std::string> Player::MoveLines() const {
    std::vector<std::string> lines;
    for (const Ply& ply : plies_) {
        if (ply.before.color == 0 || lines.empty()) {
            lines.push_back(NumberText(ply.before, ply.counts) + " " + ply.text);
        } else {
            lines.back() += " " + ply.text;
        }
    }
    return lines;
}

std::string Player::ScoreWords(const MAINVAR& line) const {
    std::string score = ScoreText(line.score);
    if (line.depth == kDatabaseDepth || !root_value_) return score;
    const std::string& exact = root_value_->words;
    const bool drawn = line.score == 0 && root_value_->is_draw;
    return drawn || score == exact ? exact + " by the databases" : score;
}

std::string Player::LineText(const MAINVAR& line) const {
    const bool searched = line.depth != kDatabaseDepth;
    std::string text = searched ? "depth " + std::to_string(line.depth) : "Thompson databases";
    text += "  " + ScoreWords(line) + " ";
    for (int i = 0; i < std::min<int>(line.vlen, 16); ++i) {
        text += " " + LongText(line.bstvar[i]);
    }
    return text;
}

HRESULT Player::Think() {
    root_value_ = DatabaseValue();
    const HRESULT result = engine_->StartComputerMove(0);
    if (result != S_OK) return result;
    final_.reset();
    thought_.clear();
    thinking_ = true;
    pondering_ = analysing_ = hurry_ = false;
    return S_OK;
}

bool Player::Wait(int input, int timeout_ms) {
    // A request that comes before the search has begun is lost, so it is repeated until the move is
    // there; a delay of 10 ms is not noticeable.
    constexpr int kRepeatMs = 10;
    if (thinking_ && hurry_) {
        engine_->MoveNow();
        timeout_ms = timeout_ms < 0 ? kRepeatMs : std::min(timeout_ms, kRepeatMs);
    }
    const bool readable = session_.Wait(input, timeout_ms);
    if (thinking_ && final_) PlayFound();
    SettleEnd();
    return readable;
}

/// What a found move is based on, for its remark. Asked before the move is made.
std::string Player::Origin(const MAINVAR& found) {
    if (found.depth == kDatabaseDepth) return ScoreWords(found) + ", Thompson databases";
    const std::string depth = ", depth " + std::to_string(found.depth);
    if (found.depth != 0) return ScoreWords(found) + depth;
    // Without a search the move comes from a book, or the level allows none, or it was already found
    // while the other side thought.
    if (found.score == 0 && IsFromBook(found.bstvar[0])) return "book";
    LEVEL level;
    engine_->get_LEVEL(&level);
    return ScoreWords(found) + (level.depth1 > 0 ? ", foreseen" : depth);
}

void Player::PlayFound() {
    thinking_ = hurry_ = false;
    const MAINVAR found = *final_;
    const CHSBRD before = Position();
    if (found.vlen == 0) {
        if (over_.empty()) {
            // Stalemate has been reported, and a full record keeps the engine from thinking, so
            // only mate is left.
            const bool full = before.ply_no >= 399;
            if (full) {
                news_.emplace_back("The engine's record of the game is full.");
            } else {
                HandleMessage(MsgMate, before.color, {});
            }
        }
        return;
    }
    std::string origin = Origin(found);
    MOVES made;
    const std::size_t news = news_.size();
    const std::string text = EntryText(CoordinateText(found.bstvar[0]));
    const HRESULT result = engine_->DoMove(text.c_str(), &made);
    if (result != S_OK) {
        news_.push_back("The engine's move " + text + " was refused: " + Refuse(result).lines[0]);
        return;
    }
    Append(made.MOVES[0], before, true);
    // What the move led to was reported while it was made, and is shown after it.
    news_.insert(news_.begin() + static_cast<std::ptrdiff_t>(news),
                 LastMoveText() + "  (" + origin + ")");
    thought_ = LineText(found);
    // No reply in the line: the other side may have none.
    if (over_.empty() && found.vlen == 1 && engine_->IsNextBestAvailable() != S_OK) FindEnd(true);
    if (over_.empty() && ponder_) Ponder();
}

void Player::Ponder() {
    // Right after a final record the engine's thread may still be returning from the callback.
    constexpr int kTries = 100;
    constexpr std::uint32_t kStepMs = 10;
    root_value_ = DatabaseValue();
    pondering_ = engine_->StartPondering(1) == S_OK;
    for (int i = 0; !pondering_ && i < kTries && engine_->IsThinking() != S_OK; ++i) {
        WaitForMessage(kStepMs);
        PumpMessages();
        pondering_ = engine_->StartPondering(1) == S_OK;
    }
    analysing_ = false;
}

void Player::Halt() {
    // Longer than the engine itself waits for a computation to end.
    constexpr int kPatienceMs = 6000;
    constexpr int kStepMs = 100;
    if (thinking_ || pondering_) engine_->StopComputing(true);
    // The final record of a stopped computation would otherwise be taken for that of the next one.
    for (int waited = 0; thinking_ && !final_ && waited < kPatienceMs; waited += kStepMs) {
        session_.Wait(-1, kStepMs);
    }
    thinking_ = pondering_ = analysing_ = hurry_ = false;
    final_.reset();
}

void Player::SettleEnd() {
    if (IsOver() && (thinking_ || pondering_)) Halt();
}

void Player::FindEnd(bool running) {
    // Only a computation shows that there is no move: one of depth 1, whose traces are undone.
    LEVEL level;
    CLOCKS clocks;
    engine_->get_LEVEL(&level);
    engine_->get_CLOCKS(&clocks);
    if (IsOver()) return;  // reading the clocks may have ended the game
    engine_->put_EventMask(EventMsg);
    LEVEL shallow = level;
    shallow.mode = LevelDepth;
    shallow.depth1 = 1;
    engine_->put_LEVEL(&shallow);
    MAINVAR line{};
    const HRESULT result = engine_->DoComputerMove(0, &line);
    if (result == S_OK && line.vlen == 0 && over_.empty())
        HandleMessage(MsgMate, Position().color, {});
    if (!running) engine_->StopGame();
    engine_->put_LEVEL(&level);
    clocks.Command = ClocksBoth;
    engine_->put_CLOCKS(&clocks);
    engine_->put_EventMask(kEvents);
}

void Player::JudgeSetUp() {
    FindEnd(false);
    if (!IsOver() && NobodyCanMate(Position())) End(kNoMaterial, kDrawn);
    EndAfterFiftyMoves();
}

/// The engine counts from where a position was set up, and reports when that count reaches a
/// hundred first.
void Player::EndAfterFiftyMoves() {
    constexpr int kHalfMoves = 100;
    if (IsOver() || Counts().half_moves < kHalfMoves) return;
    engine_->StopGame();
    End(kFiftyMoves, kDrawn);
}

bool Player::SetUp(const std::string& fen, std::string* error) {
    if (fen.empty()) {
        Halt();
        engine_->NewGame();
        ForgetGame();
        return true;
    }
    const std::optional<FenPosition> parsed = ParseFen(fen, error);
    if (!parsed) return false;
    if (!parsed->flaw.empty()) {
        *error = parsed->flaw;
        return false;
    }
    Halt();
    if (const HRESULT result = engine_->put_Position(&parsed->board); result != S_OK) {
        *error = Refuse(result).lines[0];
        return false;
    }
    ForgetGame();
    // A game begins before the double step that makes an en passant capture possible.
    start_counts_ = parsed->counts;
    start_fen_ = FenText(parsed->board, nullptr, start_counts_);
    if (parsed->double_step.empty()) return true;
    MOVES made;
    if (engine_->DoMove(parsed->double_step.c_str(), &made) != S_OK) {
        *error = "en passant: " + parsed->double_step + " cannot be played";
        engine_->NewGame();
        ForgetGame();
        return false;
    }
    Append(made.MOVES[0], parsed->board, false);
    // The first position is the game's; its clocks begin with the player's first move.
    engine_->StopGame();
    return true;
}

bool Player::IsMoveDue() const {
    LEVEL level;
    engine_->get_LEVEL(&level);
    return thinking_ && (level.mode != LevelInfinite || hurry_);
}

std::vector<std::string> Player::TakeNews() { return std::exchange(news_, {}); }

View Player::CurrentView() {
    View view;
    CLOCKS clocks{};
    LEVEL level{};
    engine_->get_CLOCKS(&clocks);
    SettleEnd();
    engine_->get_LEVEL(&level);
    view.board = Position();
    if (!plies_.empty()) view.last = plies_.back().move;
    view.style = options_.style;
    view.white_clock = ClockText(clocks.wtime);
    view.black_clock = ClockText(clocks.btime);
    view.moves = MoveLines();
    view.level = LevelText(level);
    if (GameOpening()) view.opening = "Opening: " + GameOpening()->Text();
    const std::string side = SideName(view.board.color);
    if (IsOver()) {
        view.status = over_;
    } else if (thinking_) {
        view.status = side + " to move: the engine is thinking. 'now' makes it move.";
    } else if (analysing_) {
        view.status = side + " to move: analysing until 'stop', a move or 'go'.";
    } else if (plies_.empty()) {
        view.status = side + " to move. Type a move such as e4, or 'go' for the engine to begin.";
    } else {
        view.status = side + " to move.";
    }
    if (!thought_.empty()) {
        view.thinking = (thinking_ || pondering_ ? "Thinking: " : "Thought: ") + thought_;
    }
    return view;
}

Reply Player::Done(std::string line) {
    Reply reply;
    if (!line.empty()) reply.lines.push_back(std::move(line));
    return reply;
}

Reply Player::Refuse(std::string line) { return {false, {std::move(line)}}; }

Reply Player::Refuse(HRESULT code) {
    switch (code) {
        case StatusBadPosition: return Refuse("the engine refuses the position");
        case StatusComputerToMove:
            return Refuse("the engine is thinking about its move: 'now' or 'stop' first");
        case StatusBadText: return Refuse("this is no move");
        case StatusNoMove: return Refuse("there is no such legal move");
        case StatusTooFewMoves: return Refuse("there are fewer moves to take back");
        case StatusNotComputing: return Refuse("the engine is not thinking about its move");
        case StatusBadValue: return Refuse("the engine refuses these values");
        case StatusNoAlternative: return Refuse("there is no alternative");
        case StatusRecordFull: return Refuse("the engine's record of the game is full");
        case StatusBusy: return Refuse("the engine is busy");
        default: return Refuse("the engine failed (" + std::to_string(code) + ")");
    }
}

}  // namespace torval
