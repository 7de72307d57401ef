#include "mtcc/prompt/prompt_data.hpp"

#include <gtest/gtest.h>

using namespace mtcc::Prompt;
using mtcc::Tokens::TokenCategories;

TEST(PromptContent, CodeIsEscapedAndNamesAreNot) {
    TokenCategories categories;
    categories.userVariables = {u"total"};
    categories.userFunctions = {u"helper"};
    categories.OSTRELFunctions = {u"say\"x"};
    const auto data = makePromptData(u"id", u"v", u"a\r\n\t\"q\"\\\v\b\f", u"\u00E9\u0001/", categories);
    EXPECT_EQ(data.userFunctions, u"helper");
    EXPECT_EQ(data.userVariables, u"total");
    EXPECT_EQ(buildUserContent(data),
              uR"({"ostrel_code":"a\r\n\t\"q\"\\\v\b\f", "suffix":")"
              u"\u00E9\u0001/"
              uR"(", "user_functions":"helper", "user_variables":"total", "ostrel_functions":"say"x"})");
    // Surrogates pass through escaping.
    const fl::ustring lone{0xD800, u'\n', 0xDC00};
    EXPECT_EQ(escapeForJson(lone), (fl::ustring{0xD800, u'\\', u'n', 0xDC00}));
}

TEST(NameJoining, SeparatesInIterationOrderAndSkipsALeadingEmptyName) {
    const std::unordered_set<fl::ustring> two{u"a", u"b"};
    const fl::ustring expected = *two.begin() + u", " + *std::next(two.begin());
    EXPECT_EQ(joinNames(two), expected);
    EXPECT_EQ(joinNames({u""}), u"");
    EXPECT_EQ(joinNames({}), u"");
    // An empty name writes nothing only while the result is empty.
    const std::unordered_set<fl::ustring> names{u"", u"x"};
    const fl::ustring joined = joinNames(names);
    // Empty first: "x"; empty after "x": "x, ".
    EXPECT_EQ(joined, *names.begin() == u"" ? u"x" : u"x, ");
}
