#include "quorvanta/function_registry.hpp"

#include <gtest/gtest.h>

#include <atomic>
#include <filesystem>
#include <thread>
#include <vector>

#include "fl/i18n.hpp"
#include "mtcc/autocompletion/auto_completion.hpp"
#include "support/temp_folder.hpp"

using testing_support::TempFolder;

namespace {

const char* const kFunctionFile = "function y = f(x)\n    y = x;\nend\n";

using Quorvanta::FunctionOrigin;
using Quorvanta::functionRegistry;

const std::filesystem::path kUserLib = std::filesystem::path(OSTREL_SOURCE_DIR) / "examples" / "userlib";

// The registry is process-wide, so every test starts and ends with an empty search path.
class FunctionRegistryTest : public ::testing::Test {
  protected:
    void SetUp() override { functionRegistry::setSearchPath({}); }
    void TearDown() override { functionRegistry::setSearchPath({}); }
};

TEST_F(FunctionRegistryTest, KnowsShippedAndUserFunctionsByTheirExactNames) {
    functionRegistry::setSearchPath({kUserLib});
    using enum FunctionOrigin;
    const std::pair<FunctionOrigin, std::vector<std::u16string_view>> cases[] = {
        // Built-ins from every area; both spellings of NaN are built in.
        {BuiltIn,
         {u"plus", u"sin", u"inv", u"reshape", u"union", u"strrep", u"regexprep", u"fopen", u"plot", u"error",
          u"datetime", u"cellfun", u"isnumeric", u"bitand", u"xor", u"NaN", u"nan"}},
        {Library, {u"movmean", u"zscore", u"rescale", u"filtfilt", u"fzero", u"readtable"}},
        {User, {u"clamp", u"normalize_rows", u"safe_divide"}},
        // Names are case-sensitive, and text that is no name is no function.
        {Unknown,
         {u"SIN", u"Sin", u"MovMean", u"Clamp", u"no_such_function", std::u16string_view(), u"1sin", u"_sin",
          u"sin ", u" sin", u"sin.ost", u"pkg.clamp", u"clamp\n", u"s\u00ecn",
          std::u16string_view(u"sin\0x", 5), u"\xD800"}}};
    for (const auto& [origin, names] : cases) {
        for (const auto name : names) {
            EXPECT_EQ(functionRegistry::lookup(name), origin) << fl::i18n::to_string(name);
            EXPECT_EQ(functionRegistry::isBuiltIn(name), origin == BuiltIn) << fl::i18n::to_string(name);
            EXPECT_EQ(functionRegistry::isLibrary(name), origin == Library) << fl::i18n::to_string(name);
        }
    }
}

// A new path replaces the old one, cached answers included; missing folders and files on it are skipped.
TEST_F(FunctionRegistryTest, SearchesEveryFolderOfTheLatestPath) {
    EXPECT_EQ(functionRegistry::lookup(u"clamp"), FunctionOrigin::Unknown);
    functionRegistry::setSearchPath({kUserLib});
    EXPECT_EQ(functionRegistry::lookup(u"clamp"), FunctionOrigin::User);

    TempFolder first;
    TempFolder second;
    first.write("only_first.ost", kFunctionFile);
    second.write("only_second.ost", kFunctionFile);
    functionRegistry::setSearchPath(
        {first.path() / "missing", first.path(), kUserLib / "clamp.ost", second.path()});
    EXPECT_EQ(functionRegistry::lookup(u"only_first"), FunctionOrigin::User);
    EXPECT_EQ(functionRegistry::lookup(u"only_second"), FunctionOrigin::User);
    EXPECT_EQ(functionRegistry::lookup(u"clamp"), FunctionOrigin::Unknown);
}

// Only regular files (or links to them) named like functions count, and none shadows a shipped function.
TEST_F(FunctionRegistryTest, OnlyRegularFilesNamedLikeFunctionsCount) {
    TempFolder folder;
    for (const char* name : {"good_name.ost", "bad-name.ost", "2fast.ost", "shout.OST", "notes.txt",
                             "twice.ost.bak", ".ost", "sin.ost", "movmean.ost"})
        folder.write(name, kFunctionFile);
    std::filesystem::create_directory(folder.path() / "folder_fn.ost");
    std::filesystem::create_symlink(folder.path() / "good_name.ost", folder.path() / "linked.ost");
    std::filesystem::create_symlink(folder.path() / "absent.ost", folder.path() / "dangling.ost");
    functionRegistry::setSearchPath({folder.path()});

    EXPECT_EQ(functionRegistry::lookup(u"good_name"), FunctionOrigin::User);
    EXPECT_EQ(functionRegistry::lookup(u"linked"), FunctionOrigin::User);
    EXPECT_EQ(functionRegistry::lookup(u"sin"), FunctionOrigin::BuiltIn);
    EXPECT_EQ(functionRegistry::lookup(u"movmean"), FunctionOrigin::Library);
    for (const auto* name : {u"shout", u"notes", u"twice", u"folder_fn", u"dangling", u"absent"})
        EXPECT_EQ(functionRegistry::lookup(name), FunctionOrigin::Unknown) << fl::i18n::to_string(name);
}

TEST_F(FunctionRegistryTest, NewAndRemovedFilesAndFoldersAreSeenAfterClearingAllCaches) {
    TempFolder folder;
    folder.write("existing.ost", kFunctionFile);
    const auto later = folder.path() / "later";
    functionRegistry::setSearchPath({folder.path(), later});
    const auto origins = [] {
        return std::vector{functionRegistry::lookup(u"existing"), functionRegistry::lookup(u"fresh"),
                           functionRegistry::lookup(u"late_fn")};
    };
    const std::vector before{FunctionOrigin::User, FunctionOrigin::Unknown, FunctionOrigin::Unknown};
    EXPECT_EQ(origins(), before);

    folder.write("fresh.ost", kFunctionFile);
    folder.remove("existing.ost");
    std::filesystem::create_directory(later);
    folder.write("later/late_fn.ost", kFunctionFile);
    EXPECT_EQ(origins(), before);
    // Dropping only the answers re-asks the cached listings, which still hold the old folders.
    functionRegistry::clearCaches(false);
    EXPECT_EQ(origins(), before);
    // The library's entry point drops the listings too.
    EXPECT_TRUE(mtcc::AutoCompletion::ClearFunctionRegistryCache());
    EXPECT_EQ(origins(), (std::vector{FunctionOrigin::Unknown, FunctionOrigin::User, FunctionOrigin::User}));
}

// Every answer must be the right one, whichever cache state and path it met: both folders hold the same
// user functions, and a name only one of them holds is a user function or unknown, never anything else.
// Afterwards the last path alone counts.
TEST_F(FunctionRegistryTest, LookupsStayConsistentWhileCachesAreClearedAndThePathChanges) {
    TempFolder first;
    TempFolder second;
    first.write("from_first.ost", kFunctionFile);
    second.write("from_second.ost", kFunctionFile);
    std::vector<std::pair<std::u16string, FunctionOrigin>> expected = {
        {u"sin", FunctionOrigin::BuiltIn},       {u"regexprep", FunctionOrigin::BuiltIn},
        {u"movmean", FunctionOrigin::Library},   {u"zscore", FunctionOrigin::Library},
        {u"not_there", FunctionOrigin::Unknown}, {u"User_fn_1", FunctionOrigin::Unknown}};
    for (int k = 0; k < 20; ++k) {
        const std::string name = "user_fn_" + std::to_string(k);
        first.write(name + ".ost", kFunctionFile);
        second.write(name + ".ost", kFunctionFile);
        expected.emplace_back(std::u16string(name.begin(), name.end()), FunctionOrigin::User);
    }
    functionRegistry::setSearchPath({first.path()});

    std::atomic<long> wrong{0}, lookups{0};
    std::atomic<bool> stop{false};
    std::vector<std::thread> readers;
    for (std::size_t t = 0; t < 4; ++t) {
        readers.emplace_back([&, t] {
            for (std::size_t i = t; !stop.load(std::memory_order_relaxed); ++i) {
                const auto& [name, origin] = expected[i % expected.size()];
                const auto shifting = functionRegistry::lookup(i % 2 ? u"from_first" : u"from_second");
                if (functionRegistry::lookup(name) != origin || shifting == FunctionOrigin::BuiltIn ||
                    shifting == FunctionOrigin::Library)
                    ++wrong;
                ++lookups;
            }
        });
    }
    for (int round = 0; round < 2000; ++round) {
        functionRegistry::clearCaches(round % 2 == 0);
        if (round % 4 == 1) functionRegistry::setSearchPath({round % 8 == 1 ? second.path() : first.path()});
    }
    while (lookups.load() < 20000)  // a last stretch on warm caches too
        std::this_thread::yield();
    stop = true;
    for (auto& reader : readers)
        reader.join();
    EXPECT_EQ(wrong.load(), 0) << "of " << lookups.load() << " look-ups";

    functionRegistry::setSearchPath({second.path()});
    EXPECT_EQ(functionRegistry::lookup(u"from_first"), FunctionOrigin::Unknown);
    EXPECT_EQ(functionRegistry::lookup(u"from_second"), FunctionOrigin::User);
}

}  // namespace
