#include "scl/regex.hpp"

#include <gtest/gtest.h>

#include <chrono>
#include <stdexcept>

using scl::regex::match_results;
using scl::regex::regex_search;

namespace {
match_results search(const fl::ustring& text, const fl::ustring& pattern) {
    match_results results;
    regex_search(text, pattern, results, scl::regex::constants::none);
    return results;
}
}  // namespace

TEST(RegexSearch, ListsEveryNonOverlappingMatchWithItsGroups) {
    const auto results = search(u"a1 b22 c333", u"([a-z])(\\d+)");
    ASSERT_EQ(results.size(), 3u);
    EXPECT_EQ(results[1].first, u"b22");
    EXPECT_EQ(results[1].second, (std::vector<fl::ustring>{u"b", u"22"}));
    EXPECT_EQ(results[2].second[1], u"333");
    // A dot crosses line ends, a group that took no part is empty, and empty matches advance.
    const auto lines = search(u"<a\r\nb>", u"<(.*)>(x)?");
    ASSERT_EQ(lines.size(), 1u);
    EXPECT_EQ(lines[0].second, (std::vector<fl::ustring>{u"a\r\nb", u""}));
    EXPECT_EQ(search(u"abc", u"x*").size(), 4u);
    // Unpaired surrogates are code units like any other.
    const auto lone = search(fl::ustring{0xDC00, u'<', 0xD800, u'>', 0xD800}, u"<(.)>");
    ASSERT_EQ(lone.size(), 1u);
    EXPECT_EQ(lone[0].second[0], fl::ustring(1, char16_t(0xD800)));
}

TEST(RegexSearch, BadPatternsAndRunawaySearchesThrowClearErrors) {
    try {
        search(u"x", u"(unclosed");
        FAIL() << "no exception";
    } catch (const std::runtime_error& e) {
        EXPECT_NE(std::string(e.what()).find("does not compile"), std::string::npos);
    }
    // Catastrophic backtracking hits the limit quickly.
    const fl::ustring text = fl::ustring(40, u'a') + u"!";
    const auto start = std::chrono::steady_clock::now();
    EXPECT_THROW(search(text, u"^(a+)+$"), std::runtime_error);
    EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(5));
}
