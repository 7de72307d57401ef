// Completions take their settings record on worker threads while the client's settings change on the
// protocol thread: every record must hold one whole set, and keep it while its completion runs.
#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <nlohmann/json.hpp>
#include <string>
#include <thread>
#include <vector>

#include "fl/i18n.hpp"
#include "library_completion.hpp"
#include "mtcc/cache/settings_values.hpp"
#include "settings/context/context_registry.hpp"
#include "settings/core/settings_store.hpp"
#include "settings_layers.hpp"
#include "support/temp_folder.hpp"

namespace ostrel_lsp {
namespace {

struct SettingsSet {
    int size;
    bool spaces;
    const char* functionStyle;
    bool padBlankLines;

    nlohmann::json json() const {
        return {{"ostrel.editor.tab", {{"TabSize", size}, {"IndentSize", size}, {"InsertSpaces", spaces}}},
                {"ostrel.editor.language.ostrel", {{"FunctionIndentingFormat", functionStyle}}},
                {"ostrel.editor.indent", {{"PadEmptyLines", padBlankLines}}}};
    }
    // Every value of the record differs between the two sets, so a mix of them matches neither.
    bool heldBy(const mtcc::cache::SettingsValues& record) const {
        return record.tabSize == size && record.indentSize == size && record.insertSpaces == spaces &&
               fl::i18n::to_string(record.functionIndentingFormat) == functionStyle &&
               record.blankLineSetting == (padBlankLines ? u"Indent" : u"RemoveWhitespace");
    }
};

constexpr SettingsSet kSets[] = {{2, true, "AllFunctionIndent", true},
                                 {8, false, "ClassicFunctionIndent", false}};

// Which set the record holds (0 or 1), or -1 for a mix; read under the record's lock, as its change
// listeners write under it.
int setOf(mtcc::cache::SettingsValues& record) {
    const std::lock_guard lock(record.mutex);
    for (int i = 0; i < 2; ++i)
        if (kSets[i].heldBy(record)) return i;
    return -1;
}

struct InstalledRoot {
    explicit InstalledRoot(const SettingsLayers& layers) {
        settings::context::installSettingsRoot(layers.root());
    }
    ~InstalledRoot() { settings::context::installSettingsRoot(nullptr); }
    InstalledRoot(const InstalledRoot&) = delete;
    InstalledRoot& operator=(const InstalledRoot&) = delete;
};

TEST(SettingsRace, EachCompletionSeesOneWholeSetWhileSettingsChange) {
    SettingsLayers layers(nullptr);
    const InstalledRoot installed(layers);
    ASSERT_TRUE(layers.applyClient(kSets[0].json()).problems.empty());

    std::atomic<bool> done{false};
    std::atomic<int> mixed{0}, changedDuringUse{0}, records{0};
    std::vector<std::thread> workers;
    for (int w = 0; w < 3; ++w) {
        workers.emplace_back([&] {
            while (!done) {
                const auto record = consistentSettingsRecord(layers);
                const int first = setOf(*record);
                std::this_thread::yield();  // the model call: settings change meanwhile
                const int later = setOf(*record);
                if (first < 0 || later < 0) ++mixed;
                if (first != later) ++changedDuringUse;
                ++records;
            }
        });
    }
    // The protocol thread: a stream of changes between the two sets, for long enough that the workers
    // take many records in the middle of one (and never longer than a few seconds on a slow machine).
    const auto start = std::chrono::steady_clock::now();
    const auto elapsed = [&] { return std::chrono::steady_clock::now() - start; };
    int changes = 0;
    while ((elapsed() < std::chrono::milliseconds(300) || records < 200) &&
           elapsed() < std::chrono::seconds(5)) {
        ASSERT_TRUE(layers.applyClient(kSets[++changes % 2].json()).problems.empty());
    }
    done = true;
    for (auto& worker : workers)
        worker.join();

    EXPECT_EQ(mixed, 0) << "of " << records << " records over " << changes << " changes";
    EXPECT_EQ(changedDuringUse, 0) << "of " << records << " records over " << changes << " changes";
    EXPECT_GE(records, 100);  // else the run proves little
    EXPECT_GE(changes, 100);
}

// The user's file changes while the server reads its trusted options from the store and merges the file
// under the client's settings: the backend, endpoint and key variable read must be those of one file.
TEST(SettingsRace, TrustedOptionsAndMergesReadOneWholeUserFile) {
    const testing_support::TempFolder dir;
    const std::string files[] = {
        R"({"ostrel.ai": {"Backend": "openai", "Endpoint": "http://a", "ApiKeyVariable": "KEY_A"},
            "ostrel.editor.tab": {"TabSize": 2}})",
        R"({"ostrel.ai": {"Backend": "infill", "Endpoint": "http://b", "ApiKeyVariable": "KEY_B"},
            "ostrel.editor.tab": {"TabSize": 8}})"};
    settings::core::SettingsStore store(dir.write("s.json", files[0]), std::chrono::seconds(10));
    SettingsLayers layers(store.root());
    std::atomic<bool> done{false};
    std::thread writer([&] {
        for (int i = 1; i <= 300; ++i) {
            dir.write("s.json", files[i % 2]);
            store.reload();
        }
        done = true;
    });
    const auto whole = [](const qvai::ClientOptions& o, bool tabOfA) {
        const bool a = o.Backend == "openai";
        return a == (o.Endpoint == "http://a") && a == (o.ApiKeyVariable == "KEY_A") && a == tabOfA;
    };
    int reads = 0, mixed = 0;
    while (!done) {
        const qvai::ClientOptions trusted = consistentClientOptions(*store.root());
        layers.refresh();  // only this thread merges: the merged tree holds still while it is read
        const int mergedTab =
            layers.root()->getSettingsByFullName("ostrel.editor.tab")->get<int>("TabSize", "");
        mixed += !whole(trusted, trusted.Backend == "openai") +
                 !whole(consistentClientOptions(*layers.root()), mergedTab == 2);
        ++reads;
    }
    writer.join();
    EXPECT_EQ(mixed, 0) << "of " << reads << " reads";
}

}  // namespace
}  // namespace ostrel_lsp
