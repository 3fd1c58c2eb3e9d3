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
#include "state/settings.h"

namespace torval {

/// A page in one language.
struct PageTexts {
    PageInfo info;
    std::span<const ControlDescription> controls;
};

/// By Language.
using PageResources = std::array<PageTexts, 2>;

/// The numbers of the controls, by which hosts know them too.
enum EnginePageControl : std::uint32_t {
    kThreadMarginEdit = 204,
    kTableSizeList = 211,
    kThompsonPathEdit = 212,
    kLowPriorityBox = 213,
    kNalimovPathEdit = 214,
    kCacheSizeEdit = 215,
};
enum BookPageControl : std::uint32_t {
    kBookMarginEdit = 205,
    kFirstBookMode = 206,
    kLastBookMode = 209,
    kScoreConfidenceEdit = 210,
};

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

inline constexpr ControlDescription BookModeButton(std::uint32_t mode, const char* label) {
    return {kFirstBookMode + mode, ControlKind::RadioButton, label, 0, kFirstBookMode};
}

inline constexpr ControlDescription kBookPageEnglish[] = {
    {kScoreConfidenceEdit, ControlKind::Edit, "Score confidence:"},
    {kBookMarginEdit, ControlKind::Edit, "Margin:"},
    BookModeButton(0, "Always best move"),
    BookModeButton(1, "Random, same distribution as book"),
    BookModeButton(2, "Random, distribution as score"),
    BookModeButton(3, "Random, even distribution"),
};

inline constexpr ControlDescription kBookPageDutch[] = {
    {kScoreConfidenceEdit, ControlKind::Edit, "Score confidence:"},
    {kBookMarginEdit, ControlKind::Edit, "Marge:"},
    BookModeButton(0, "Altijd beste zet"),
    BookModeButton(1, "Random, zelfde distributie als boek"),
    BookModeButton(2, "Random, distriibutie als score"),
    BookModeButton(3, "Random, gelijke distributie"),
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
