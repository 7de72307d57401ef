#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <regex>
#include <set>
#include <string>
#include <string_view>

#include "fl/i18n.hpp"
#include "quorvanta/function_registry.hpp"
#include "quorvanta/name_set.hpp"
#include "quorvanta/name_syntax.hpp"
#include "quorvanta/shipped_functions.hpp"

namespace {

using Quorvanta::FunctionOrigin;
using Quorvanta::functionRegistry;

// Checks one shipped list, each name of which must look up as `origin` (so a name in both lists fails one
// of them), and returns its names.
std::set<std::string_view> checkedNames(std::string_view list, FunctionOrigin origin,
                                        std::string_view label) {
    EXPECT_TRUE(list.empty() || list.back() == '\n') << label << " must end with a line feed";
    EXPECT_EQ(list.find('\r'), std::string_view::npos) << label << " must use LF line ends";
    EXPECT_EQ(list.find(' '), std::string_view::npos) << label << " holds blanks";
    std::set<std::string_view> names;
    for (const auto name : Quorvanta::splitNameList(list)) {
        EXPECT_TRUE(Quorvanta::isFunctionName(name)) << label << ": not a name: '" << name << "'";
        EXPECT_TRUE(names.insert(name).second) << label << ": listed twice: " << name;
        EXPECT_EQ(functionRegistry::lookup(fl::i18n::to_ustring(name)), origin) << label << ": " << name;
    }
    return names;
}

TEST(ShippedFunctionLists, HoldDistinctValidNamesInNoOverlapThatLookUpAsTheirOrigin) {
    functionRegistry::setSearchPath({});
    const auto builtIns =
        checkedNames(Quorvanta::builtInFunctionList(), FunctionOrigin::BuiltIn, "built-in list");
    const auto library =
        checkedNames(Quorvanta::libraryFunctionList(), FunctionOrigin::Library, "library list");
    EXPECT_GE(builtIns.size(), 400u);
    EXPECT_GE(library.size(), 80u);
    EXPECT_EQ(Quorvanta::builtInFunctions().size(), builtIns.size());
    EXPECT_EQ(Quorvanta::libraryFunctions().size(), library.size());
}

// The library's Ostrel sources double as a corpus, so each must define a listed library function.
TEST(ShippedFunctionLists, LibrarySourcesDefineListedLibraryFunctions) {
    const auto folder = std::filesystem::path(OSTREL_SOURCE_DIR) / "host" / "quorvanta" / "library";
    int sources = 0;
    for (const auto& entry : std::filesystem::directory_iterator(folder)) {
        if (entry.path().extension() != ".ost") continue;
        ++sources;
        const std::string name = entry.path().stem().string();
        EXPECT_TRUE(Quorvanta::libraryFunctions().contains(fl::i18n::to_ustring(name)))
            << name << " is not listed";

        std::ifstream file(entry.path());
        std::string header;
        std::getline(file, header);
        const std::regex definition("^function (\\w+ = |\\[[\\w, ]+\\] = )?" + name + "\\(");
        EXPECT_TRUE(std::regex_search(header, definition))
            << name << ": first line does not define it: " << header;
    }
    EXPECT_GE(sources, 5);
}

TEST(NameLists, SplitToleratesBlanksCarriageReturnsAndEmptyLinesAndParsingKeepsAsciiIdentifiers) {
    using Names = std::vector<std::string_view>;
    EXPECT_EQ(Quorvanta::splitNameList("  sin\r\n\n\tcos \n\r\nlast"), (Names{"sin", "cos", "last"}));
    EXPECT_TRUE(Quorvanta::splitNameList("").empty());
    EXPECT_TRUE(Quorvanta::splitNameList("\n \n").empty());
    const auto names = Quorvanta::parseNameList("ok\nnot ok\n9lives\nfine_2\n\xC3\xA9t\xC3\xA9\n");
    EXPECT_EQ(names.size(), 2u);
    EXPECT_TRUE(names.contains(u"ok"));
    EXPECT_TRUE(names.contains(u"fine_2"));
    // Names are ASCII identifiers only.
    for (const auto name : {u"a", u"Z9_x"})
        EXPECT_TRUE(Quorvanta::isFunctionName(std::u16string_view{name}));
    // U+0161 truncated to 8 bits would read as 'a'; the check must not narrow.
    for (const auto name : {u"_a", u"a-b", u"\u0161", u"x\u0130"})
        EXPECT_FALSE(Quorvanta::isFunctionName(std::u16string_view{name})) << fl::i18n::to_string(name);
    for (const auto name : {"\xE1", "a\xC3\xA9"})
        EXPECT_FALSE(Quorvanta::isFunctionName(std::string_view{name})) << name;
}

}  // namespace
