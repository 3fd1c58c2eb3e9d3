// The options of the protocol, gathered into one image of the engine's settings.
//
// Shape    most options stand for one setting; some are the host's own.
// Thread   the session's.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "apps/host/line_io.h"
#include "apps/host/settings_image.h"

namespace torval {

class ProtocolOptions {
public:
    explicit ProtocolOptions(SettingsImage defaults);

    /// One `option` line for each.
    void Describe(LineWriter* out) const;

    /// Takes a value; names are matched whatever their case. A number out of range is clamped.
    /// Returns a message about it, or an empty text. A pressed button is left to the caller.
    std::string Set(std::string_view name, const std::string& value);

    /// The engine has started with these settings; `in_use` is what it made of them. The table's
    /// size stays as it is from now on.
    void Fix(const SettingsImage& in_use);

    static bool IsClearHash(std::string_view name);

    /// Whether the name is that of the option BookFile, whose new value is to be opened.
    static bool IsBookFile(std::string_view name);

    /// The book to play from while BookFile names no other; empty for none.
    void SetMainBook(const std::string& file);
    /// The file that replaces these; empty for none.
    const std::string& book_file() const { return book_file_; }
    bool own_book() const { return own_book_; }

    const SettingsImage& image() const { return image_; }
    std::int64_t overhead_ms() const { return overhead_ms_; }

    /// Whether settings have changed since they were last loaded, which this takes them to be now.
    bool TakeChanges();
    /// Likewise the directories of Nalimov files, or the memory for them, since the engine was last
    /// told to look there.
    bool TakeNalimovChange();
    /// Whether the engine is to use endgame databases: one of their paths is not empty.
    bool uses_databases() const;

private:
    std::string SetNumber(std::size_t index, const std::string& value);
    std::string SetCheck(std::size_t index, const std::string& value);
    std::string SetHash(std::uint32_t megabytes);
    std::string SetBookMode(const std::string& value);
    std::string SetBookFile(const std::string& value);
    std::string SetNalimovPath(const std::string& value);
    std::string SetThompsonPath(const std::string& value);
    void UseBooks();
    void UseDatabases();

    SettingsImage image_;
    std::int64_t overhead_ms_;
    std::string book_file_;
    bool own_book_ = false;
    bool fixed_ = false;
    bool table_exists_ = true;
    bool changed_ = false;
    bool nalimov_changed_ = true;  ///< another caller may have told the engine before
};

}  // namespace torval
