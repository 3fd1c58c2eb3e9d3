// What the tests of the settings pages share: a page, its controls and a site that records calls.
#pragma once

#include <gtest/gtest.h>

#include <cstring>
#include <functional>
#include <string>
#include <utility>
#include <vector>

#include "egtb/nalimov/probe.h"
#include "egtb/nalimov/registry.h"
#include "state/settings.h"
#include "torval/library.h"
#include "torval/object.h"
#include "torval/pages.h"

namespace torval {

using for_tests::live_objects;

/// A site that counts its calls and can act within them.
class RecordingPageSite final : public Object<RecordingPageSite, IPropertyPageSite> {
public:
    void* FindInterface(const GUID& iid) {
        const bool known = iid == IID_IUnknown || iid == IID_IPropertyPageSite;
        return known ? static_cast<IPropertyPageSite*>(this) : nullptr;
    }
    HRESULT OnStatusChange(std::uint32_t flags) override {
        told.push_back(flags);
        if (then) then();
        return E_FAIL;  // whatever it answers
    }

    std::vector<std::uint32_t> told;
    std::function<void()> then;
};

class PageTest : public testing::Test {
protected:
    void SetUp() override {
        objects_before_ = live_objects;
        settings_block = {};
        std::memset(ThompsonPath, 0, sizeof ThompsonPath);
        std::memset(NalimovPath, 0, sizeof NalimovPath);
        CacheSizeMB = 4;
        SetDefaultSettings();
        InitialiseDatabases();
        (void)DatabasesWereRenewed();
    }
    void TearDown() override {
        page_.Reset();
        InitialiseDatabases();
        EXPECT_EQ(live_objects.load(), objects_before_);
    }

    void Create(const GUID& class_id) {
        ASSERT_EQ(CreateInstance(class_id, IID_IPropertyPage, page_.ReceiveVoid()), S_OK);
    }
    void Show(const GUID& class_id) {
        Create(class_id);
        ASSERT_EQ(page_->Activate(), S_OK);
    }
    /// The controls in their order.
    std::vector<ControlInfo> Controls() {
        std::uint32_t count = 0;
        EXPECT_EQ(page_->GetControlCount(&count), S_OK);
        std::vector<ControlInfo> controls(count);
        for (std::uint32_t i = 0; i < count; ++i) {
            EXPECT_EQ(page_->GetControl(i, &controls[i]), S_OK);
        }
        return controls;
    }
    ControlInfo ByNumber(std::uint32_t number) {
        for (const ControlInfo& control : Controls()) {
            if (control.number == number) return control;
        }
        ADD_FAILURE() << "no control " << number;
        return {};
    }
    /// Whether the databases have been initialised since the last call.
    static bool DatabasesWereRenewed() {
        constexpr int kUntouched = -100;
        return std::exchange(MaxTablebaseMen, kUntouched) != kUntouched;
    }
    std::string TextOf(std::uint32_t number) { return ByNumber(number).text; }

    Ref<IPropertyPage> page_;

private:
    int objects_before_ = 0;
};

}  // namespace torval
