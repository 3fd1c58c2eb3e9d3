// The texts of the settings pages in both languages, and their controls by number.
//
// Shape    for each page one table per language, of the same numbers, kinds and limits in the same
//          order, which is asserted below.
// Thread   constant data; any thread.
#pragma once

#include <array>
#include <cstddef>
#include <iterator>
#include <span>

#include "pages/dialog.h"
#include "torval/codes.h"
#include "torval/settings.h"

namespace torval {

/// A page in one language.
struct PageTexts {
    PageInfo info;
    std::span<const ControlDescription> controls;
};

/// By Language.
using PageResources = std::array<PageTexts, 2>;

inline constexpr std::uint32_t kLabelNumber = 0;
inline constexpr std::uint32_t kThreadMarginLimit = 5;
inline constexpr std::uint32_t kThompsonPathLimit = kThompsonPathSize - 1;
inline constexpr std::uint32_t kNalimovPathLimit = kNalimovPathSize;

inline constexpr const char* kHelpFile = "engine.hlp";

inline constexpr ControlDescription kEnginePageEnglish[] = {
    {kTableSizeList, ControlKind::DropDownList, "Transposition table size:"},
    {kThreadMarginEdit, ControlKind::Edit, "Thread margin:", kThreadMarginLimit},
    {kLabelNumber, ControlKind::Label, "(128 = 1 pawn, 0=none)"},
    {kThompsonPathEdit, ControlKind::Edit, "Thompson Endgame Path:", kThompsonPathLimit},
    {kNalimovPathEdit, ControlKind::Edit, "Nalimov Endgame Path:", kNalimovPathLimit},
    {kCacheSizeEdit, ControlKind::Edit, "Cache size (MB):"},
    {kLowPriorityBox, ControlKind::CheckBox, "Engine runs on low priority"},
};

inline constexpr ControlDescription kEnginePageDutch[] = {
    {kTableSizeList, ControlKind::DropDownList, "Transpositie tabel grootte:"},
    {kThreadMarginEdit, ControlKind::Edit, "Thread marge:", kThreadMarginLimit},
    {kLabelNumber, ControlKind::Label, "(128 = 1 pion, 0=geen)"},
    {kThompsonPathEdit, ControlKind::Edit, "Thompson database pad:", kThompsonPathLimit},
    {kNalimovPathEdit, ControlKind::Edit, "Nalimov Endgame Pad:", kNalimovPathLimit},
    {kCacheSizeEdit, ControlKind::Edit, "Cache size (MB):"},
    {kLowPriorityBox, ControlKind::CheckBox, "Engine heeft lage prioritijd"},
};

inline constexpr ControlDescription BookModeButton(BookChoice mode, const char* label) {
    return {
        kFirstBookMode + std::uint32_t{mode}, ControlKind::RadioButton, label, 0, kFirstBookMode};
}

inline constexpr ControlDescription kBookPageEnglish[] = {
    {kScoreConfidenceEdit, ControlKind::Edit, "Score confidence:"},
    {kBookMarginEdit, ControlKind::Edit, "Margin:"},
    BookModeButton(ChooseBest, "Always best move"),
    BookModeButton(ChooseAsPlayed, "Random, same distribution as book"),
    BookModeButton(ChooseByScore, "Random, distribution as score"),
    BookModeButton(ChooseEvenly, "Random, even distribution"),
};

inline constexpr ControlDescription kBookPageDutch[] = {
    {kScoreConfidenceEdit, ControlKind::Edit, "Score confidence:"},
    {kBookMarginEdit, ControlKind::Edit, "Marge:"},
    BookModeButton(ChooseBest, "Altijd beste zet"),
    BookModeButton(ChooseAsPlayed, "Random, zelfde distributie als boek"),
    BookModeButton(ChooseByScore, "Random, distriibutie als score"),
    BookModeButton(ChooseEvenly, "Random, gelijke distributie"),
};

inline constexpr PageResources kEnginePageResources = {{
    {{"&General", "General Parameters", kHelpFile}, kEnginePageEnglish},
    {{"&Algemeen", "Algemene parameters", kHelpFile}, kEnginePageDutch},
}};

inline constexpr PageResources kBookPageResources = {{
    {{"&Book", "Opening book parameters", kHelpFile}, kBookPageEnglish},
    {{"&Boek", "Opening boek parameters", kHelpFile}, kBookPageDutch},
}};

constexpr bool SameLayout(const PageResources& page) {
    const auto& [one, other] = page;
    if (one.controls.size() != other.controls.size()) return false;
    for (std::size_t i = 0; i < one.controls.size(); ++i) {
        const ControlDescription& a = one.controls[i];
        const ControlDescription& b = other.controls[i];
        if (a.number != b.number || a.kind != b.kind || a.limit != b.limit || a.group != b.group) {
            return false;
        }
    }
    return true;
}
static_assert(SameLayout(kEnginePageResources) && SameLayout(kBookPageResources));

}  // namespace torval
