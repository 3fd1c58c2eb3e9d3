// The dialog model: the controls of a page by number, with their texts, marks and items.
//
// A page builds a dialog from a table of control descriptions, fills it and reads it back; the host
// changes it through the page. Each change, whoever makes it, is reported to the change handler, so
// a page must recognise the changes that it makes itself while filling its controls.
//
// Owner    one page; a host sees copies and texts only.
// Range    numbers other than 0 are unique; at most one radio button of a group is checked;
//          selected is kNothingSelected or the place of an item.
// Thread   the page's.
// Errors   a number without a control, or one of another kind than the operation is for, is a bug
//          of the page and asserts; what comes from a host is looked up with Find first.
#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "torval/pages.h"

namespace torval {

/// A control as a page describes it.
struct ControlDescription {
    std::uint32_t number;
    ControlKind kind;
    const char* label;
    std::uint32_t limit = 0;  ///< of an edit, 0 none
    std::uint32_t group = 0;  ///< of a radio button, the first number of its group
};

struct Control {
    ControlDescription description;
    std::string text;
    bool checked = false;
    std::vector<std::string> items;
    std::int32_t selected = kNothingSelected;

    /// An edit's text, or the selected item of a list.
    const std::string& ShownText() const;
};

/// Called after each change. The dialog may have been destroyed when it returns.
class ChangeHandler {
public:
    virtual void OnChange(std::uint32_t number) = 0;

protected:
    ~ChangeHandler() = default;
};

class Dialog {
public:
    Dialog(std::span<const ControlDescription> descriptions, ChangeHandler* handler);

    std::span<const Control> controls() const { return controls_; }
    /// Null when there is no control of this number and kind.
    const Control* Find(std::uint32_t number, ControlKind kind) const;

    /// Changes an edit, regardless of its limit, which applies to the user and not to the page.
    void SetText(std::uint32_t number, std::string_view text);
    void SetInteger(std::uint32_t number, std::uint32_t value);
    /// The text of an edit as an unsigned decimal number, after blanks; empty when it is not one.
    std::optional<std::uint32_t> Integer(std::uint32_t number) const;

    void SetChecked(std::uint32_t number, bool checked);
    /// Checks one button of a group and unchecks the rest.
    void CheckRadioButton(std::uint32_t number);
    /// The checked button of a group, 0 for none.
    std::uint32_t CheckedRadioButton(std::uint32_t group) const;

    void AddItem(std::uint32_t number, std::string_view text);
    void Select(std::uint32_t number, std::int32_t index);
    /// Selects the item with exactly this text, or nothing.
    void SelectItem(std::uint32_t number, std::string_view text);

private:
    Control& At(std::uint32_t number, ControlKind kind);
    const Control& At(std::uint32_t number, ControlKind kind) const;

    std::vector<Control> controls_;
    ChangeHandler* handler_;
};

/// Decimal digits up to the end of the text, after blanks; empty for anything else and above
/// 2^32 - 1.
std::optional<std::uint32_t> ReadUnsigned(std::string_view text);

}  // namespace torval
