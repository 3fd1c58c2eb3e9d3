#include "apps/uci/options.h"

#include <algorithm>
#include <array>
#include <filesystem>
#include <utility>

#include "apps/host/databases.h"
#include "apps/makers/tables/directories.h"
#include "apps/text/text.h"
#include "apps/uci/command.h"

namespace torval {

namespace {

enum class Kind {
    Number,        ///< a setting
    Check,         ///< a bit of a setting
    Button,        ///< Clear Hash
    Hash,          ///< the table's size in megabytes
    Ponder,        ///< only announced to the user interface, which decides
    Overhead,      ///< the host's own
    CaptureDepth,  ///< how far below the horizon captures are searched; 0: to their end
    OwnBook,       ///< play from the books
    BookFile,      ///< a book that replaces the usual one
    BookMode,      ///< how its moves are chosen
    NalimovPath,   ///< directories of endgame databases; empty for none
    NalimovCache,  ///< for their blocks, in megabytes
    ThompsonPath,  ///< directories of the databases asked before a search; empty for none
};

struct Option {
    std::string_view name;
    Kind kind;
    std::int64_t least;
    std::int64_t most;
    NumberSetting setting = {};
    std::uint32_t bit = 0;
};

constexpr std::uint32_t kKilobytes = 1024;
constexpr std::uint32_t kDefaultHash = 16;
constexpr std::int64_t kDefaultOverheadMs = 30;

// 160 MB: the largest table there is. A null move has to shorten the search, so by 1 at least.
constexpr std::array kOptions = {
    Option{"Hash", Kind::Hash, 1, 160},
    Option{"Clear Hash", Kind::Button, 0, 0},
    Option{"Use Hash Table", Kind::Check, 0, 1, settings::kTranspFlags, TranspInUse},
    Option{"Ponder", Kind::Ponder, 0, 1},
    Option{"OwnBook", Kind::OwnBook, 0, 1},
    Option{"BookFile", Kind::BookFile, 0, 0},
    Option{"BookMode", Kind::BookMode, 0, 0},
    Option{"NalimovPath", Kind::NalimovPath, 0, 0},
    Option{"NalimovCache", Kind::NalimovCache, 0, kLargestCacheMB, settings::kCacheSizeMB},
    Option{"ThompsonPath", Kind::ThompsonPath, 0, 0},
    Option{"Move Overhead", Kind::Overhead, 0, 5000},
    Option{"Low Priority", Kind::Check, 0, 1, settings::kBrainFlags, BrainLowPriority},
    Option{"Capture Search Depth", Kind::CaptureDepth, 0, 30},
    Option{"Null Move Reduction", Kind::Number, 1, 10, settings::kNullMoveReduction},
    Option{"Check Extension Ply", Kind::Number, 0, 60, settings::kCheckExtensionPly},
    Option{"Quiescence Check Plies", Kind::Number, 0, 20, settings::kQuiescenceCheckPlies},
    Option{"Pawn Push Depth", Kind::Number, 0, 30, settings::kPawnPushDepth},
    Option{"Root Switch Margin", Kind::Number, 0, 1000, settings::kRootSwitchMargin},
    Option{"Root Switch Depth", Kind::Number, 0, 30, settings::kRootSwitchDepth},
    Option{"Threat Margin", Kind::Number, 0, 9999, settings::kThreadMargin},
    Option{"Late Threat Margin", Kind::Number, 0, 9999, settings::kLateThreadMargin},
    Option{"Late Margin Time", Kind::Number, 0, 10000, settings::kLateMarginMs},
};

/// The values of BookMode, in the order of the engine's setting.
constexpr std::array<std::string_view, 4> kBookModes = {"Best", "Games", "Score", "Even"};

/// How the protocol writes an empty text.
constexpr std::string_view kEmptyText = "<empty>";

constexpr const char* kTooLate = " would have to be set before the first position or go";

bool SameName(std::string_view one, std::string_view other) {
    return std::ranges::equal(one, other, {}, Lower, Lower);
}

constexpr const char* TruthText(bool truth) { return truth ? "true" : "false"; }

std::int64_t CaptureDepth(const SettingsImage& image) {
    return -std::int64_t{image.Level().depth2};
}

/// " default Even var Best var Games ..."
std::string BookModeText(const SettingsImage& image) {
    std::string text = " default ";
    text += kBookModes.at(image.Get(settings::kBookMode));
    for (const std::string_view mode : kBookModes) text.append(" var ").append(mode);
    return text;
}

}  // namespace

ProtocolOptions::ProtocolOptions(SettingsImage defaults)
    : image_(std::move(defaults)), overhead_ms_(kDefaultOverheadMs) {
    image_.Set(settings::kTranspKB, kDefaultHash * kKilobytes);
    image_.Set(settings::kUserBookName, "");
    UseBooks();
}

bool ProtocolOptions::IsClearHash(std::string_view name) { return SameName(name, "Clear Hash"); }

bool ProtocolOptions::IsBookFile(std::string_view name) { return SameName(name, "BookFile"); }

void ProtocolOptions::Describe(LineWriter* out) const {
    for (const Option& option : kOptions) {
        const std::string head = "option name " + std::string(option.name) + " type ";
        const auto spin = [&](std::int64_t value) {
            out->Write(head + "spin default " + std::to_string(value) + " min " +
                       std::to_string(option.least) + " max " + std::to_string(option.most));
        };
        const auto check = [&](bool value) {
            out->Write(head + "check default " + TruthText(value));
        };
        switch (option.kind) {
            case Kind::Number:
            case Kind::NalimovCache: spin(image_.Get(option.setting)); break;
            case Kind::Check: check((image_.Get(option.setting) & option.bit) != 0); break;
            case Kind::Button: out->Write(head + "button"); break;
            case Kind::Hash: spin(kDefaultHash); break;
            case Kind::Ponder: check(false); break;
            case Kind::Overhead: spin(overhead_ms_); break;
            case Kind::CaptureDepth: spin(CaptureDepth(image_)); break;
            case Kind::OwnBook: check(own_book_); break;
            case Kind::BookFile:
            case Kind::NalimovPath:
            case Kind::ThompsonPath:
                out->Write(head + "string default " + std::string(kEmptyText));
                break;
            case Kind::BookMode: out->Write(head + "combo" + BookModeText(image_)); break;
        }
    }
}

std::string ProtocolOptions::Set(std::string_view name, const std::string& value) {
    for (std::size_t i = 0; i < kOptions.size(); ++i) {
        if (!SameName(kOptions[i].name, name)) continue;
        switch (kOptions[i].kind) {
            case Kind::Button: return {};
            case Kind::BookFile: return SetBookFile(value);
            case Kind::BookMode: return SetBookMode(value);
            case Kind::NalimovPath: return SetNalimovPath(value);
            case Kind::ThompsonPath: return SetThompsonPath(value);
            case Kind::OwnBook:
            case Kind::Check:
            case Kind::Ponder: return SetCheck(i, value);
            default: return SetNumber(i, value);
        }
    }
    return "there is no option " + Quote(name);
}

std::string ProtocolOptions::SetCheck(std::size_t index, const std::string& value) {
    const Option& option = kOptions[index];
    const bool on = SameName(value, "true");
    if (!on && !SameName(value, "false")) {
        return std::string(option.name) + " is either true or false, not " + Quote(value);
    }
    if (option.kind == Kind::Ponder) return {};
    if (option.kind == Kind::OwnBook) {
        own_book_ = on;
        UseBooks();
        return {};
    }
    if (option.bit == TranspInUse && option.setting.offset == settings::kTranspFlags.offset && on &&
        !table_exists_) {
        return "there is no hash table to use";
    }
    const std::uint32_t others = image_.Get(option.setting) & ~option.bit;
    image_.Set(option.setting, others | (on ? option.bit : 0));
    changed_ = true;
    return {};
}

std::string ProtocolOptions::SetNumber(std::size_t index, const std::string& value) {
    const Option& option = kOptions[index];
    const std::optional<std::int64_t> asked = ParseNumber(value);
    if (!asked) return std::string(option.name) + " is a number, not " + Quote(value);
    const std::int64_t number = std::clamp(*asked, option.least, option.most);
    std::string remark;
    if (number != *asked) {
        remark = std::string(option.name) + " lies between " + std::to_string(option.least) +
                 " and " + std::to_string(option.most) + "; it is now " + std::to_string(number);
    }
    if (option.kind == Kind::Overhead) {
        overhead_ms_ = number;
    } else if (option.kind == Kind::Hash) {
        if (fixed_) return SetHash(static_cast<std::uint32_t>(number));
        image_.Set(settings::kTranspKB, static_cast<std::uint32_t>(number) * kKilobytes);
    } else if (option.kind == Kind::CaptureDepth) {
        LEVEL level = image_.Level();
        level.depth2 = static_cast<std::int16_t>(-number);
        image_.SetLevel(level);
    } else {
        image_.Set(option.setting, static_cast<std::uint32_t>(number));
        changed_ = true;
        if (option.kind == Kind::NalimovCache) nalimov_changed_ = true;
    }
    return remark;
}

std::string ProtocolOptions::SetBookMode(const std::string& value) {
    for (std::uint32_t mode = 0; mode < kBookModes.size(); ++mode) {
        if (!SameName(kBookModes[mode], value)) continue;
        image_.Set(settings::kBookMode, mode);
        changed_ = true;
        return {};
    }
    return "BookMode is Best, Games, Score or Even, not " + Quote(value);
}

std::string ProtocolOptions::SetBookFile(const std::string& value) {
    std::string file = SameName(value, kEmptyText) ? std::string() : ExpandHome(value);
    // A relative name refers to the current directory, not to the program's.
    if (!file.empty()) file = std::filesystem::absolute(file).string();
    if (!image_.Set(settings::kUserBookName, file)) {
        return "the name of a book has at most 255 characters";
    }
    book_file_ = std::move(file);
    UseBooks();
    return {};
}

std::string ProtocolOptions::SetNalimovPath(const std::string& value) {
    const std::string paths =
        SameName(value, kEmptyText) ? std::string() : ExpandHomes(value, kNalimovSeparators);
    const std::string problem = NalimovPathProblem(paths);
    if (!problem.empty()) return "NalimovPath stays as it is: " + problem;
    image_.SetNalimovPath(paths);
    nalimov_changed_ = true;
    UseDatabases();
    if (paths.empty() || HoldsTablebases(paths)) return {};
    return "NalimovPath: there are no database files";
}

std::string ProtocolOptions::SetThompsonPath(const std::string& value) {
    const std::string paths =
        SameName(value, kEmptyText) ? std::string() : ExpandHomes(value, kThompsonSeparators);
    const std::string problem = ThompsonPathProblem(paths);
    if (!problem.empty()) return "ThompsonPath stays as it is: " + problem;
    image_.Set(settings::kThompsonPath, paths);
    UseDatabases();
    return {};
}

bool ProtocolOptions::uses_databases() const {
    return !image_.NalimovPath().empty() || !image_.Get(settings::kThompsonPath).empty();
}

void ProtocolOptions::UseDatabases() {
    const std::uint32_t others = image_.Get(settings::kBookUse) & ~BookUseDatabases;
    image_.Set(settings::kBookUse, others | (uses_databases() ? BookUseDatabases : 0));
    changed_ = true;
}

/// The usual books or the one that replaces them, while the engine is to use any.
void ProtocolOptions::UseBooks() {
    const std::uint32_t books = book_file_.empty() ? BookUseMain : BookUseUser;
    const std::uint32_t others = image_.Get(settings::kBookUse) & ~(BookUseMain | BookUseUser);
    image_.Set(settings::kBookUse, others | (own_book_ ? books : 0));
    changed_ = true;
}

void ProtocolOptions::SetMainBook(const std::string& file) {
    // The engine opens the user book only after a main book.
    image_.Set(settings::kMainBookName, file.empty() ? book_file_ : file);
}

std::string ProtocolOptions::SetHash(std::uint32_t megabytes) {
    const std::uint32_t kilobytes = image_.Get(settings::kTranspKB);
    return "Hash stays at " + std::to_string(kilobytes) + " KB: " + std::to_string(megabytes) +
           " MB" + kTooLate;
}

void ProtocolOptions::Fix(const SettingsImage& in_use) {
    fixed_ = true;
    changed_ = false;
    image_.Set(settings::kTranspKB, in_use.Get(settings::kTranspKB));
    image_.Set(settings::kTranspFlags, in_use.Get(settings::kTranspFlags));
    const bool wanted_none = image_.Get(settings::kTranspKB) == 0;
    table_exists_ = !wanted_none;
}

bool ProtocolOptions::TakeChanges() { return std::exchange(changed_, false); }

bool ProtocolOptions::TakeNalimovChange() { return std::exchange(nalimov_changed_, false); }

}  // namespace torval
