#include "mtcc/cache/settings_values.hpp"

#include <gtest/gtest.h>

#include <chrono>
#include <thread>

#include "settings/context/context_registry.hpp"
#include "settings/core/settings_store.hpp"
#include "settings_test_files.hpp"

using mtcc::cache::SettingsValues;
using namespace std::chrono_literals;

namespace {

// A store on a file of the test's own, installed as the runtime context's settings root.
class InstalledStore {
  public:
    explicit InstalledStore(const std::string& json, std::chrono::milliseconds poll = 20ms) {
        testing_support::writeFile(file(), json);
        store_ = std::make_unique<settings::core::SettingsStore>(file(), poll);
        settings::context::installSettingsRoot(store_->root());
    }
    ~InstalledStore() { settings::context::installSettingsRoot(nullptr); }

    std::filesystem::path file() const { return dir_.path() / "settings.json"; }
    void write(const std::string& json) const { testing_support::writeFile(file(), json); }
    settings::core::SettingsStore& store() { return *store_; }
    std::shared_ptr<const settings::core::Settings> node(const std::string& name) const {
        return store_->root()->getSettingsByFullName(name);
    }

  private:
    testing_support::TempDir dir_;
    std::unique_ptr<settings::core::SettingsStore> store_;
};

template <typename Condition>
bool eventually(Condition condition, std::chrono::milliseconds limit = 1000ms) {
    const auto end = std::chrono::steady_clock::now() + limit;
    while (std::chrono::steady_clock::now() < end) {
        if (condition()) return true;
        std::this_thread::sleep_for(5ms);
    }
    return condition();
}

bool lockedEquals(SettingsValues& values, const std::u16string& blank, std::uint16_t tab) {
    std::lock_guard lock(values.mutex);
    return values.blankLineSetting == blank && values.tabSize == tab;
}

TEST(SettingsValues, WithoutASettingsRootKeepsEveryDefaultAndSubscribesNothing) {
    settings::context::installSettingsRoot(nullptr);
    SettingsValues values;
    EXPECT_EQ(values.startLine, 0u);
    EXPECT_EQ(values.endLine, 10000000u);
    EXPECT_EQ(values.tabSize, 4);
    EXPECT_EQ(values.indentSize, 4);
    EXPECT_TRUE(values.insertSpaces);
    EXPECT_EQ(values.functionIndentingFormat, u"AllFunctionIndent");
    EXPECT_EQ(values.blankLineSetting, u"Indent");
    EXPECT_FALSE(values.tabListener.connected());
    EXPECT_FALSE(values.indentListener.connected());
}

TEST(SettingsValues, ReadsTheStoreTruncatingSizesAndMappingPadEmptyLines) {
    InstalledStore installed(
        R"({"ostrel.editor.tab": {"TabSize": 70000, "IndentSize": 2, "InsertSpaces": false},
        "ostrel.editor.language.ostrel": {"FunctionIndentingFormat": "allFunctionIndent"}})");
    SettingsValues values;
    EXPECT_EQ(values.tabSize, 70000 & 0xFFFF);  // truncated, not clamped
    EXPECT_EQ(values.indentSize, 2);
    EXPECT_FALSE(values.insertSpaces);
    EXPECT_EQ(values.functionIndentingFormat,
              u"allFunctionIndent");                          // stored as is; the formatter rejects it
    EXPECT_EQ(values.blankLineSetting, u"RemoveWhitespace");  // PadEmptyLines defaults to false
    EXPECT_EQ(values.startLine, 0u);
    EXPECT_EQ(values.endLine, 10000000u);

    installed.write(R"({"ostrel.editor.indent": {"PadEmptyLines": true}})");
    ASSERT_TRUE(installed.store().reload());
    EXPECT_TRUE(lockedEquals(values, u"Indent", 4));
}

TEST(SettingsValues, EditsOfTheFileReachALiveRecordWithinASecond) {
    InstalledStore installed("{}");
    SettingsValues values;
    values.setUserPreferenceSettings(5, 50, 8, 8, true, u"MixedFunctionIndent", u"Ignore");

    installed.write(
        R"({"ostrel.editor.tab": {"TabSize": 3}, "ostrel.editor.indent": {"PadEmptyLines": true}})");
    EXPECT_TRUE(eventually([&] { return lockedEquals(values, u"Indent", 3); }));

    // A change of the indent node overwrites what the caller set, and only the fields of changed nodes move.
    installed.write(
        R"({"ostrel.editor.tab": {"TabSize": 3}, "ostrel.editor.indent": {"PadEmptyLines": false}})");
    EXPECT_TRUE(eventually([&] { return lockedEquals(values, u"RemoveWhitespace", 3); }));
    std::lock_guard lock(values.mutex);
    EXPECT_EQ(values.functionIndentingFormat, u"MixedFunctionIndent");
    EXPECT_EQ(values.startLine, 5u);
    EXPECT_EQ(values.endLine, 50u);
}

TEST(SettingsValues, ARejectedFileLeavesTheRecordAsItWas) {
    InstalledStore installed(R"({"ostrel.editor.tab": {"TabSize": 2}})");
    SettingsValues values;
    installed.write(R"({"ostrel.editor.tab": {"TabSize": "wide"}})");
    EXPECT_TRUE(eventually([&] { return !installed.store().lastError().empty(); }));
    EXPECT_NE(installed.store().lastError().find("ostrel.editor.tab.TabSize"), std::string::npos);
    EXPECT_NE(installed.store().lastError().find(installed.file().string()), std::string::npos);
    std::lock_guard lock(values.mutex);
    EXPECT_EQ(values.tabSize, 2);
}

TEST(SettingsValues, SubscriptionsLiveExactlyAsLongAsTheRecord) {
    InstalledStore installed("{}");
    const auto tab = installed.node("ostrel.editor.tab");
    const auto indent = installed.node("ostrel.editor.indent");
    const std::size_t before = tab->listenerCount();
    {
        SettingsValues values;
        EXPECT_EQ(tab->listenerCount(), before + 1);
        values.readOSTRELPreferences();  // re-subscribing replaces, never adds
        EXPECT_EQ(tab->listenerCount(), before + 1);
        EXPECT_EQ(indent->listenerCount(), 1u);
    }
    EXPECT_EQ(tab->listenerCount(), before);
    EXPECT_EQ(indent->listenerCount(), 0u);
}

TEST(SettingsValues, RecordsDestroyedWhileChangesArriveAreNeverCalledAfterwards) {
    InstalledStore installed("{}", 1ms);
    std::atomic<bool> stop{false};
    std::thread writer([&] {
        for (int i = 0; !stop; ++i)
            installed.write("{\"ostrel.editor.tab\": {\"TabSize\": " + std::to_string(i % 9 + 1) + "}}");
    });
    for (int i = 0; i < 200; ++i) {
        auto values = std::make_unique<SettingsValues>();
        std::this_thread::sleep_for(std::chrono::microseconds(200));
        values.reset();  // the listener may be running right now; destruction waits for it
    }
    stop = true;
    writer.join();
    EXPECT_EQ(installed.node("ostrel.editor.tab")->listenerCount(), 0u);
}

TEST(SettingsValues, StoreErrorsSurfaceFromTheConstructor) {
    // A root without the nodes' leaves: the record asks for a leaf the node does not have.
    auto root = std::make_shared<settings::core::Settings>("");
    root->addChild("ostrel")->addChild("editor")->addChild("tab")->defineLeaf("TabSize", 4);
    settings::context::installSettingsRoot(root);
    EXPECT_THROW(SettingsValues(), settings::core::SettingsError);
    settings::context::installSettingsRoot(nullptr);
}

}  // namespace
