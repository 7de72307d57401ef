#include "support/golden_case.hpp"

#include <gtest/gtest.h>

#include <filesystem>
#include <regex>
#include <set>
#include <string>
#include <tuple>

#include "fl/i18n.hpp"

using testing_support::GoldenCase;
using testing_support::GoldenCaseError;
using testing_support::GoldenLineEnds;
using testing_support::loadGoldenCases;
using testing_support::parseGoldenCase;

namespace {

std::string errorOf(const std::string& text) {
    try {
        parseGoldenCase(text, "inline.case");
    } catch (const GoldenCaseError& e) {
        return e.what();
    }
    return "";
}

const std::filesystem::path kCaseFolder =
    std::filesystem::path(OSTREL_SOURCE_DIR) / "tests" / "golden" / "cases";

}  // namespace

TEST(GoldenCaseParser, ReadsSectionsCursorSettingsAndDefaults) {
    const GoldenCase c = parseGoldenCase(
        "# Checks a simple case.\n# Second line.\n=== file\nx = <|>\ny = 2;\n<NL>\n=== reply\n"
        "```ostrel\n1;\n```\n=== expected\n1;\n=== end\n",
        "a.case");
    EXPECT_EQ(c.description, "Checks a simple case.\nSecond line.");
    EXPECT_EQ(c.file, u"x = \ny = 2;\n");
    EXPECT_EQ(c.cursor, 4u);
    EXPECT_EQ(c.reply, u"```ostrel\n1;\n```");
    EXPECT_EQ(c.expected, u"1;");
    EXPECT_EQ(c.lineEnds, GoldenLineEnds::lf);
    EXPECT_EQ(std::tie(c.startLine, c.endLine, c.tabSize, c.indentSize, c.insertSpaces),
              std::make_tuple(0u, 10000000u, 4, 4, true));
    EXPECT_EQ(c.functionIndentingFormat + u"/" + c.blankLineSetting, u"AllFunctionIndent/Indent");

    const GoldenCase empty =
        parseGoldenCase("# d\n=== file\n<|>\n\n<NL>\n=== reply\n=== expected\n<NL>\n=== end\n", "b");
    EXPECT_EQ(empty.file, u"\n\n");
    EXPECT_EQ(empty.cursor, 0u);
    EXPECT_EQ(empty.reply, u"");
    EXPECT_EQ(empty.expected, u"\n");

    const GoldenCase set = parseGoldenCase(
        "# d\n# settings: tab=8 indent=2 spaces=false function=MixedFunctionIndent "
        "blank=RemoveWhitespace start=3 end=20\n=== file\n<|>\n=== reply\n=== expected\n=== end\n",
        "c");
    EXPECT_EQ(std::tie(set.startLine, set.endLine, set.tabSize, set.indentSize, set.insertSpaces),
              std::make_tuple(3u, 20u, 8, 2, false));
    EXPECT_EQ(set.functionIndentingFormat + u"/" + set.blankLineSetting,
              u"MixedFunctionIndent/RemoveWhitespace");
    EXPECT_EQ(set.description, "d");
}

TEST(GoldenCaseParser, CrLfConversionAndCursorInCodeUnits) {
    const std::string text =
        "# d\n# line-ends: crlf\n=== file\n% \xC3\xA9\xF0\x9F\x98\x80\nx<|>\n=== reply\na\nb\n"
        "=== expected\nc\nd\n=== end\n";
    const GoldenCase both = parseGoldenCase(text, "d");
    EXPECT_EQ(both.file, u"% \u00e9\U0001F600\r\nx");
    // Two code units for the emoji, CR and LF both count.
    EXPECT_EQ(both.cursor, 8u);
    EXPECT_EQ(both.reply, u"a\r\nb");
    EXPECT_EQ(both.expected, u"c\r\nd");

    std::string inputOnly = text;
    inputOnly.replace(inputOnly.find("crlf"), 4, "crlf-input");
    const GoldenCase input = parseGoldenCase(inputOnly, "e");
    EXPECT_EQ(input.reply, u"a\r\nb");
    EXPECT_EQ(input.expected, u"c\nd");
    EXPECT_EQ(input.lineEnds, GoldenLineEnds::crlfInput);
}

TEST(GoldenCaseParser, MalformedCasesNameTheOriginAndLine) {
    const std::string body = "=== file\n<|>\n=== reply\n=== expected\n=== end\n";
    EXPECT_EQ(errorOf("# d\n" + body), "");
    const std::pair<std::string, std::string> cases[] = {
        {"# d\n=== file\nx\n=== reply\n=== expected\n=== end\n",
         "2: the file section has no cursor marker <|>"},
        {"# d\n=== file\n<|>\nx<|>\n=== reply\n=== expected\n=== end\n", "4: a second cursor marker <|>"},
        {"# d\n=== file\n<|>\n=== expected\n=== end\n",
         "4: found '=== expected' where '=== reply' was expected"},
        {"# d\n=== file\n<|>\n=== reply\n=== expected\n", "5: missing '=== end'"},
        {body, "1: the case needs a description: comment lines before '=== file'"},
        {"# d\nstray\n" + body, "2: text before '=== file' must be comment lines starting with #"},
        {"# d\n=== file\n<|>\n\n=== reply\n=== expected\n=== end\n",
         "4: a section must not end with an empty line; write <NL> for a final line end"},
        {"# d\n=== file\n<|>\n<NL>\nx\n=== reply\n=== expected\n=== end\n",
         "4: <NL> may only stand as the last line of a section"},
        {"# d\n=== file\n<|>\r\n=== reply\n=== expected\n=== end\n",
         "3: carriage return in a case file; write the text with LF and use '# line-ends: crlf'"},
        {"# d\n=== file\n<|>\n=== reply\n\xFF\n=== expected\n=== end\n", "5: text is not valid UTF-8"},
        {"# d\n" + body + "more\n", "7: text after '=== end'"},
        {"# d\n# settings: colour=red\n" + body,
         "2: unknown setting 'colour' (known: tab, indent, spaces, function, blank, start, end)"},
        {"# d\n# settings: tab=70000\n" + body,
         "2: setting 'tab' needs an unsigned number in range, got '70000'"},
        {"# d\n# settings: spaces=yes\n" + body, "2: setting 'spaces' must be true or false, got 'yes'"},
        {"# d\n# settings: tab\n" + body, "2: setting 'tab' is not written as key=value"},
        {"# d\n# line-ends: cr\n" + body, "2: line-ends must be lf, crlf or crlf-input, got 'cr'"},
        {"# d\n# settings: tab=2\n# settings: tab=3\n" + body, "3: a second settings line"},
    };
    for (const auto& [text, message] : cases)
        EXPECT_EQ(errorOf(text), "inline.case:" + message) << text;
}

TEST(GoldenCaseParser, MissingFolderIsAnError) {
    EXPECT_THROW(loadGoldenCases(kCaseFolder / "no-such-folder"), GoldenCaseError);
}

// Every shipped case must parse and be runnable: a numbered unique name, a cursor inside the file,
// settings the formatter knows (the cases test behaviour, not the settings fallbacks).
TEST(GoldenCases, EveryCaseIsWellFormed) {
    std::vector<GoldenCase> cases;
    ASSERT_NO_THROW(cases = loadGoldenCases(kCaseFolder));
    EXPECT_GE(cases.size(), 150u);
    const std::regex namePattern("[0-9]{3}-[a-z0-9]+(-[a-z0-9]+)*");
    const std::set<std::u16string> functionStyles = {u"ClassicFunctionIndent", u"MixedFunctionIndent",
                                                     u"AllFunctionIndent"};
    const std::set<std::u16string> blankStyles = {u"Indent", u"Ignore", u"RemoveWhitespace"};
    std::set<std::string> numbers;
    for (const GoldenCase& c : cases) {
        SCOPED_TRACE(c.name);
        EXPECT_TRUE(std::regex_match(c.name, namePattern));
        EXPECT_TRUE(numbers.insert(c.name.substr(0, 3)).second) << "number used twice";
        EXPECT_FALSE(c.description.empty());
        EXPECT_LE(c.cursor, c.file.size());
        EXPECT_EQ(c.file.find(u"<|>"), std::u16string::npos);
        EXPECT_TRUE(functionStyles.count(c.functionIndentingFormat));
        EXPECT_TRUE(blankStyles.count(c.blankLineSetting));
        EXPECT_GE(c.tabSize, 1);
        EXPECT_GE(c.indentSize, 1);
        if (c.lineEnds == GoldenLineEnds::lf) {
            EXPECT_EQ(c.file.find(u'\r'), std::u16string::npos);
        }
    }
}
