#include "pages/book_page.h"

#include "state/settings.h"

namespace torval {

namespace {

constexpr std::uint32_t kBookModes = kLastBookMode - kFirstBookMode + 1;

}  // namespace

void BookPage::Fill(Dialog* dialog) {
    const SettingsBlock& s = settings_block;
    dialog->SetInteger(kScoreConfidenceEdit, ReadSetting(s.ScoreConfidence));
    dialog->SetInteger(kBookMarginEdit, ReadSetting(s.RandMargin));
    // A settings stream can hold any number; one without a button leaves all unchecked.
    const std::uint32_t mode = ReadSetting(s.BookMode);
    if (mode < kBookModes) dialog->CheckRadioButton(kFirstBookMode + mode);
}

void BookPage::Take(const Dialog& dialog) {
    SettingsBlock& s = settings_block;
    if (const auto confidence = dialog.Integer(kScoreConfidenceEdit)) {
        WriteSetting(&s.ScoreConfidence, *confidence);
    }
    if (const auto margin = dialog.Integer(kBookMarginEdit)) WriteSetting(&s.RandMargin, *margin);
    if (const std::uint32_t checked = dialog.CheckedRadioButton(kFirstBookMode)) {
        WriteSetting(&s.BookMode, checked - kFirstBookMode);
    }
}

bool BookPage::Changed(std::uint32_t) { return true; }

}  // namespace torval
