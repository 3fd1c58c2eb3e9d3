// The page BookSettings: how a move is chosen from the opening books.
#pragma once

#include "pages/property_page.h"

namespace torval {

class BookPage final : public PropertyPage {
public:
    BookPage() : PropertyPage(kBookPageResources) {}

private:
    void Fill(Dialog* dialog) override;
    void Take(const Dialog& dialog) override;
    bool Changed(std::uint32_t number) override;
};

}  // namespace torval
