#include "pages/dialog.h"

#include <cassert>
#include <charconv>
#include <utility>

namespace torval {

const std::string& Control::ShownText() const {
    return selected == kNothingSelected ? text : items[static_cast<std::size_t>(selected)];
}

Dialog::Dialog(std::span<const ControlDescription> descriptions, ChangeHandler* handler)
    : handler_(handler) {
    controls_.reserve(descriptions.size());
    for (const ControlDescription& description : descriptions) {
        controls_.push_back(
            {.description = description, .text = {}, .checked = false, .items = {}});
    }
}

const Control* Dialog::Find(std::uint32_t number, ControlKind kind) const {
    for (const Control& control : controls_) {
        const ControlDescription& description = control.description;
        if (description.number == number && description.kind == kind) return &control;
    }
    return nullptr;
}

const Control& Dialog::At(std::uint32_t number, ControlKind kind) const {
    const Control* const found = Find(number, kind);
    assert(found);
    return *found;
}

Control& Dialog::At(std::uint32_t number, ControlKind kind) {
    return const_cast<Control&>(std::as_const(*this).At(number, kind));
}

void Dialog::SetText(std::uint32_t number, std::string_view text) {
    At(number, ControlKind::Edit).text = text;
    handler_->OnChange(number);
}

void Dialog::SetInteger(std::uint32_t number, std::uint32_t value) {
    SetText(number, std::to_string(value));
}

std::optional<std::uint32_t> Dialog::Integer(std::uint32_t number) const {
    return ReadUnsigned(At(number, ControlKind::Edit).text);
}

void Dialog::SetChecked(std::uint32_t number, bool checked) {
    At(number, ControlKind::CheckBox).checked = checked;
    handler_->OnChange(number);
}

void Dialog::CheckRadioButton(std::uint32_t number) {
    const std::uint32_t group = At(number, ControlKind::RadioButton).description.group;
    for (Control& control : controls_) {
        if (control.description.group == group) {
            control.checked = control.description.number == number;
        }
    }
    handler_->OnChange(number);
}

std::uint32_t Dialog::CheckedRadioButton(std::uint32_t group) const {
    for (const Control& control : controls_) {
        if (control.description.group == group && control.checked) {
            return control.description.number;
        }
    }
    return 0;
}

void Dialog::AddItem(std::uint32_t number, std::string_view text) {
    At(number, ControlKind::DropDownList).items.emplace_back(text);
}

void Dialog::Select(std::uint32_t number, std::int32_t index) {
    Control& list = At(number, ControlKind::DropDownList);
    assert(index >= kNothingSelected && index < static_cast<std::int32_t>(list.items.size()));
    list.selected = index;
    handler_->OnChange(number);
}

void Dialog::SelectItem(std::uint32_t number, std::string_view text) {
    const std::vector<std::string>& items = At(number, ControlKind::DropDownList).items;
    std::int32_t index = kNothingSelected;
    for (std::size_t i = 0; i < items.size(); ++i) {
        if (items[i] == text) index = static_cast<std::int32_t>(i);
    }
    Select(number, index);
}

std::optional<std::uint32_t> ReadUnsigned(std::string_view text) {
    const std::size_t start = text.find_first_not_of(" \t");
    if (start == std::string_view::npos) return std::nullopt;
    const char* const end = text.data() + text.size();
    std::uint32_t value = 0;
    const auto [rest, error] = std::from_chars(text.data() + start, end, value);
    if (error != std::errc{} || rest != end) return std::nullopt;
    return value;
}

}  // namespace torval
