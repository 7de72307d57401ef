#include "mtcc/indentation/indentation_format.hpp"

#include <gtest/gtest.h>

#include "settings/context/context_registry.hpp"
#include "support/log_capture.hpp"

using mtcc::cache::SettingsValues;
using mtcc::Indentation::indentationFormat;

namespace {

constexpr const char* kChannel = "mtcc::Indentation::indentationFormat";

// A record with the library's defaults, whatever settings root another test may have left.
std::unique_ptr<SettingsValues> defaults() {
    settings::context::installSettingsRoot(nullptr);
    return std::make_unique<SettingsValues>();
}

const fl::ustring kPrefix = u"function r = f(x)\n    if x > 0\n";
const fl::ustring kSuffix = u"\n    end\nend\n";

TEST(IndentationFormat, OverlappingPrefixAndSuffix) {
    auto settings = defaults();
    // The formatter fills the blank line that the prefix's tail and the suffix's head share, so the two
    // overlap inside the result; the length wraps and the rest after the prefix comes back. (The blank
    // line follows a code line: blank lines before a text's first code line keep their blanks.)
    EXPECT_EQ(indentationFormat(u"x\n  y\n  ", u"", u"  \n  z;", settings.get()), u"\n  z;");
}

TEST(IndentationFormat, ClampsOutOfRangeNumbersWithOneRecordEach) {
    auto settings = defaults();
    testing_support::LogCapture capture;
    settings->setUserPreferenceSettings(20000000, 20000000, 0, 0, true, u"AllFunctionIndent", u"Indent");
    // Start line 10000000 lies past the text: nothing is re-indented, and the prefix is kept.
    EXPECT_EQ(indentationFormat(kPrefix, u"r = 1;", kSuffix, settings.get()), u"r = 1;");
    EXPECT_EQ(capture.texts(kChannel),
              (std::vector<std::string>{"MTCC Invalid startLine Value", "MTCC Invalid endLine Value",
                                        "MTCC Invalid tabSize Value", "MTCC Invalid indentSize Value"}));
    for (const auto& record : capture.records())
        if (record.channel == kChannel) {
            EXPECT_EQ(record.severity, 4u);
        }
    EXPECT_EQ(settings->startLine, 20000000u);  // the record itself is not corrected

    // The body of an `if` indented by `level` in a function, with these sizes.
    const auto body = [&](std::uint16_t tabSize, std::uint16_t indentSize, bool spaces,
                          const fl::ustring& level) {
        settings->setUserPreferenceSettings(0, 10000000, tabSize, indentSize, spaces, u"AllFunctionIndent",
                                            u"Indent");
        return indentationFormat(u"function r = f(x)\n" + level + u"if x > 0\n", u"r = 1;",
                                 u"\n" + level + u"end\nend\n", settings.get());
    };
    // Indent size 0 is formatted as 1 column per level; above 1024 it is 1024.
    EXPECT_EQ(body(4, 0, true, u" "), u"  r = 1;");
    const fl::ustring wide(1024, u' ');
    EXPECT_EQ(body(4, 5000, true, wide), wide + wide + u"r = 1;");
    // Tab size 5000 becomes 1024: indenting 8 columns with tabs then needs no tab at all.
    EXPECT_EQ(body(5000, 4, false, u"    "), u"        r = 1;");
    EXPECT_EQ(body(0, 4, false, u"\t\t\t\t"), u"\t\t\t\t\t\t\t\tr = 1;");
    EXPECT_EQ(capture.texts(kChannel).size(), 8u);
}

TEST(IndentationFormat, MapsTheTwoTextsExactlyWithTheirFallbacks) {
    auto settings = defaults();
    testing_support::LogCapture capture;
    const fl::ustring prefix = u"x = 1;\nfunction r = f(x)\n";
    const fl::ustring suffix = u"\nend\n";
    const auto withStyle = [&](const fl::ustring& style) {
        settings->setUserPreferenceSettings(0, 10000000, 4, 4, true, style, u"Indent");
        return indentationFormat(prefix, u"r = 1;", suffix, settings.get());
    };
    EXPECT_EQ(withStyle(u"AllFunctionIndent"), u"    r = 1;");
    EXPECT_TRUE(capture.texts(kChannel).empty());
    EXPECT_EQ(withStyle(u"allFunctionIndent"), u"r = 1;");  // the classic style, logged
    EXPECT_EQ(capture.texts(kChannel), std::vector<std::string>{"Function indentation setting is invalid."});

    const auto withBlanks = [&](const fl::ustring& blanks) {
        settings->setUserPreferenceSettings(0, 10000000, 4, 4, true, u"AllFunctionIndent", blanks);
        return indentationFormat(u"function r = f(x)\n    r = 0;\n", u"  \nr = 1;", u"\nend\n",
                                 settings.get());
    };
    EXPECT_EQ(withBlanks(u"RemoveWhitespace"), u"\n    r = 1;");
    EXPECT_EQ(withBlanks(u"Ignore"), u"  \n    r = 1;");
    EXPECT_EQ(capture.texts(kChannel).size(), 1u);
    EXPECT_EQ(withBlanks(u""), u"  \n    r = 1;");  // "Ignore", logged
    EXPECT_EQ(capture.texts(kChannel).back(),
              "Blank line setting must be 'Ignore', 'Indent', or 'RemoveWhitespace'");
}

}  // namespace
