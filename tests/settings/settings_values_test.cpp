#include "mtcc/cache/settings_values.hpp"

#include <gtest/gtest.h>

#include <chrono>
#include <thread>
#include <tuple>

#include "settings/context/context_registry.hpp"
#include "settings/core/settings_store.hpp"
#include "support/temp_folder.hpp"

using mtcc::cache::SettingsValues;
using namespace std::chrono_literals;

namespace {

// A store on a file of the test's own, installed as the runtime context's settings root.
class InstalledStore {
  public:
    explicit InstalledStore(const std::string& json, std::chrono::milliseconds poll = 20ms) {
        write(json);
        store_ = std::make_unique<settings::core::SettingsStore>(dir_.path() / "settings.json", poll);
        settings::context::installSettingsRoot(store_->root());
    }
    ~InstalledStore() { settings::context::installSettingsRoot(nullptr); }

    void write(const std::string& json) const { dir_.write("settings.json", json); }
    settings::core::SettingsStore& store() { return *store_; }
    std::shared_ptr<const settings::core::Settings> node(const std::string& name) const {
        return store_->root()->getSettingsByFullName(name);
    }

  private:
    testing_support::TempFolder dir_;
    std::unique_ptr<settings::core::SettingsStore> store_;
};

// The record's values in declaration order: lines, tab and indent size, spaces, function style, blanks.
using Fields =
    std::tuple<std::uint32_t, std::uint32_t, std::uint16_t, std::uint16_t, bool, fl::ustring, fl::ustring>;
const Fields kDefaults{0, 10000000, 4, 4, true, u"AllFunctionIndent", u"Indent"};

Fields fields(SettingsValues& values) {
    std::lock_guard lock(values.mutex);
    return {values.startLine,       values.endLine,      values.tabSize,
            values.indentSize,      values.insertSpaces, values.functionIndentingFormat,
            values.blankLineSetting};
}

// Polls for up to a second: changes on disk arrive on the store's own thread.
template <typename Condition>
void waitUntil(Condition done) {
    const auto end = std::chrono::steady_clock::now() + 1s;
    while (!done() && std::chrono::steady_clock::now() < end)
        std::this_thread::sleep_for(5ms);
}

TEST(SettingsValues, WithoutASettingsRootKeepsEveryDefaultAndWithABrokenOneThrows) {
    settings::context::installSettingsRoot(nullptr);
    SettingsValues values;
    EXPECT_EQ(fields(values), kDefaults);
    EXPECT_FALSE(values.tabListener.connected());
    EXPECT_FALSE(values.languageListener.connected());
    EXPECT_FALSE(values.indentListener.connected());

    // A root without the nodes' leaves: the record asks for a leaf the node does not have.
    auto root = std::make_shared<settings::core::Settings>("");
    root->addChild("ostrel")->addChild("editor")->addChild("tab")->defineLeaf("TabSize", 4);
    settings::context::installSettingsRoot(root);
    EXPECT_THROW(SettingsValues(), settings::core::SettingsError);
    settings::context::installSettingsRoot(nullptr);
}

TEST(SettingsValues, ReadsTheStoreTruncatingSizesAndMappingPadEmptyLines) {
    InstalledStore installed(
        R"({"ostrel.editor.tab": {"TabSize": 70000, "IndentSize": 2, "InsertSpaces": false},
        "ostrel.editor.language.ostrel": {"FunctionIndentingFormat": "allFunctionIndent"}})");
    SettingsValues values;
    // Sizes are truncated, not clamped; the style is stored as is (the formatter rejects it); PadEmptyLines
    // defaults to false, which removes blanks.
    EXPECT_EQ(fields(values),
              (Fields{0, 10000000, 70000 & 0xFFFF, 2, false, u"allFunctionIndent", u"RemoveWhitespace"}));
    installed.write(R"({"ostrel.editor.indent": {"PadEmptyLines": true}})");
    ASSERT_TRUE(installed.store().reload());
    EXPECT_EQ(fields(values), kDefaults);
}

// Only the fields of changed nodes move, overwriting what the caller set.
TEST(SettingsValues, EditsOfTheFileReachALiveRecordWithinASecond) {
    InstalledStore installed("{}");
    SettingsValues values;
    values.setUserPreferenceSettings(5, 50, 8, 8, false, u"MixedFunctionIndent", u"Ignore");

    installed.write(
        R"({"ostrel.editor.tab": {"TabSize": 3}, "ostrel.editor.indent": {"PadEmptyLines": true}})");
    Fields expected{5, 50, 3, 4, true, u"MixedFunctionIndent", u"Indent"};
    waitUntil([&] { return fields(values) == expected; });
    EXPECT_EQ(fields(values), expected);

    installed.write(R"({"ostrel.editor.tab": {"TabSize": 3},
        "ostrel.editor.language.ostrel": {"FunctionIndentingFormat": "ClassicFunctionIndent"}})");
    expected = {5, 50, 3, 4, true, u"ClassicFunctionIndent", u"RemoveWhitespace"};
    waitUntil([&] { return fields(values) == expected; });
    EXPECT_EQ(fields(values), expected);
}

// A record subscribes once (re-subscribing replaces) and its subscriptions end with it, even while
// changes arrive.
TEST(SettingsValues, SubscriptionsLiveExactlyAsLongAsTheRecord) {
    InstalledStore installed("{}", 1ms);
    const auto tab = installed.node("ostrel.editor.tab");
    {
        SettingsValues values;
        values.readOSTRELPreferences();
        EXPECT_EQ(tab->listenerCount(), 1u);
        EXPECT_EQ(installed.node("ostrel.editor.indent")->listenerCount(), 1u);
    }
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
    EXPECT_EQ(tab->listenerCount(), 0u);
    EXPECT_EQ(installed.node("ostrel.editor.indent")->listenerCount(), 0u);
}

}  // namespace
