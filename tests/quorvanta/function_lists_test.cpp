#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <regex>
#include <set>
#include <string>
#include <string_view>

#include "quorvanta/function_registry.hpp"
#include "quorvanta/name_set.hpp"
#include "quorvanta/name_syntax.hpp"
#include "quorvanta/shipped_functions.hpp"

namespace {

using Quorvanta::FunctionOrigin;
using Quorvanta::functionRegistry;

std::u16string widen(std::string_view ascii) {
    return {ascii.begin(), ascii.end()};
}

// Checks one shipped list and returns its names.
std::set<std::string_view> checkedNames(std::string_view list, std::string_view label) {
    std::set<std::string_view> names;
    for (const auto name : Quorvanta::splitNameList(list)) {
        EXPECT_TRUE(Quorvanta::isFunctionName(name)) << label << ": not a name: '" << name << "'";
        EXPECT_TRUE(names.insert(name).second) << label << ": listed twice: " << name;
    }
    EXPECT_TRUE(list.empty() || list.back() == '\n') << label << " must end with a line feed";
    EXPECT_EQ(list.find('\r'), std::string_view::npos) << label << " must use LF line ends";
    EXPECT_EQ(list.find(' '), std::string_view::npos) << label << " holds blanks";
    return names;
}

TEST(ShippedFunctionLists, HoldDistinctValidNamesInNoOverlap) {
    const auto builtIns = checkedNames(Quorvanta::builtInFunctionList(), "built-in list");
    const auto library = checkedNames(Quorvanta::libraryFunctionList(), "library list");
    EXPECT_GE(builtIns.size(), 400u);
    EXPECT_GE(library.size(), 80u);
    for (const auto name : library)
        EXPECT_EQ(builtIns.count(name), 0u) << "in both lists: " << name;

    EXPECT_EQ(Quorvanta::builtInFunctions().size(), builtIns.size());
    EXPECT_EQ(Quorvanta::libraryFunctions().size(), library.size());
}

TEST(ShippedFunctionLists, EveryListedNameLooksUpAsItsOrigin) {
    functionRegistry::setSearchPath({});
    for (const auto name : Quorvanta::splitNameList(Quorvanta::builtInFunctionList())) {
        EXPECT_EQ(functionRegistry::lookup(widen(name)), FunctionOrigin::BuiltIn) << name;
    }
    for (const auto name : Quorvanta::splitNameList(Quorvanta::libraryFunctionList())) {
        EXPECT_EQ(functionRegistry::lookup(widen(name)), FunctionOrigin::Library) << name;
    }
}

// The library's Ostrel sources double as a corpus, so each must define a listed library function.
TEST(ShippedFunctionLists, LibrarySourcesDefineListedLibraryFunctions) {
    const auto folder = std::filesystem::path(OSTREL_SOURCE_DIR) / "host" / "quorvanta" / "library";
    int sources = 0;
    for (const auto& entry : std::filesystem::directory_iterator(folder)) {
        if (entry.path().extension() != ".ost") continue;
        ++sources;
        const std::string name = entry.path().stem().string();
        EXPECT_TRUE(Quorvanta::libraryFunctions().contains(widen(name))) << name << " is not listed";

        std::ifstream file(entry.path());
        const std::string text{std::istreambuf_iterator<char>(file), {}};
        const auto header = text.substr(0, text.find('\n'));
        const std::regex definition("^function (\\w+ = |\\[[\\w, ]+\\] = )?" + name + "\\(");
        EXPECT_TRUE(std::regex_search(header, definition))
            << name << ": first line does not define it: " << header;
    }
    EXPECT_GE(sources, 5);
}

TEST(NameLists, SplitToleratesBlanksCarriageReturnsAndEmptyLines) {
    const auto entries = Quorvanta::splitNameList("  sin\r\n\n\tcos \n\r\nlast");
    ASSERT_EQ(entries.size(), 3u);
    EXPECT_EQ(entries[0], "sin");
    EXPECT_EQ(entries[1], "cos");
    EXPECT_EQ(entries[2], "last");
    EXPECT_TRUE(Quorvanta::splitNameList("").empty());
    EXPECT_TRUE(Quorvanta::splitNameList("\n \n").empty());
}

TEST(NameLists, ParsingKeepsOnlyValidNames) {
    const auto names = Quorvanta::parseNameList("ok\nnot ok\n9lives\nfine_2\n\xC3\xA9t\xC3\xA9\n");
    EXPECT_EQ(names.size(), 2u);
    EXPECT_TRUE(names.contains(u"ok"));
    EXPECT_TRUE(names.contains(u"fine_2"));
    EXPECT_FALSE(names.contains(u"9lives"));
}

TEST(NameSyntax, AcceptsAsciiIdentifiersOnly) {
    EXPECT_TRUE(Quorvanta::isFunctionName(std::u16string_view{u"a"}));
    EXPECT_TRUE(Quorvanta::isFunctionName(std::u16string_view{u"Z9_x"}));
    EXPECT_FALSE(Quorvanta::isFunctionName(std::u16string_view{u"_a"}));
    EXPECT_FALSE(Quorvanta::isFunctionName(std::u16string_view{u"a-b"}));
    // U+0161 truncated to 8 bits would read as 'a'; the check must not narrow.
    EXPECT_FALSE(Quorvanta::isFunctionName(std::u16string_view{u"\u0161"}));
    EXPECT_FALSE(Quorvanta::isFunctionName(std::u16string_view{u"x\u0130"}));
    EXPECT_FALSE(Quorvanta::isFunctionName(std::string_view{"\xE1"}));
    EXPECT_FALSE(Quorvanta::isFunctionName(std::string_view{"a\xC3\xA9"}));
}

}  // namespace
