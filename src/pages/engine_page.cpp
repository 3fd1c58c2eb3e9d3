#include "pages/engine_page.h"

#include <charconv>
#include <string>

#include "egtb/nalimov/probe.h"
#include "state/settings.h"

namespace torval {

namespace {

constexpr std::int32_t kSmallestTableKB = 320;
constexpr std::int32_t kTableSizeEndKB = 30000;

/// An item of the list of table sizes.
std::string TableSizeText(std::int32_t kilobytes) { return std::to_string(kilobytes) + " kb"; }

/// The number at the start of an item of that list.
std::optional<std::int32_t> ReadTableSize(std::string_view text) {
    std::int32_t kilobytes = 0;
    const auto [rest, error] = std::from_chars(text.data(), text.data() + text.size(), kilobytes);
    return error == std::errc{} ? std::optional(kilobytes) : std::nullopt;
}

}  // namespace

void EnginePage::Fill(Dialog* dialog) {
    const SettingsBlock& s = settings_block;
    dialog->AddItem(kTableSizeList, TableSizeText(0));
    for (std::int32_t size = kSmallestTableKB; size < kTableSizeEndKB; size *= 2) {
        dialog->AddItem(kTableSizeList, TableSizeText(size));
    }
    const auto table_size = static_cast<std::int32_t>(ReadSetting(s.TranspKB));
    dialog->SelectItem(kTableSizeList, TableSizeText(table_size));
    dialog->SetInteger(kThreadMarginEdit, ReadSetting(s.ThreadMargin));
    dialog->SetText(kThompsonPathEdit, ThompsonPath);
    dialog->SetText(kNalimovPathEdit, NalimovPath);
    dialog->SetInteger(kCacheSizeEdit, CacheSizeMB);
    dialog->SetChecked(kLowPriorityBox, (ReadSetting(s.BrainFlags) & BrainLowPriority) != 0);
    databases_marked_ = false;
}

void EnginePage::Take(const Dialog& dialog) {
    SettingsBlock& s = settings_block;
    const Control& sizes = *dialog.Find(kTableSizeList, ControlKind::DropDownList);
    if (const auto kilobytes = ReadTableSize(sizes.ShownText())) {
        WriteSetting(&s.TranspKB, static_cast<std::uint32_t>(*kilobytes));
    }
    if (const auto margin = dialog.Integer(kThreadMarginEdit)) {
        WriteSetting(&s.ThreadMargin, *margin);
    }
    WriteSettingText(ThompsonPath, dialog.Find(kThompsonPathEdit, ControlKind::Edit)->text);
    WriteSettingText(NalimovPath, dialog.Find(kNalimovPathEdit, ControlKind::Edit)->text);
    if (const auto megabytes = dialog.Integer(kCacheSizeEdit)) {
        if (*megabytes != CacheSizeMB) databases_marked_ = true;
        WriteSetting(&CacheSizeMB, *megabytes);
    }
    const std::uint16_t flags = ReadSetting(s.BrainFlags);
    const bool low = dialog.Find(kLowPriorityBox, ControlKind::CheckBox)->checked;
    WriteSetting(
        &s.BrainFlags,
        static_cast<std::uint16_t>(low ? flags | BrainLowPriority : flags & ~BrainLowPriority));
    if (databases_marked_) RenewDatabases();
}

bool EnginePage::Changed(std::uint32_t number) {
    if (number == kNalimovPathEdit) databases_marked_ = true;
    // The check box is applied like the rest but does not by itself make the page dirty.
    return number != kLowPriorityBox;
}

}  // namespace torval
