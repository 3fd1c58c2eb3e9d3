// What both settings pages share: the life of a page, and the way between its host and its dialog.
//
// A page defines its texts, how it fills its controls, what it takes from them and which changes
// make it dirty.
//
// Thread   that of the host that created the page.
// Errors   as IPropertyPage says. A refused call has changed nothing.
#pragma once

#include <optional>

#include "pages/dialog.h"
#include "pages/page_texts.h"
#include "torval/object.h"
#include "torval/pages.h"

namespace torval {

class PropertyPage : public Object<PropertyPage, IPropertyPage>, private ChangeHandler {
public:
    void* FindInterface(const GUID& iid);

    HRESULT SetLanguage(Language language) override;
    HRESULT SetPageSite(IPropertyPageSite* site) override;
    HRESULT SetObjects(std::uint32_t count, IUnknown** objects) override;
    HRESULT GetPageInfo(PageInfo* info) override;
    HRESULT Activate() override;
    HRESULT Deactivate() override;
    HRESULT IsPageDirty() override;
    HRESULT Apply() override;
    HRESULT GetControlCount(std::uint32_t* count) override;
    HRESULT GetControl(std::uint32_t index, ControlInfo* control) override;
    HRESULT GetItem(std::uint32_t number, std::uint32_t index, const char** text) override;
    HRESULT SetText(std::uint32_t number, const char* text) override;
    HRESULT SetChecked(std::uint32_t number, bool checked) override;
    HRESULT Select(std::uint32_t number, std::uint32_t index) override;

protected:
    explicit PropertyPage(const PageResources& resources) : resources_(resources) {}

    /// Shows the settings.
    virtual void Fill(Dialog* dialog) = 0;
    /// Applies the controls to the settings.
    virtual void Take(const Dialog& dialog) = 0;
    /// A control was changed from outside. True when that makes the page dirty.
    virtual bool Changed(std::uint32_t number) = 0;

private:
    void OnChange(std::uint32_t number) override;
    const PageTexts& Texts() const { return resources_[static_cast<std::size_t>(language_)]; }

    const PageResources& resources_;
    Language language_ = Language::English;
    Ref<IPropertyPageSite> site_;
    std::optional<Dialog> dialog_;  ///< while active
    bool filling_ = false;
    bool dirty_ = false;
};

}  // namespace torval
