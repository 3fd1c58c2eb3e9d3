#include "apps/makers/tables/directories.h"
#include "apps/play/player.h"
#include "apps/text/text.h"

namespace torval {

namespace {

const std::string kNone = "none";

constexpr const char* kUsage =
    "usage: tb [on|off | path [DIRS] | cache [MB] | thompson [DIRS]]; 'help tb' tells more";

}  // namespace

void Player::LeaveOutOwnDamage() {
    const std::string damage = LeaveOutDamagedOwnDirectory();
    if (!damage.empty() && damage != told_damage_) news_.push_back("Note: " + damage + ".");
    told_damage_ = damage;
}

/// Passes on the databases that the player was started with.
void Player::OpenDatabases() {
    const DatabaseSettings& wanted = options_.databases;
    SettingsImage image = SettingsImage::Of(engine_);
    image.Set(settings::kThompsonPath, wanted.thompson);
    session_.Reload(image);
    RegisterNalimovPath(engine_, wanted.nalimov, wanted.cache_mb);
    words_.Use(wanted.nalimov);
    UseDatabasesByPaths();
}

void Player::ReadDatabaseSettings() {
    const SettingsImage image = SettingsImage::Of(engine_);
    databases_ = {.nalimov = image.NalimovPath(),
                  .thompson = image.Get(settings::kThompsonPath),
                  .cache_mb = image.Get(settings::kCacheSizeMB),
                  .in_use = (image.Get(settings::kBookUse) & BookUseDatabases) != 0};
    told_missing_.clear();
}

std::optional<Verdict> Player::DatabaseValue() {
    if (!databases_.in_use) return std::nullopt;
    return words_.Value(Position(), LastMove());
}

Reply Player::UseNalimovPath(const std::string& paths, std::uint32_t cache_mb) {
    if (const std::string problem = NalimovPathProblem(paths); !problem.empty()) {
        return Refuse("the path of the databases stays as it is: " + problem);
    }
    Halt();
    LeaveOutOwnDamage();
    if (!RegisterNalimovPath(engine_, paths, cache_mb)) {
        return Refuse("the engine refuses the change");
    }
    words_.Use(paths);
    ReadDatabaseSettings();
    return TellDatabases();
}

Reply Player::UseThompsonPath(const std::string& paths) {
    if (const std::string problem = ThompsonPathProblem(paths); !problem.empty()) {
        return Refuse("the Thompson path stays as it is: " + problem);
    }
    Halt();
    SettingsImage image = SettingsImage::Of(engine_);
    image.Set(settings::kThompsonPath, paths);
    session_.Reload(image);
    UseDatabasesByPaths();
    return TellDatabases();
}

Reply Player::UseDatabases(bool use) {
    Halt();
    const std::uint32_t others =
        SettingsImage::Of(engine_).Get(settings::kBookUse) & ~BookUseDatabases;
    ChangeSetting(settings::kBookUse, others | (use ? BookUseDatabases : 0));
    ReadDatabaseSettings();
    return TellDatabases();
}

void Player::UseDatabasesByPaths() {
    ReadDatabaseSettings();
    UseDatabases(!databases_.nalimov.empty() || !databases_.thompson.empty());
}

Reply Player::TellDatabases() const {
    const auto named = [](const std::string& path) { return path.empty() ? kNone : path; };
    return {true,
            {databases_.in_use ? "The engine uses endgame databases."
                               : "The engine uses no endgame databases.",
             "Nalimov path: " + named(databases_.nalimov) + "; " + words_.Extent() + ", cache " +
                 std::to_string(databases_.cache_mb) + " MB",
             "Thompson path: " + named(databases_.thompson)}};
}

Reply Player::Databases(Words words) {
    if (words.empty()) return {true, words_.Lines(Position(), LastMove())};
    const std::string_view verb = words[0];
    const Words rest = words.subspan(1);
    const bool is_path = verb == "path" || verb == "thompson";
    if (rest.empty() && (is_path || verb == "cache")) return TellDatabases();
    if (thinking_) return Refuse(StatusComputerToMove);
    if (rest.empty() && (verb == "on" || verb == "off")) return UseDatabases(verb == "on");
    std::string value = JoinWords({rest.begin(), rest.end()});
    if (verb == "cache") {
        int megabytes = 0;
        if (!ReadNumber(value, 0, kLargestCacheMB, &megabytes)) {
            return Refuse("usage: tb cache MB, 0 to " + std::to_string(kLargestCacheMB));
        }
        return UseNalimovPath(databases_.nalimov, static_cast<std::uint32_t>(megabytes));
    }
    if (!is_path) return Refuse(kUsage);
    if (value == kNone) value.clear();
    if (verb == "thompson") return UseThompsonPath(ExpandHomes(value, kThompsonSeparators));
    value = ExpandHomes(value, kNalimovSeparators);
    if (!MissingFolder(value).empty()) {
        return Refuse("the path of the databases stays as it is: " +
                      NewPathProblem(kNalimovPathEdit, value));
    }
    Reply reply = UseNalimovPath(value, databases_.cache_mb);
    if (!reply.accepted) return reply;
    UseDatabasesByPaths();
    return TellDatabases();
}

std::string Player::NewPathProblem(std::uint32_t control, const std::string& value) const {
    if (control == kThompsonPathEdit) return ThompsonPathProblem(value);
    // A cache of another size makes the engine look at the files again, too.
    const bool is_path = control == kNalimovPathEdit;
    std::string problem = NalimovPathProblem(is_path ? value : databases_.nalimov);
    return problem.empty() && is_path ? MissingFolder(value) : problem;
}

void Player::TakeDatabaseSettings() {
    const std::string nalimov = databases_.nalimov;
    const std::string thompson = databases_.thompson;
    ReadDatabaseSettings();
    words_.Use(databases_.nalimov);
    if (nalimov != databases_.nalimov || thompson != databases_.thompson) UseDatabasesByPaths();
}

}  // namespace torval
