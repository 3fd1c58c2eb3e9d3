#include "apps/play/settings_text.h"

#include <optional>

#include "apps/text/text.h"
#include "torval/library.h"

namespace torval {

namespace {

std::string Numbered(const ControlInfo& control, const std::string& text) {
    const std::string number = control.number == 0 ? "   " : std::to_string(control.number);
    return "  " + number + "  " + text;
}

std::string Items(IPropertyPage* page, const ControlInfo& control) {
    std::string text;
    for (std::uint32_t i = 0; i < control.item_count; ++i) {
        const char* item = "";
        page->GetItem(control.number, i, &item);
        if (i > 0) text += ", ";
        text += item;
    }
    return text;
}

std::string ControlLine(const ControlInfo& control) {
    const std::string label = control.label;
    switch (control.kind) {
        case ControlKind::Edit: return Numbered(control, label + " " + control.text);
        case ControlKind::CheckBox:
            return Numbered(control, (control.checked ? "[x] " : "[ ] ") + label);
        case ControlKind::RadioButton:
            return Numbered(control, (control.checked ? "(x) " : "( ) ") + label);
        case ControlKind::DropDownList: {
            const std::string chosen = control.text[0] ? control.text : "-";
            return Numbered(control, label + " " + chosen);
        }
        default: return Numbered(control, label);
    }
}

std::vector<ControlInfo> ControlsOf(IPropertyPage* page) {
    std::uint32_t count = 0;
    page->GetControlCount(&count);
    std::vector<ControlInfo> controls(count);
    for (std::uint32_t i = 0; i < count; ++i) page->GetControl(i, &controls[i]);
    return controls;
}

std::optional<ControlInfo> Find(IPropertyPage* page, std::uint32_t number) {
    for (const ControlInfo& control : ControlsOf(page)) {
        if (number != 0 && control.number == number) return control;
    }
    return std::nullopt;
}

/// Puts the value into the control; E_INVALIDARG when it does not fit there.
HRESULT Enter(IPropertyPage* page, const ControlInfo& control, const std::string& value) {
    const std::uint32_t number = control.number;
    switch (control.kind) {
        case ControlKind::Edit: return page->SetText(number, value.c_str());
        case ControlKind::CheckBox:
            if (value != "on" && value != "off") return E_INVALIDARG;
            return page->SetChecked(number, value == "on");
        case ControlKind::RadioButton:
            if (!value.empty() && value != "on") return E_INVALIDARG;
            return page->SetChecked(number, true);
        case ControlKind::DropDownList:
            for (std::uint32_t i = 0; i < control.item_count; ++i) {
                const char* item = "";
                page->GetItem(number, i, &item);
                if (value == item) return page->Select(number, i);
            }
            return E_INVALIDARG;
        default: return E_INVALIDARG;
    }
}

std::string Wanted(IPropertyPage* page, const ControlInfo& control) {
    switch (control.kind) {
        case ControlKind::Edit: {
            if (control.limit == 0) return "a text";
            return "a text of at most " + std::to_string(control.limit) + " characters";
        }
        case ControlKind::CheckBox: return "on or off";
        case ControlKind::RadioButton: return "on, or nothing";
        default: return "one of " + Items(page, control);
    }
}

}  // namespace

SettingsPages::SettingsPages(IUnknown* engine, Language language) {
    Ref<ISpecifyPropertyPages> named;
    CAUUID identifiers{};
    if (engine->QueryInterface(IID_ISpecifyPropertyPages, named.ReceiveVoid()) != S_OK ||
        named->GetPages(&identifiers) != S_OK) {
        return;
    }
    for (std::uint32_t i = 0; i < identifiers.cElems; ++i) {
        Ref<IPropertyPage> page;
        const GUID& class_id = identifiers.pElems[i];
        if (CreateInstance(class_id, IID_IPropertyPage, page.ReceiveVoid()) != S_OK) continue;
        page->SetLanguage(language);
        if (page->SetObjects(1, &engine) != S_OK || page->Activate() != S_OK) continue;
        pages_.push_back(std::move(page));
    }
    FreeTaskMemory(identifiers.pElems);
}

SettingsPages::~SettingsPages() {
    for (const Ref<IPropertyPage>& page : pages_) page->Deactivate();
}

std::vector<std::string> SettingsPages::Lines() const {
    std::vector<std::string> lines;
    for (const Ref<IPropertyPage>& page : pages_) {
        PageInfo info{};
        page->GetPageInfo(&info);
        std::string title = info.title ? info.title : "";
        std::erase(title, '&');
        lines.push_back(title + ": " + (info.description ? info.description : ""));
        for (const ControlInfo& control : ControlsOf(page.Get())) {
            lines.push_back(ControlLine(control));
            if (control.item_count > 0) lines.push_back("       " + Items(page.Get(), control));
        }
    }
    return lines;
}

bool SettingsPages::Change(std::uint32_t number, const std::string& value, std::string* answer) {
    for (const Ref<IPropertyPage>& page : pages_) {
        const std::optional<ControlInfo> control = Find(page.Get(), number);
        if (!control) continue;
        const std::string before = control->text;
        const HRESULT result = Enter(page.Get(), *control, value);
        if (result == E_INVALIDARG) {
            *answer = "setting " + std::to_string(number) + " takes " +
                      Wanted(page.Get(), *control) + ", not " + QuoteName(value);
            return false;
        }
        if (result != S_OK || page->Apply() != S_OK) {
            *answer = "the engine refuses the change";
            return false;
        }
        // Activated again, the page shows what was accepted: a text that is not a number was not.
        page->Deactivate();
        page->Activate();
        const ControlInfo now = *Find(page.Get(), number);
        if (now.kind == ControlKind::Edit && value != now.text && before == now.text) {
            *answer = value.empty() ? "setting " + std::to_string(number) + " needs a value"
                                    : "setting " + std::to_string(number) + " does not take " +
                                          QuoteName(value);
            return false;
        }
        *answer = ControlLine(now);
        answer->erase(0, answer->find_first_not_of(' '));
        return true;
    }
    *answer = "there is no setting " + std::to_string(number) + "; 'settings' lists them";
    return false;
}

}  // namespace torval
