// Settings pages: what a user may change, shown by a host that need not know the settings.
//
// The engine names its pages by ISpecifyPropertyPages::GetPages. A host creates each one by its
// class identifier (library.h), queries it for IPropertyPage and shows it in whatever way it can:
// as windows, as lines in a terminal, as a form in a browser. What there is to show is a dialog: a
// list of controls in reading order.
//
// Controls   A control has a number, by which it is addressed, a kind, and a label in the chosen
//            language. An Edit holds a text that the user types, of at most `limit` bytes when that
//            is not 0. A CheckBox is checked or not. Of the RadioButtons of a group at most one is
//            checked; checking one unchecks the others. A DropDownList has items of which one or
//            none is selected. A Label is text only: it has the number 0 and cannot be changed.
//
// Life       SetLanguage, SetPageSite and SetObjects come first, in any order, and each of them may
//            be left out. Activate creates the dialog and fills it with the settings as they are.
//            From then on the host shows the controls and reports what the user does with SetText,
//            SetChecked and Select. Apply takes the controls into the settings, as often
//            as it is called. Deactivate ends the dialog; what was not applied is lost. A page can
//            be activated again, and shows the settings of that moment. Outside an activation there
//            are no controls: the calls that need them return E_UNEXPECTED.
//
// Changes    Every change that the page accepts from the host counts as made by the user, also when
//            the value is the same as before. Most, but not all, make the page dirty: IsPageDirty
//            then returns S_OK until the changes are applied or the page is activated again. The
//            site is notified once, when the page becomes dirty.
//
// Values     The page judges a number when it is applied, not when it is typed. A text that is not
//            a number leaves its setting alone, without an error. Applied settings take effect when
//            the engine next uses them; the size of the transposition table when the engine is
//            initialised, that is, in the next process.
//
// Objects    A page is shown for engines. Their settings are one set for the whole process, so that
//            the page keeps no reference to the objects; it only refuses what is not an engine.
//
// Lifetime   The page keeps one reference to its site, from SetPageSite to the next SetPageSite or
//            to its own end. As a site often keeps its pages, it should remove itself with
//            SetPageSite(nullptr). Texts that a call hands out are the page's own. They stay valid
//            until the next call that changes a control, activates or deactivates the page, or
//            until its end; those of GetPageInfo are always valid. Labels and items are UTF-8.
//
// Thread     A page belongs to the thread that created it: all calls are made there, and the site
//            is called there, from within the change that made the page dirty. The site may call
//            the page back, even Apply and Deactivate. Pages may be shown and applied while the
//            engine computes; new databases then wait for the next computation.
//
// Errors     E_UNEXPECTED: not active (or active already). E_INVALIDARG: no control of this number,
//            not of the kind that the call is for, a text beyond the limit, an item that does not
//            exist. E_POINTER: null where a pointer is needed. E_OUTOFMEMORY. A refused
//            call changes nothing and notifies nobody.
#pragma once

#include <cstdint>

#include "torval/identifiers.h"

namespace torval {

enum class Language : std::uint32_t { English = 0, Dutch = 1 };

enum class ControlKind : std::uint32_t {
    Label = 0,
    Edit = 1,
    CheckBox = 2,
    RadioButton = 3,
    DropDownList = 4,
};

struct PageInfo {
    const char* title;  ///< '&' precedes the letter that selects the page
    const char* description;
    const char* help_file;
};

inline constexpr std::int32_t kNothingSelected = -1;

/// One control as it is now.
struct ControlInfo {
    std::uint32_t number;  ///< 0 for a Label
    ControlKind kind;
    const char* label;
    const char* text;       ///< of an Edit, or the selected item of a DropDownList; else empty
    std::uint32_t limit;    ///< longest text of an Edit in bytes, 0 for any
    std::uint32_t group;    ///< of a RadioButton: the number of the first one of its group; else 0
    bool checked;           ///< CheckBox and RadioButton
    std::int32_t selected;  ///< of a DropDownList, from 0; else kNothingSelected
    std::uint32_t item_count;  ///< of a DropDownList; else 0
};

/// Bits of IPropertyPageSite::OnStatusChange.
enum PageStatusBit : std::uint32_t { PageStatusDirty = 1 };

/// Implemented by a host that wants to know when there is something to apply.
class IPropertyPageSite : public IUnknown {
public:
    /// PageStatusDirty: the page has become dirty. The return value is ignored.
    virtual HRESULT OnStatusChange(std::uint32_t flags) = 0;

protected:
    ~IPropertyPageSite() = default;
};

class IPropertyPage : public IUnknown {
public:
    /// For GetPageInfo from now on, for the controls from the next activation on. English at first.
    virtual HRESULT SetLanguage(Language language) = 0;
    /// Null removes the site.
    virtual HRESULT SetPageSite(IPropertyPageSite* site) = 0;
    /// E_NOINTERFACE when one of them is not an engine.
    virtual HRESULT SetObjects(std::uint32_t count, IUnknown** objects) = 0;
    virtual HRESULT GetPageInfo(PageInfo* info) = 0;

    virtual HRESULT Activate() = 0;
    virtual HRESULT Deactivate() = 0;
    /// S_OK dirty, S_FALSE not.
    virtual HRESULT IsPageDirty() = 0;
    virtual HRESULT Apply() = 0;

    virtual HRESULT GetControlCount(std::uint32_t* count) = 0;
    /// The control at a place in the dialog, from 0.
    virtual HRESULT GetControl(std::uint32_t index, ControlInfo* control) = 0;
    /// The text of an item of a drop-down list, from 0.
    virtual HRESULT GetItem(std::uint32_t number, std::uint32_t index, const char** text) = 0;

    virtual HRESULT SetText(std::uint32_t number, const char* text) = 0;
    /// A radio button can only be unchecked by checking another: E_INVALIDARG.
    virtual HRESULT SetChecked(std::uint32_t number, bool checked) = 0;
    virtual HRESULT Select(std::uint32_t number, std::uint32_t index) = 0;

protected:
    ~IPropertyPage() = default;
};

}  // namespace torval
