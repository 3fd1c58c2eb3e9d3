// The engine's settings pages as lines of a terminal, and as texts to change them.
//
// Thread   the one that made it, which is the engine's.
// Life     the pages are shown while the object lives.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "torval/engine.h"
#include "torval/pages.h"

namespace torval {

class SettingsPages {
public:
    /// All pages that the engine names. One that cannot be created is left out.
    SettingsPages(IUnknown* engine, Language language);
    ~SettingsPages();
    SettingsPages(const SettingsPages&) = delete;
    SettingsPages& operator=(const SettingsPages&) = delete;

    /// A line for each control, under its page's title.
    std::vector<std::string> Lines() const;

    /// Changes one control and applies its page. *answer is the control's new line, or the reason
    /// for refusing.
    bool Change(std::uint32_t number, const std::string& value, std::string* answer);

private:
    std::vector<Ref<IPropertyPage>> pages_;
};

}  // namespace torval
