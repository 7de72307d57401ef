#include <gtest/gtest.h>

#include "fl/i18n.hpp"

using fl::i18n::to_string;
using fl::i18n::to_ustring;

TEST(TextConversion, RoundTripsEveryPlaneAndReplacesWhatIsMalformed) {
    const std::string utf8 = "a\xC3\xA9\xE2\x82\xAC\xF0\x9F\x98\x80z";  // a é € 😀 z
    const fl::ustring utf16 = to_ustring(utf8);
    EXPECT_EQ(utf16, (fl::ustring{u'a', 0x00E9, 0x20AC, 0xD83D, 0xDE00, u'z'}));
    EXPECT_EQ(to_string(utf16), utf8);
    // Unpaired surrogates become replacement characters.
    const std::string replacement = "\xEF\xBF\xBD";
    EXPECT_EQ(to_string(fl::ustring{u'a', 0xD800}), "a" + replacement);  // trailing high
    EXPECT_EQ(to_string(fl::ustring{0xDC00, u'b'}), replacement + "b");  // leading low
    EXPECT_EQ(to_string(fl::ustring{0xD800, u'x', 0xDFFF}), replacement + "x" + replacement);
    EXPECT_EQ(to_string(fl::ustring{0xDBFF, 0xDFFF}), "\xF4\x8F\xBF\xBF");  // last valid pair
    // Malformed UTF-8 becomes replacement characters too.
    const fl::ustring r{0xFFFD};
    EXPECT_EQ(to_ustring("\xC0\xAF"), r + r);          // overlong lead
    EXPECT_EQ(to_ustring("\xE0\x80\xAF"), r + r + r);  // overlong three-byte form
    EXPECT_EQ(to_ustring("\xED\xA0\x80"), r + r + r);  // encoded surrogate
    EXPECT_EQ(to_ustring("x\xE2\x82"), u"x" + r + r);  // cut short
    EXPECT_EQ(to_ustring(""), u"");
}

TEST(Trim, RemovesOnlyTheGivenCodeUnitsAtBothEnds) {
    fl::ustring text = u"\n\t x = 1;\n  y\r\n ";
    EXPECT_EQ(fl::i18n::trim(text, u"\t\n\v\f\r "), u"x = 1;\n  y");
    fl::ustring blanks = u" \r\n";
    EXPECT_EQ(fl::i18n::trim(blanks, u" \r\n"), u"");
    fl::ustring kept = u"\u00A0x\u00A0";
    EXPECT_EQ(fl::i18n::trim(kept, u" "), u"\u00A0x\u00A0");
}
