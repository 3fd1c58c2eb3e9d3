#include "torval/pages.h"

#include <gtest/gtest.h>

#include <cstring>
#include <memory>
#include <string>
#include <vector>

#include "engine/page_fixture.h"
#include "torval/engine.h"

namespace torval {
namespace {

// ---- What is shown ------------------------------------------------------------------------------

struct ControlRow {
    std::uint32_t number;
    ControlKind kind;
    const char* english;
    const char* dutch;
    std::uint32_t limit;
    std::uint32_t group;
};

struct PageRow {
    const char* name;
    GUID class_id;
    PageInfo info[2];
    std::vector<ControlRow> controls;
};

const std::vector<PageRow> kPages = {
    {"EngineSettings",
     CLSID_EngineSettings,
     {{"&General", "General Parameters", "engine.hlp"},
      {"&Algemeen", "Algemene parameters", "engine.hlp"}},
     {
         {211,
          ControlKind::DropDownList,
          "Transposition table size:",
          "Transpositie tabel grootte:",
          0,
          0},
         {204, ControlKind::Edit, "Thread margin:", "Thread marge:", 5, 0},
         {0, ControlKind::Label, "(128 = 1 pawn, 0=none)", "(128 = 1 pion, 0=geen)", 0, 0},
         {212, ControlKind::Edit, "Thompson Endgame Path:", "Thompson database pad:", 19, 0},
         {214, ControlKind::Edit, "Nalimov Endgame Path:", "Nalimov Endgame Pad:", 1024, 0},
         {215, ControlKind::Edit, "Cache size (MB):", "Cache size (MB):", 0, 0},
         {213,
          ControlKind::CheckBox,
          "Engine runs on low priority",
          "Engine heeft lage prioritijd",
          0,
          0},
     }},
    {"BookSettings",
     CLSID_BookSettings,
     {{"&Book", "Opening book parameters", "engine.hlp"},
      {"&Boek", "Opening boek parameters", "engine.hlp"}},
     {
         {210, ControlKind::Edit, "Score confidence:", "Score confidence:", 0, 0},
         {205, ControlKind::Edit, "Margin:", "Marge:", 0, 0},
         {206, ControlKind::RadioButton, "Always best move", "Altijd beste zet", 0, 206},
         {207,
          ControlKind::RadioButton,
          "Random, same distribution as book",
          "Random, zelfde distributie als boek",
          0,
          206},
         {208,
          ControlKind::RadioButton,
          "Random, distribution as score",
          "Random, distriibutie als score",
          0,
          206},
         {209,
          ControlKind::RadioButton,
          "Random, even distribution",
          "Random, gelijke distributie",
          0,
          206},
     }},
};

TEST_F(PageTest, ShowsItsTextsInBothLanguages) {
    for (const PageRow& row : kPages) {
        for (const Language language : {Language::English, Language::Dutch}) {
            SCOPED_TRACE(row.name);
            const bool dutch = language == Language::Dutch;
            Create(row.class_id);
            ASSERT_EQ(page_->SetLanguage(language), S_OK);
            PageInfo info{};
            ASSERT_EQ(page_->GetPageInfo(&info), S_OK);
            EXPECT_STREQ(info.title, row.info[dutch].title);
            EXPECT_STREQ(info.description, row.info[dutch].description);
            EXPECT_STREQ(info.help_file, row.info[dutch].help_file);
            ASSERT_EQ(page_->Activate(), S_OK);
            const std::vector<ControlInfo> controls = Controls();
            ASSERT_EQ(controls.size(), row.controls.size());
            for (std::size_t i = 0; i < controls.size(); ++i) {
                const ControlRow& wanted = row.controls[i];
                EXPECT_EQ(controls[i].number, wanted.number);
                EXPECT_EQ(controls[i].kind, wanted.kind) << wanted.english;
                EXPECT_STREQ(controls[i].label, dutch ? wanted.dutch : wanted.english);
                EXPECT_EQ(controls[i].limit, wanted.limit) << wanted.english;
                EXPECT_EQ(controls[i].group, wanted.group) << wanted.english;
            }
        }
    }
}

TEST_F(PageTest, ChangesTheLanguageOfControlsWithTheNextActivation) {
    Show(CLSID_BookSettings);
    EXPECT_EQ(page_->SetLanguage(static_cast<Language>(2)), E_INVALIDARG);
    ASSERT_EQ(page_->SetLanguage(Language::Dutch), S_OK);
    EXPECT_STREQ(ByNumber(205).label, "Margin:");
    ASSERT_EQ(page_->Deactivate(), S_OK);
    ASSERT_EQ(page_->Activate(), S_OK);
    EXPECT_STREQ(ByNumber(205).label, "Marge:");
}

TEST_F(PageTest, ListsTheTableSizes) {
    Show(CLSID_EngineSettings);
    const char* const sizes[] = {
        "0 kb", "320 kb", "640 kb", "1280 kb", "2560 kb", "5120 kb", "10240 kb", "20480 kb"};
    ASSERT_EQ(ByNumber(211).item_count, std::size(sizes));
    for (std::uint32_t i = 0; i < std::size(sizes); ++i) {
        const char* text = nullptr;
        ASSERT_EQ(page_->GetItem(211, i, &text), S_OK);
        EXPECT_STREQ(text, sizes[i]);
    }
    const char* text = nullptr;
    EXPECT_EQ(page_->GetItem(211, std::size(sizes), &text), E_INVALIDARG);
    EXPECT_EQ(page_->GetItem(204, 0, &text), E_INVALIDARG);
}

TEST_F(PageTest, SelectsTheItemThatReadsAsTheTableSize) {
    struct Row {
        std::uint32_t kilobytes;
        std::int32_t selected;
    };
    for (const auto& [kilobytes, selected] : {Row{0, 0},
                                              Row{320, 1},
                                              Row{640, 2},
                                              Row{20480, 7},
                                              Row{1024, kNothingSelected},
                                              Row{64, kNothingSelected},
                                              Row{0xFFFFFFFF, kNothingSelected}}) {
        settings_block.TranspKB = kilobytes;
        Show(CLSID_EngineSettings);
        EXPECT_EQ(ByNumber(211).selected, selected) << kilobytes;
        ASSERT_EQ(page_->Apply(), S_OK);
        EXPECT_EQ(settings_block.TranspKB, kilobytes) << "an untouched list changes nothing";
    }
}

TEST_F(PageTest, ShowsTheEngineSettings) {
    settings_block.ThreadMargin = 4294967295;
    settings_block.BrainFlags = 8;
    std::strcpy(ThompsonPath, "/thompson");
    std::strcpy(NalimovPath, "/one;/two");
    CacheSizeMB = 16;
    Show(CLSID_EngineSettings);
    EXPECT_EQ(TextOf(204), "4294967295") << "unsigned, and the limit binds the user alone";
    EXPECT_EQ(TextOf(212), "/thompson");
    EXPECT_EQ(TextOf(214), "/one;/two");
    EXPECT_EQ(TextOf(215), "16");
    EXPECT_TRUE(ByNumber(213).checked);
    page_->Deactivate();
    settings_block.BrainFlags = 0xFFF7;
    page_->Activate();
    EXPECT_FALSE(ByNumber(213).checked);
}

TEST_F(PageTest, ShowsTheBookSettings) {
    settings_block.ScoreConfidence = 3000000000;
    settings_block.RandMargin = 7;
    for (std::uint32_t mode : {0U, 1U, 2U, 3U, 4U, 0xFFFFFFFFU}) {
        settings_block.BookMode = mode;
        Show(CLSID_BookSettings);
        EXPECT_EQ(TextOf(210), "3000000000");
        EXPECT_EQ(TextOf(205), "7");
        for (std::uint32_t button = 0; button < 4; ++button) {
            EXPECT_EQ(ByNumber(206 + button).checked, button == mode) << mode;
        }
        ASSERT_EQ(page_->Apply(), S_OK);
        EXPECT_EQ(settings_block.BookMode, mode) << "kept, also when no button stands for it";
    }
}

// ---- What is taken ------------------------------------------------------------------------------

struct NumberRow {
    const char* text;
    std::uint32_t value;  ///< 77 is what was there before
};

constexpr std::uint32_t kBefore = 77;
constexpr NumberRow kNumbers[] = {
    {"0", 0},
    {"12345", 12345},
    {" 9", 9},
    {"007", 7},
    {"", kBefore},
    {" ", kBefore},
    {"-1", kBefore},
    {"+1", kBefore},
    {"12a", kBefore},
    {"a", kBefore},
    {"1.5", kBefore},
    {"0x10", kBefore},
};
constexpr NumberRow kLongNumbers[] = {
    {"4294967295", 4294967295},
    {"4294967296", kBefore},
    {"99999999999999999999", kBefore},
};

TEST_F(PageTest, TakesNumbersAndLeavesTheSettingWhereThereIsNone) {
    struct Field {
        GUID class_id;
        std::uint32_t number;
        std::uint32_t* setting;
        bool is_long;
    };
    const Field fields[] = {
        {CLSID_EngineSettings, 204, &settings_block.ThreadMargin, false},
        {CLSID_EngineSettings, 215, &CacheSizeMB, true},
        {CLSID_BookSettings, 210, &settings_block.ScoreConfidence, true},
        {CLSID_BookSettings, 205, &settings_block.RandMargin, true},
    };
    for (const Field& field : fields) {
        const auto take = [&](const NumberRow& row) {
            *field.setting = kBefore;
            Show(field.class_id);
            ASSERT_EQ(page_->SetText(field.number, row.text), S_OK) << row.text;
            EXPECT_EQ(*field.setting, kBefore) << "nothing is taken before Apply";
            ASSERT_EQ(page_->Apply(), S_OK);
            EXPECT_EQ(*field.setting, row.value) << field.number << " '" << row.text << "'";
        };
        for (const NumberRow& row : kNumbers) take(row);
        if (!field.is_long) continue;
        for (const NumberRow& row : kLongNumbers) take(row);
    }
}

TEST_F(PageTest, TakesTheTableSizeOfEveryItem) {
    Show(CLSID_EngineSettings);
    std::uint32_t index = 0;
    for (const std::uint32_t kilobytes : {0U, 320U, 640U, 1280U, 2560U, 5120U, 10240U, 20480U}) {
        ASSERT_EQ(page_->Select(211, index++), S_OK);
        ASSERT_EQ(page_->Apply(), S_OK);
        EXPECT_EQ(settings_block.TranspKB, kilobytes);
    }
    EXPECT_EQ(page_->Select(211, index), E_INVALIDARG);
}

TEST_F(PageTest, TakesThePathsCutToWhatTheyHold) {
    std::strcpy(ThompsonPath, "/an/earlier/path");
    Show(CLSID_EngineSettings);
    const std::string thompson(19, 't');
    const std::string nalimov(1024, 'n');
    ASSERT_EQ(page_->SetText(212, thompson.c_str()), S_OK);
    ASSERT_EQ(page_->SetText(214, nalimov.c_str()), S_OK);
    ASSERT_EQ(page_->Apply(), S_OK);
    EXPECT_EQ(std::string(ThompsonPath, sizeof ThompsonPath), thompson + '\0');
    EXPECT_EQ(std::string(NalimovPath, sizeof NalimovPath), nalimov.substr(1) + '\0');
    ASSERT_EQ(page_->SetText(212, "/t"), S_OK);
    ASSERT_EQ(page_->SetText(214, ""), S_OK);
    ASSERT_EQ(page_->Apply(), S_OK);
    EXPECT_STREQ(ThompsonPath, "/t");
    EXPECT_STREQ(NalimovPath, "");
}

TEST_F(PageTest, TakesThePriorityAndNoOtherBit) {
    for (const int others : {0x0000, 0xFFF7}) {
        for (const bool low : {true, false}) {
            settings_block.BrainFlags = static_cast<std::uint16_t>(others | (low ? 0 : 8));
            Show(CLSID_EngineSettings);
            ASSERT_EQ(page_->SetChecked(213, low), S_OK);
            ASSERT_EQ(page_->Apply(), S_OK);
            EXPECT_EQ(settings_block.BrainFlags, others | (low ? 8 : 0));
        }
    }
}

TEST_F(PageTest, ChecksOneBookModeAtATime) {
    Show(CLSID_BookSettings);
    for (const std::uint32_t mode : {2U, 0U, 3U, 1U}) {
        ASSERT_EQ(page_->SetChecked(206 + mode, true), S_OK);
        for (std::uint32_t button = 0; button < 4; ++button) {
            EXPECT_EQ(ByNumber(206 + button).checked, button == mode);
        }
        ASSERT_EQ(page_->Apply(), S_OK);
        EXPECT_EQ(settings_block.BookMode, mode);
    }
    EXPECT_EQ(page_->SetChecked(207, false), E_INVALIDARG) << "a click cannot uncheck it";
    EXPECT_TRUE(ByNumber(207).checked);
}

TEST_F(PageTest, TouchesOnlyItsOwnSettings) {
    std::memset(static_cast<void*>(&settings_block), 0x55, sizeof settings_block);
    settings_block.BookMode = 1;
    const SettingsBlock before = settings_block;
    for (const PageRow& row : kPages) {
        Show(row.class_id);
        ASSERT_EQ(page_->Apply(), S_OK);
        EXPECT_EQ(std::memcmp(&settings_block, &before, sizeof before), 0) << row.name;
    }
    EXPECT_EQ(CacheSizeMB, 4U);
    EXPECT_FALSE(DatabasesWereRenewed());
}

// ---- As a component -----------------------------------------------------------------------------

TEST_F(PageTest, IsNamedByTheEngineAndRegistered) {
    Ref<ISpecifyPropertyPages> engine;
    ASSERT_EQ(CreateInstance("TORVAL.Engine", IID_ISpecifyPropertyPages, engine.ReceiveVoid()),
              S_OK);
    CAUUID pages{};
    ASSERT_EQ(engine->GetPages(&pages), S_OK);
    const std::unique_ptr<GUID, void (*)(void*)> block(pages.pElems, FreeTaskMemory);
    ASSERT_EQ(pages.cElems, 2U);
    for (std::uint32_t i = 0; i < 2; ++i) {
        EXPECT_EQ(pages.pElems[i], kPages[i].class_id);
        const ClassRegistration* found = nullptr;
        for (const ClassRegistration& entry : RegisteredClasses()) {
            if (entry.class_id == pages.pElems[i]) found = &entry;
        }
        ASSERT_TRUE(found);
        EXPECT_EQ(found->program_id, nullptr);
        EXPECT_EQ(found->version_independent_id, nullptr);
        EXPECT_EQ(found->category, nullptr);
        EXPECT_STREQ(found->threading_model, "Apartment");
        Ref<IClassFactory> factory;
        ASSERT_EQ(GetClassObject(pages.pElems[i], IID_IClassFactory, factory.ReceiveVoid()), S_OK);
        Ref<IPropertyPage> made;
        EXPECT_EQ(factory->CreateInstance(nullptr, IID_IPropertyPage, made.ReceiveVoid()), S_OK);
        Ref<IUnknown> none;
        EXPECT_EQ(CreateInstance(pages.pElems[i], IID_IChessEngine, none.ReceiveVoid()),
                  E_NOINTERFACE);
        IUnknown* objects[] = {engine.Get()};
        EXPECT_EQ(made->SetObjects(1, objects), S_OK);
    }
}

TEST_F(PageTest, IsShownForEnginesOnly) {
    Create(CLSID_BookSettings);
    Ref<IUnknown> engine;
    ASSERT_EQ(CreateInstance("TORVAL.Engine", IID_IUnknown, engine.ReceiveVoid()), S_OK);
    IUnknown* with_page[] = {engine.Get(), page_.Get()};
    EXPECT_EQ(page_->SetObjects(2, with_page), E_NOINTERFACE);
    IUnknown* with_null[] = {engine.Get(), nullptr};
    EXPECT_EQ(page_->SetObjects(2, with_null), E_POINTER);
    EXPECT_EQ(page_->SetObjects(1, nullptr), E_POINTER);
    EXPECT_EQ(page_->SetObjects(0, nullptr), S_OK);
    EXPECT_EQ(engine->AddRef(), 2U) << "no reference is kept";
    engine->Release();
}

}  // namespace
}  // namespace torval
