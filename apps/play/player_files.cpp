#include <algorithm>
#include <charconv>
#include <ctime>
#include <fstream>
#include <iterator>
#include <stdexcept>

#include "apps/makers/tables/directories.h"
#include "apps/play/player.h"
#include "apps/play/settings_text.h"
#include "apps/text/moves.h"
#include "apps/text/replace_file.h"
#include "apps/text/text.h"
#include "torval/library.h"

namespace torval {

namespace {

/// Longer than any game that the engine's record holds, comments included.
constexpr std::size_t kMostFileBytes = 16'000'000;

constexpr const char* kForce = "--force";

/// A file's name, which may have blanks.
std::string NameFrom(Player::Words words) {
    return ExpandHome(JoinWords({words.begin(), words.end()}));
}

bool ReadFile(const std::string& path, std::string* bytes) {
    std::ifstream file(path, std::ios::binary);
    std::string read(kMostFileBytes, '\0');
    file.read(read.data(), static_cast<std::streamsize>(read.size()));
    if (file.bad() || (!file.eof() && file.fail()) || !file.eof()) return false;
    read.resize(static_cast<std::size_t>(file.gcount()));
    *bytes = std::move(read);
    return true;
}

std::string Today() {
    const std::time_t now = std::time(nullptr);
    std::tm date{};
    localtime_r(&now, &date);
    char text[16];
    const std::size_t length = std::strftime(text, sizeof text, "%Y.%m.%d", &date);
    return {text, length};
}

/// Settings belong to the whole process, and only an object that has none yet loads them.
HRESULT LoadInto(IStream* stream) {
    Ref<IPersistStreamInit> scratch;
    const HRESULT result =
        CreateInstance("TORVAL.Engine", IID_IPersistStreamInit, scratch.ReceiveVoid());
    return result == S_OK ? scratch->Load(stream) : result;
}

}  // namespace

Reply Player::Settings(Words words) {
    if (words.size() == 1 && (words[0] == "en" || words[0] == "nl")) {
        options_.language = words[0] == "en" ? Language::English : Language::Dutch;
        words = {};
    }
    if (words.empty()) {
        Reply reply{true, SettingsPages(engine_, options_.language).Lines()};
        reply.lines.emplace_back(
            "Enter: 'settings 204 20'. Tick: 'settings 213 on'. Choose: 'settings 206'.");
        return reply;
    }
    int number = 0;
    const auto [end, code] =
        std::from_chars(words[0].data(), words[0].data() + words[0].size(), number);
    if (code != std::errc() || end != words[0].data() + words[0].size()) {
        return Refuse("usage: settings [NUMBER VALUE|en|nl]");
    }
    std::string answer;
    std::string value = JoinWords({words.begin() + 1, words.end()});
    const auto control = static_cast<std::uint32_t>(number);
    if (control == kNalimovPathEdit) value = ExpandHomes(value, kNalimovSeparators);
    if (control == kThompsonPathEdit) value = ExpandHomes(value, kThompsonSeparators);
    if (IsDatabaseControl(control)) {
        if (const std::string problem = NewPathProblem(control, value); !problem.empty()) {
            return Refuse("setting " + std::to_string(number) + " stays as it is: " + problem);
        }
        if (thinking_) return Refuse(StatusComputerToMove);
        Halt();
        LeaveOutOwnDamage();
    }
    SettingsPages pages(engine_, options_.language);
    if (!pages.Change(control, value, &answer)) return Refuse(answer);
    if (IsDatabaseControl(control)) TakeDatabaseSettings();
    return Done(answer);
}

Reply Player::Save(Words words) {
    const bool known = !words.empty() && (words[0] == "game" || words[0] == "settings");
    const bool force = words.size() > 1 && words[1] == kForce;
    const Words name = words.subspan(std::min<std::size_t>(force ? 2 : 1, words.size()));
    if (!known || name.empty()) return Refuse("usage: save game|settings [--force] FILE");
    const Saving saving = {.game = words[0] == "game", .path = NameFrom(name)};
    const std::string& last = saving.game ? saved_game_ : saved_settings_;
    if (force || saving.path == last) return Write(saving);
    try {
        if (!WouldReplace(saving.path)) return Write(saving);
    } catch (const std::runtime_error& error) {
        return Refuse(error.what());
    }
    const std::string there = QuoteName(saving.path) + " is there already";
    if (!options_.asks) {
        return Refuse(there + "; 'save " + std::string(words[0]) + " " + kForce +
                      " FILE' replaces it");
    }
    unanswered_ = saving;
    return Done(there + ". Replace it? (y/n)");
}

Reply Player::Write(const Saving& saving) {
    try {
        if (saving.game) {
            ReplaceFile(saving.path, WritePgn(Game()));
        } else {
            ReplaceFile(saving.path, SettingsImage::Of(engine_).bytes());
        }
    } catch (const std::runtime_error& error) {
        return Refuse(error.what());
    }
    (saving.game ? saved_game_ : saved_settings_) = saving.path;
    return Done(saving.game ? "Game saved." : "Settings saved.");
}

Reply Player::Load(Words words) {
    if (words.size() < 2 || (words[0] != "game" && words[0] != "settings")) {
        return Refuse("usage: load game|settings FILE");
    }
    const std::string path = NameFrom(words.subspan(1));
    return words[0] == "game" ? LoadGame(path) : LoadSettings(path);
}

Reply Player::LoadSettings(const std::string& path) {
    Ref<IStream> stream;
    if (CreateFileStream(path.c_str(), FileMode::Read, stream.Receive()) != S_OK) {
        return Refuse("the file " + QuoteName(path) + " cannot be read");
    }
    Halt();
    const SettingsImage old = SettingsImage::Of(engine_);
    LEVEL level{};
    HRESULT result = LoadInto(stream.Get());
    if (result == S_OK) result = engine_->get_LEVEL(&level);
    // Entering the level sets the clocks, and refuses an invalid level in the file.
    if (result == S_OK) result = engine_->put_LEVEL(&level);
    if (result != S_OK) {
        LoadInto(old.Stream().Get());
        return Refuse(QuoteName(path) + " holds no settings");
    }
    const SettingsImage loaded = SettingsImage::Of(engine_);
    const Reply databases =
        UseNalimovPath(loaded.NalimovPath(), loaded.Get(settings::kCacheSizeMB));
    if (!databases.accepted) {
        LoadInto(old.Stream().Get());
        return Refuse(QuoteName(path) + ": " + databases.lines[0]);
    }
    return Done("Settings loaded; the table's size counts from the next start.");
}

PgnGame Player::Game() const {
    PgnGame game;
    game.tags = tags_;
    if (tags_.empty()) {
        const auto engine_has = [this](std::uint8_t color) {
            return std::ranges::any_of(plies_, [color](const Ply& ply) {
                return ply.by_engine && ply.before.color == color;
            });
        };
        game.tags = {{"Date", Today()},
                     {"White", engine_has(0) ? "Torval" : "?"},
                     {"Black", engine_has(1) ? "Torval" : "?"}};
    }
    // A loaded game that was continued may now have another opening.
    const Opening* const opening = GameOpening();
    if (opening) {
        std::erase_if(game.tags, [](const auto& tag) {
            return tag.first == "ECO" || tag.first == "Opening" || tag.first == "Variation";
        });
        game.tags.emplace_back("ECO", opening->code);
        game.tags.emplace_back("Opening", opening->name);
    }
    game.fen = start_fen_;
    for (const Ply& ply : plies_) game.moves.push_back(ply.text);
    game.result = result_;
    return game;
}

Reply Player::LoadGame(const std::string& path) {
    std::string text;
    std::string error;
    if (!ReadFile(path, &text)) return Refuse("the file " + QuoteName(path) + " cannot be read");
    const std::optional<PgnGame> game = ReadPgn(text, &error);
    if (!game) return Refuse(QuoteName(path) + ": " + error);
    const Kept kept = Keep();
    Halt();
    if (!Replay(*game, &error)) {
        Restore(kept);
        return Refuse(QuoteName(path) + ": " + error);
    }
    tags_ = game->tags;
    if (over_.empty()) {
        JudgeSetUp();
        if (over_.empty()) result_ = game->result;
    }
    return Done("Game loaded: " + std::to_string(plies_.size()) + " half-moves.");
}

Player::Kept Player::Keep() {
    Kept kept{.game = Game(),
              .tags = tags_,
              .plies = plies_,
              .news = news_,
              .over = over_,
              .thought = thought_,
              .saved = saved_game_,
              .clocks = {},
              .running = false,
              .thinking = thinking_,
              .pondering = pondering_,
              .analysing = analysing_};
    engine_->get_CLOCKS(&kept.clocks);
    // Asking to begin is the way to learn whether a game has begun. While the engine computes one
    // has, or is about to.
    kept.running = thinking_ || pondering_ || engine_->StartGame() != S_OK;
    if (!kept.running) engine_->StopGame();
    return kept;
}

void Player::Restore(const Kept& kept) {
    std::string ignored;
    Halt();
    Replay(kept.game, &ignored);
    tags_ = kept.tags;
    plies_ = kept.plies;
    news_ = kept.news;
    over_ = kept.over;
    thought_ = kept.thought;
    saved_game_ = kept.saved;
    result_ = kept.game.result;
    CLOCKS clocks = kept.clocks;
    clocks.Command = ClocksBoth;
    engine_->put_CLOCKS(&clocks);
    if (!kept.running || IsOver()) return;
    engine_->StartGame();
    if (kept.thinking) Think();
    if (kept.pondering) Ponder();
    analysing_ = kept.analysing && pondering_;
}

bool Player::Replay(const PgnGame& game, std::string* error) {
    if (!SetUp(game.fen, error)) return false;
    // A game given by a position with an en passant square begins with the double step.
    const auto forget_end = [this] {
        over_.clear();
        result_ = "*";
        news_.clear();
    };
    for (const std::string& text : game.moves) {
        // Drawn games may have been continued; only the state after the last move counts.
        forget_end();
        const CHSBRD before = Position();
        MOVES made;
        if (EnterPgnMove(engine_, text, &made) != S_OK) {
            *error = "move " + std::to_string(plies_.size() + 1) + " " + Quote(text) +
                     " cannot be played";
            return false;
        }
        // Nor does a clock that ran out meanwhile end it.
        if (made.iStatus == OutcomeGoesOn) forget_end();
        Append(made.MOVES[0], before, false);
    }
    // Neither clock runs until a move is made here.
    engine_->StopGame();
    return true;
}

}  // namespace torval
