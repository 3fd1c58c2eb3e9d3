// The page EngineSettings: table size, thread margin, endgame databases, priority.
#pragma once

#include "pages/property_page.h"

namespace torval {

class EnginePage final : public PropertyPage {
public:
    EnginePage() : PropertyPage(kEnginePageResources) {}

private:
    void Fill(Dialog* dialog) override;
    void Take(const Dialog& dialog) override;
    bool Changed(std::uint32_t number) override;

    /// The databases are to be initialised again after each apply, until the controls are filled
    /// again.
    bool databases_marked_ = false;
};

}  // namespace torval
