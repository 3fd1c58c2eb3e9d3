#include "pages/property_page.h"

#include <cstring>
#include <utility>

#include "platform/boundary.h"
#include "torval/engine.h"

namespace torval {

void* PropertyPage::FindInterface(const GUID& iid) {
    const bool known = iid == IID_IUnknown || iid == IID_IPropertyPage;
    return known ? static_cast<IPropertyPage*>(this) : nullptr;
}

HRESULT PropertyPage::SetLanguage(Language language) {
    if (language != Language::English && language != Language::Dutch) return E_INVALIDARG;
    language_ = language;
    return S_OK;
}

HRESULT PropertyPage::SetPageSite(IPropertyPageSite* site) {
    // The page may hold the old site's last reference; released once the page is done with it.
    const Ref<IPropertyPageSite> old = std::move(site_);
    site_ = Ref<IPropertyPageSite>(site);
    return S_OK;
}

HRESULT PropertyPage::SetObjects(std::uint32_t count, IUnknown** objects) {
    if (!objects && count != 0) return E_POINTER;
    for (std::uint32_t i = 0; i < count; ++i) {
        if (!objects[i]) return E_POINTER;
        Ref<IChessEngine> engine;
        const HRESULT asked = objects[i]->QueryInterface(IID_IChessEngine, engine.ReceiveVoid());
        if (Failed(asked)) return E_NOINTERFACE;
    }
    return S_OK;
}

HRESULT PropertyPage::GetPageInfo(PageInfo* info) {
    if (!info) return E_POINTER;
    *info = Texts().info;
    return S_OK;
}

HRESULT PropertyPage::Activate() {
    if (dialog_) return E_UNEXPECTED;
    filling_ = true;
    const HRESULT filled = AtBoundary([this] {
        dialog_.emplace(Texts().controls, static_cast<ChangeHandler*>(this));
        Fill(&*dialog_);
        return S_OK;
    });
    filling_ = false;
    if (Failed(filled)) {
        dialog_.reset();
    } else {
        dirty_ = false;
    }
    return filled;
}

HRESULT PropertyPage::Deactivate() {
    if (!dialog_) return E_UNEXPECTED;
    dialog_.reset();
    dirty_ = false;
    return S_OK;
}

HRESULT PropertyPage::IsPageDirty() { return dirty_ ? S_OK : S_FALSE; }

HRESULT PropertyPage::Apply() {
    if (!dialog_) return E_UNEXPECTED;
    return AtBoundary([this] {
        Take(*dialog_);
        dirty_ = false;
        return S_OK;
    });
}

HRESULT PropertyPage::GetControlCount(std::uint32_t* count) {
    if (!count) return E_POINTER;
    if (!dialog_) return E_UNEXPECTED;
    *count = static_cast<std::uint32_t>(dialog_->controls().size());
    return S_OK;
}

HRESULT PropertyPage::GetControl(std::uint32_t index, ControlInfo* control) {
    if (!control) return E_POINTER;
    if (!dialog_) return E_UNEXPECTED;
    const std::span<const Control> controls = dialog_->controls();
    if (index >= controls.size()) return E_INVALIDARG;
    const Control& found = controls[index];
    *control = {
        .number = found.description.number,
        .kind = found.description.kind,
        .label = found.description.label,
        .text = found.ShownText().c_str(),
        .limit = found.description.limit,
        .group = found.description.group,
        .checked = found.checked,
        .selected = found.selected,
        .item_count = static_cast<std::uint32_t>(found.items.size()),
    };
    return S_OK;
}

HRESULT PropertyPage::GetItem(std::uint32_t number, std::uint32_t index, const char** text) {
    if (!text) return E_POINTER;
    if (!dialog_) return E_UNEXPECTED;
    const Control* const list = dialog_->Find(number, ControlKind::DropDownList);
    if (!list || index >= list->items.size()) return E_INVALIDARG;
    *text = list->items[index].c_str();
    return S_OK;
}

HRESULT PropertyPage::SetText(std::uint32_t number, const char* text) {
    if (!text) return E_POINTER;
    if (!dialog_) return E_UNEXPECTED;
    const Control* const edit = dialog_->Find(number, ControlKind::Edit);
    if (!edit) return E_INVALIDARG;
    const std::uint32_t limit = edit->description.limit;
    if (limit != 0 && std::strlen(text) > limit) return E_INVALIDARG;
    // The site may release the page from within.
    const Ref<IPropertyPage> alive(this);
    return AtBoundary([&] {
        dialog_->SetText(number, text);
        return S_OK;
    });
}

HRESULT PropertyPage::SetChecked(std::uint32_t number, bool checked) {
    if (!dialog_) return E_UNEXPECTED;
    const Ref<IPropertyPage> alive(this);
    if (dialog_->Find(number, ControlKind::CheckBox)) {
        dialog_->SetChecked(number, checked);
        return S_OK;
    }
    if (!checked || !dialog_->Find(number, ControlKind::RadioButton)) return E_INVALIDARG;
    dialog_->CheckRadioButton(number);
    return S_OK;
}

HRESULT PropertyPage::Select(std::uint32_t number, std::uint32_t index) {
    if (!dialog_) return E_UNEXPECTED;
    const Control* const list = dialog_->Find(number, ControlKind::DropDownList);
    if (!list || index >= list->items.size()) return E_INVALIDARG;
    const Ref<IPropertyPage> alive(this);
    dialog_->Select(number, static_cast<std::int32_t>(index));
    return S_OK;
}

void PropertyPage::OnChange(std::uint32_t number) {
    if (filling_ || !Changed(number) || dirty_) return;
    dirty_ = true;
    // The site may put another one in its place from within.
    if (const Ref<IPropertyPageSite> site = site_) site->OnStatusChange(PageStatusDirty);
}

}  // namespace torval
