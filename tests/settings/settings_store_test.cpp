#include "settings/core/settings_store.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <chrono>
#include <condition_variable>
#include <filesystem>
#include <mutex>
#include <thread>

#include "qvai/client_options_from_settings.hpp"
#include "settings/core/default_settings.hpp"
#include "settings/core/settings_file.hpp"
#include "support/scoped_env.hpp"
#include "support/temp_folder.hpp"

namespace core = settings::core;
using core::SettingsStore;
using core::SettingsValueChangeEvent;
using namespace std::chrono_literals;
using testing::AllOf;
using testing::HasSubstr;
using testing::ThrowsMessage;

namespace {

int tabSize(const SettingsStore& store) {
    return store.root()->getSettingsByFullName("ostrel.editor.tab")->get<int>("TabSize", "");
}

TEST(SettingsTree, FindsNodesByFullNameAndRefusesUnknownLeaves) {
    auto root = core::makeDefaultSettings();
    auto tab = root->getSettingsByFullName("ostrel.editor.tab");
    auto ai = root->getSettingsByFullName("ostrel.ai");
    ASSERT_TRUE(tab && ai);
    EXPECT_EQ(tab->fullName(), "ostrel.editor.tab");
    // Intermediate nodes exist and lead to the same node; unknown names give an empty pointer.
    EXPECT_EQ(root->getSettingsByFullName("ostrel.editor")->getSettingsByFullName("ostrel.editor.tab"), tab);
    EXPECT_FALSE(root->getSettingsByFullName("ostrel.editor.tabs"));
    EXPECT_FALSE(root->getSettingsByFullName("ostrel.editor.tab.TabSize"));
    EXPECT_EQ(root->getSettingsByFullName(""), root);  // a node answers to its own name
    // Unknown leaves, wrong types and layers throw, naming the leaf.
    EXPECT_THAT(
        [&] { tab->get<int>("TabWidth", ""); },
        ThrowsMessage<core::SettingsError>(AllOf(HasSubstr("TabWidth"), HasSubstr("ostrel.editor.tab"))));
    EXPECT_THROW(tab->get<bool>("TabSize", ""), core::SettingsError);
    EXPECT_THROW(tab->get<fl::ustring>("TabSize", ""), core::SettingsError);
    EXPECT_THROW(tab->get<int>("TabSize", "workspace"), core::SettingsError);
}

TEST(SettingsFile, AcceptsOverridesAndRejectsBadFilesNamingFileLineAndKey) {
    const auto& known = core::defaultSettingValues();
    auto ok = core::parseSettingsFile(R"({"ostrel.editor.tab": {"TabSize": 2, "InsertSpaces": false},
        "ostrel.ai": {"Model": "m\u00e9"}})",
                                      "s.json", known);
    ASSERT_EQ(ok.error, "");
    EXPECT_EQ(std::get<int>(ok.overrides["ostrel.editor.tab"]["TabSize"]), 2);
    EXPECT_FALSE(std::get<bool>(ok.overrides["ostrel.editor.tab"]["InsertSpaces"]));
    EXPECT_EQ(std::get<fl::ustring>(ok.overrides["ostrel.ai"]["Model"]), u"m\u00e9");
    EXPECT_EQ(core::parseSettingsFile(" \n", "s.json", known).error, "");

    auto parse = core::parseSettingsFile("{\n  \"ostrel.editor.tab\": {\n    \"TabSize\": 2,\n  }\n}",
                                         "/x/s.json", known);
    EXPECT_EQ(parse.error.rfind("/x/s.json:4:", 0), 0u) << parse.error;
    EXPECT_TRUE(parse.overrides.empty());

    const std::pair<const char*, const char*> rejected[] = {
        {R"({"ostrel.editor.tab": {"TabSize": "2"}})", "'ostrel.editor.tab.TabSize'"},
        {R"({"ostrel.editor.tab": {"TabSize": 2.5}})", "'ostrel.editor.tab.TabSize'"},
        {R"({"ostrel.editor.tab": {"TabSize": 3000000000}})", "'ostrel.editor.tab.TabSize'"},
        {R"({"ostrel.editor.tab": {"InsertSpaces": 1}})", "'ostrel.editor.tab.InsertSpaces'"},
        {R"({"ostrel.ai": {"Model": null}})", "'ostrel.ai.Model'"},
        {R"({"ostrel.editor.tab": {"TabSiz": 2}})", "'ostrel.editor.tab.TabSiz'"},
        {R"({"ostrel.editor.tabs": {}})", "'ostrel.editor.tabs'"},
        {R"({"ostrel.editor.tab": 4})", "'ostrel.editor.tab'"},
        {R"([1, 2])", "JSON object"},
        // Beyond a double's range: once an exception that escaped the parser (and the watcher's re-reads).
        {R"({"ostrel.ai": {"TimeoutMs": 1e400}})", "1e400"},
        {R"({"ostrel.editor.tab": {"TabSize": -1e400}})", "-1e400"},
    };
    for (const auto& [text, key] : rejected) {
        auto result = core::parseSettingsFile(text, "/x/s.json", known);
        EXPECT_EQ(result.error.rfind("/x/s.json: ", 0), 0u) << text << " -> " << result.error;
        EXPECT_NE(result.error.find(key), std::string::npos) << text << " -> " << result.error;
        EXPECT_TRUE(result.overrides.empty());
    }
}

// Each row once went wrong: the reply file could not be chosen, or a temperature JSON cannot carry
// reached the server as null. The stores poll rarely, and must still stop at once.
TEST(SettingsFile, TheAiNodeBecomesClientOptionsOrAClearError) {
    struct Case {
        const char* ai;
        const char* replyFile;  // expected ReplyFile; nullptr: an error naming Temperature
    };
    const Case cases[] = {
        {R"({"Backend": "reply-file", "Endpoint": "/tmp/reply.txt"})", "/tmp/reply.txt"},
        {R"({"Backend": "openai", "Endpoint": "http://h:1"})", ""},
        {R"({"Temperature": "nan"})", nullptr},
        {R"({"Temperature": "inf"})", nullptr},
        {R"({"Temperature": "-0.5"})", nullptr},
        {R"({"Temperature": "0.7x"})", nullptr},
    };
    const testing_support::TempFolder dir;
    const auto start = std::chrono::steady_clock::now();
    for (const auto& [ai, replyFile] : cases) {
        const SettingsStore store(dir.write("s.json", std::string(R"({"ostrel.ai": )") + ai + "}"), 10000ms);
        ASSERT_EQ(store.lastError(), "") << ai;
        const auto& root = store.root();
        if (replyFile) {
            EXPECT_EQ(qvai::clientOptionsFromSettings(*root).ReplyFile, replyFile) << ai;
        } else {
            EXPECT_THAT([&] { qvai::clientOptionsFromSettings(*root); },
                        ThrowsMessage<std::invalid_argument>(HasSubstr("Temperature")))
                << ai;
        }
    }
    EXPECT_LT(std::chrono::steady_clock::now() - start, 2s);
}

TEST(SettingsFile, DefaultPathFollowsXdgConfigHome) {
    testing_support::ScopedEnv xdg("XDG_CONFIG_HOME", "/cfg");
    EXPECT_EQ(core::defaultSettingsFilePath(), std::filesystem::path("/cfg/ostrel/settings.json"));
    testing_support::ScopedEnv relative("XDG_CONFIG_HOME", "relative");
    testing_support::ScopedEnv home("HOME", "/home/u");
    EXPECT_EQ(core::defaultSettingsFilePath(), std::filesystem::path("/home/u/.config/ostrel/settings.json"));
}

// A missing file means the defaults; a file overrides them; a rejected file keeps the previous values,
// not even its valid leaves applied, until it is fixed.
TEST(SettingsStore, FileOverridesDefaultsAndARejectedFileKeepsThePreviousValues) {
    testing_support::TempFolder dir;
    const auto file = dir.path() / "s.json";
    SettingsStore none(dir.path() / "absent.json");
    EXPECT_EQ(none.lastError(), "");
    EXPECT_EQ(tabSize(none), 4);
    dir.write("s.json", R"({"ostrel.editor.tab": {"TabSize": 2}})");
    SettingsStore store(file, 10000ms);  // polling out of the way: reload() drives it
    EXPECT_EQ(store.lastError(), "");
    EXPECT_EQ(tabSize(store), 2);
    EXPECT_EQ(store.root()->getSettingsByFullName("ostrel.editor.tab")->get<int>("IndentSize", ""), 4);

    const auto accepted = core::subtreeValues(*store.root());
    dir.write("s.json", R"({"ostrel.editor.tab": {"TabSize": 3}, "ostrel.ai": {"TimeoutMs": 1e400}})");
    EXPECT_FALSE(store.reload());
    dir.write("s.json", R"({"ostrel.editor.tab": {"TabSize": 3, "InsertSpaces": "no"}})");
    EXPECT_FALSE(store.reload());
    EXPECT_THAT(store.lastError(),
                AllOf(HasSubstr(file.string()), HasSubstr("ostrel.editor.tab.InsertSpaces")));
    EXPECT_TRUE(core::subtreeValues(*store.root()) == accepted);

    dir.write("s.json", R"({"ostrel.editor.tab": {"TabSize": 3}})");
    EXPECT_TRUE(store.reload());
    EXPECT_EQ(store.lastError(), "");
    EXPECT_EQ(tabSize(store), 3);
    std::filesystem::remove(file);
    EXPECT_TRUE(store.reload());
    EXPECT_EQ(tabSize(store), 4);
}

TEST(SettingsStore, EditsOnDiskArePublishedOnTheStoresThreadPerChangedNode) {
    testing_support::TempFolder dir;
    const std::filesystem::path file = dir.write("s.json", "{}");
    SettingsStore store(file, 20ms);

    std::mutex mutex;
    std::condition_variable arrived;
    std::vector<SettingsValueChangeEvent> events;
    std::thread::id listenerThread;
    auto connection = core::addSettingsValueChangeListener(
        store.root()->getSettingsByFullName("ostrel.editor.tab"), [&](const SettingsValueChangeEvent& e) {
            std::lock_guard lock(mutex);
            events.push_back(e);
            listenerThread = std::this_thread::get_id();
            arrived.notify_all();
        });
    int otherNodeEvents = 0;
    auto other =
        core::addSettingsValueChangeListener(store.root()->getSettingsByFullName("ostrel.ai"),
                                             [&](const SettingsValueChangeEvent&) { ++otherNodeEvents; });

    EXPECT_FALSE(
        core::addSettingsValueChangeListener(nullptr, [](const SettingsValueChangeEvent&) {}).connected());

    dir.write("s.json", R"({"ostrel.editor.tab": {"TabSize": 8, "IndentSize": 2}})");
    std::unique_lock lock(mutex);
    ASSERT_TRUE(arrived.wait_for(lock, 2s, [&] { return !events.empty(); }));
    EXPECT_EQ(events[0].nodeName, "ostrel.editor.tab");
    EXPECT_EQ(events[0].changedLeaves, (std::vector<std::string>{"IndentSize", "TabSize"}));
    EXPECT_NE(listenerThread, std::this_thread::get_id());
    EXPECT_EQ(tabSize(store), 8);
    lock.unlock();
    std::this_thread::sleep_for(100ms);  // a few more polls of the unchanged file publish nothing
    lock.lock();
    EXPECT_EQ(events.size(), 1u);
    EXPECT_EQ(otherNodeEvents, 0);
    connection.disconnect();
    other.disconnect();
}

}  // namespace
