#include "quorvanta/function_registry.hpp"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>

#include "fl/i18n.hpp"
#include "temp_folder.hpp"

namespace {

using Quorvanta::FunctionOrigin;
using Quorvanta::functionRegistry;

const std::filesystem::path kUserLib = std::filesystem::path(OSTREL_SOURCE_DIR) / "examples" / "userlib";

// The registry is process-wide, so every test starts and ends with an empty search path.
class FunctionRegistryTest : public ::testing::Test {
  protected:
    void SetUp() override { functionRegistry::setSearchPath({}); }
    void TearDown() override { functionRegistry::setSearchPath({}); }
};

TEST_F(FunctionRegistryTest, KnowsBuiltInsFromEveryArea) {
    for (const auto* name : {u"plus", u"sin", u"inv", u"reshape", u"union", u"strrep", u"regexprep", u"fopen",
                             u"plot", u"error", u"datetime", u"cellfun", u"isnumeric", u"bitand", u"xor"}) {
        EXPECT_EQ(functionRegistry::lookup(name), FunctionOrigin::BuiltIn) << fl::i18n::to_string(name);
        EXPECT_TRUE(functionRegistry::isBuiltIn(name));
        EXPECT_FALSE(functionRegistry::isLibrary(name));
    }
}

TEST_F(FunctionRegistryTest, KnowsLibraryFunctions) {
    for (const auto* name : {u"movmean", u"zscore", u"rescale", u"filtfilt", u"fzero", u"readtable"}) {
        EXPECT_EQ(functionRegistry::lookup(name), FunctionOrigin::Library) << fl::i18n::to_string(name);
        EXPECT_TRUE(functionRegistry::isLibrary(name));
        EXPECT_FALSE(functionRegistry::isBuiltIn(name));
    }
}

TEST_F(FunctionRegistryTest, NamesAreCaseSensitive) {
    EXPECT_EQ(functionRegistry::lookup(u"SIN"), FunctionOrigin::Unknown);
    EXPECT_EQ(functionRegistry::lookup(u"Sin"), FunctionOrigin::Unknown);
    EXPECT_EQ(functionRegistry::lookup(u"MovMean"), FunctionOrigin::Unknown);
    // Both spellings exist in the library, so both are known.
    EXPECT_EQ(functionRegistry::lookup(u"NaN"), FunctionOrigin::BuiltIn);
    EXPECT_EQ(functionRegistry::lookup(u"nan"), FunctionOrigin::BuiltIn);
}

TEST_F(FunctionRegistryTest, TextThatIsNoNameIsUnknown) {
    functionRegistry::setSearchPath({kUserLib});
    for (const std::u16string_view text :
         {std::u16string_view{}, std::u16string_view{u"1sin"}, std::u16string_view{u"_sin"},
          std::u16string_view{u"sin "}, std::u16string_view{u" sin"}, std::u16string_view{u"sin.ost"},
          std::u16string_view{u"pkg.clamp"}, std::u16string_view{u"clamp\n"},
          std::u16string_view{u"s\u00ecn"}, std::u16string_view{u"sin\0x", 5},
          std::u16string_view{u"\xD800"}}) {
        EXPECT_EQ(functionRegistry::lookup(text), FunctionOrigin::Unknown) << fl::i18n::to_string(text);
    }
}

TEST_F(FunctionRegistryTest, FindsUserFunctionsOnTheSearchPath) {
    EXPECT_EQ(functionRegistry::lookup(u"clamp"), FunctionOrigin::Unknown);

    functionRegistry::setSearchPath({kUserLib});
    EXPECT_EQ(functionRegistry::lookup(u"clamp"), FunctionOrigin::User);
    EXPECT_EQ(functionRegistry::lookup(u"normalize_rows"), FunctionOrigin::User);
    EXPECT_EQ(functionRegistry::lookup(u"safe_divide"), FunctionOrigin::User);
    EXPECT_EQ(functionRegistry::lookup(u"Clamp"), FunctionOrigin::Unknown);
    EXPECT_EQ(functionRegistry::lookup(u"no_such_function"), FunctionOrigin::Unknown);
    EXPECT_FALSE(functionRegistry::isBuiltIn(u"clamp"));
    EXPECT_FALSE(functionRegistry::isLibrary(u"clamp"));

    // A new path replaces the old one, cached answers included.
    TempFolder other;
    functionRegistry::setSearchPath({other.path()});
    EXPECT_EQ(functionRegistry::lookup(u"clamp"), FunctionOrigin::Unknown);
}

TEST_F(FunctionRegistryTest, SearchesEveryFolderAndSkipsMissingOnes) {
    TempFolder first;
    TempFolder second;
    first.write("only_first.ost");
    second.write("only_second.ost");
    functionRegistry::setSearchPath(
        {first.path() / "missing", first.path(), kUserLib / "clamp.ost", second.path()});
    EXPECT_EQ(functionRegistry::lookup(u"only_first"), FunctionOrigin::User);
    EXPECT_EQ(functionRegistry::lookup(u"only_second"), FunctionOrigin::User);
    EXPECT_EQ(functionRegistry::lookup(u"clamp"), FunctionOrigin::Unknown);
}

TEST_F(FunctionRegistryTest, UserFilesShadowNoShippedFunction) {
    TempFolder folder;
    folder.write("sin.ost");
    folder.write("movmean.ost");
    functionRegistry::setSearchPath({folder.path()});
    EXPECT_EQ(functionRegistry::lookup(u"sin"), FunctionOrigin::BuiltIn);
    EXPECT_EQ(functionRegistry::lookup(u"movmean"), FunctionOrigin::Library);
}

TEST_F(FunctionRegistryTest, OnlyRegularFilesNamedLikeFunctionsCount) {
    TempFolder folder;
    folder.write("good_name.ost");
    folder.write("bad-name.ost");
    folder.write("2fast.ost");
    folder.write("shout.OST");
    folder.write("notes.txt");
    folder.write("twice.ost.bak");
    folder.write(".ost");
    std::filesystem::create_directory(folder.path() / "folder_fn.ost");
    std::filesystem::create_symlink(folder.path() / "good_name.ost", folder.path() / "linked.ost");
    std::filesystem::create_symlink(folder.path() / "absent.ost", folder.path() / "dangling.ost");
    functionRegistry::setSearchPath({folder.path()});

    EXPECT_EQ(functionRegistry::lookup(u"good_name"), FunctionOrigin::User);
    EXPECT_EQ(functionRegistry::lookup(u"linked"), FunctionOrigin::User);
    for (const auto* name : {u"shout", u"notes", u"twice", u"folder_fn", u"dangling", u"absent"}) {
        EXPECT_EQ(functionRegistry::lookup(name), FunctionOrigin::Unknown) << fl::i18n::to_string(name);
    }
}

TEST_F(FunctionRegistryTest, NewAndRemovedFilesAreSeenAfterClearingAllCaches) {
    TempFolder folder;
    folder.write("existing.ost");
    functionRegistry::setSearchPath({folder.path()});
    EXPECT_EQ(functionRegistry::lookup(u"fresh"), FunctionOrigin::Unknown);
    EXPECT_EQ(functionRegistry::lookup(u"existing"), FunctionOrigin::User);

    folder.write("fresh.ost");
    folder.remove("existing.ost");
    EXPECT_EQ(functionRegistry::lookup(u"fresh"), FunctionOrigin::Unknown);
    EXPECT_EQ(functionRegistry::lookup(u"existing"), FunctionOrigin::User);

    // Dropping only the answers re-asks the cached listing, which still holds the old folder.
    functionRegistry::clearCaches(false);
    EXPECT_EQ(functionRegistry::lookup(u"fresh"), FunctionOrigin::Unknown);
    EXPECT_EQ(functionRegistry::lookup(u"existing"), FunctionOrigin::User);

    functionRegistry::clearCaches(true);
    EXPECT_EQ(functionRegistry::lookup(u"fresh"), FunctionOrigin::User);
    EXPECT_EQ(functionRegistry::lookup(u"existing"), FunctionOrigin::Unknown);
}

TEST_F(FunctionRegistryTest, AFolderCreatedLaterIsSeenAfterClearingAllCaches) {
    TempFolder parent;
    const auto later = parent.path() / "later";
    functionRegistry::setSearchPath({later});
    EXPECT_EQ(functionRegistry::lookup(u"late_fn"), FunctionOrigin::Unknown);
    std::filesystem::create_directory(later);
    std::ofstream(later / "late_fn.ost") << "function late_fn\nend\n";
    functionRegistry::clearCaches(true);
    EXPECT_EQ(functionRegistry::lookup(u"late_fn"), FunctionOrigin::User);
}

}  // namespace
