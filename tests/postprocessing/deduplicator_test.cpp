#include "mtcc/postprocessing/deduplicator.hpp"

#include <gtest/gtest.h>

#include <random>

using mtcc::postprocessing::deduplicateGeneratedCode;

TEST(Deduplication, DropsLeadingLinesThatEndThePrefixAndTrailingLinesThatStartTheSuffix) {
    EXPECT_EQ(deduplicateGeneratedCode(u"b\nc", u"a\nb", u""), u"c");
    EXPECT_EQ(deduplicateGeneratedCode(u"a\nb", u"zz\na\nb\r\n\r\n", u""), u"");
    // A line feed at the start is never a boundary.
    EXPECT_EQ(deduplicateGeneratedCode(u"\nq\nr", u"\nq", u""), u"r");
    EXPECT_EQ(deduplicateGeneratedCode(u"abc", u"", u"abcdef"), u"");  // the tail need not be a whole line
    EXPECT_EQ(deduplicateGeneratedCode(u"y = 2;\nq", u"", u"end"), u"y = 2;\nq");
    // Every tail is shorter than the suffix and none matches: the search must not wrap round.
    EXPECT_EQ(deduplicateGeneratedCode(u"\nab\ncd", u"", u"zzzzzzzzzzzz"), u"\nab\ncd");
    EXPECT_EQ(deduplicateGeneratedCode(u"\n", u"", u"zzzz"), u"");
    EXPECT_EQ(deduplicateGeneratedCode(u"\nx", u"", u"\nx\ny"), u"");
}

TEST(Deduplication, FinalLineFeedGoesOnlyWhenTheSuffixHasCode) {
    EXPECT_EQ(deduplicateGeneratedCode(u"y = 2;\n", u"x", u"z"), u"y = 2;");
    EXPECT_EQ(deduplicateGeneratedCode(u"y = 2;\n", u"x", u""), u"y = 2;\n");
    // A suffix of line ends only is kept whole as the text to compare with, and the empty last
    // line still matches its start.
    EXPECT_EQ(deduplicateGeneratedCode(u"y = 2;\n", u"x", u"\r\n\n"), u"y = 2;");
}

TEST(Deduplication, ArbitraryTextsAlwaysFinishWithAPieceOfTheInput) {
    std::mt19937 rng(7);
    const char16_t alphabet[] = {u'a', u'b', u'\n', u'\r', u' '};
    const auto randomText = [&](int maxLength) {
        fl::ustring s(rng() % maxLength, u'a');
        for (auto& c : s)
            c = alphabet[rng() % 5];
        return s;
    };
    for (int i = 0; i < 20000; ++i) {
        const fl::ustring g = randomText(12), p = randomText(12), s = randomText(12);
        const fl::ustring out = deduplicateGeneratedCode(g, p, s);
        // The result is always a head or a tail of what was generated.
        EXPECT_TRUE(g.starts_with(out) || g.ends_with(out)) << i;
    }
}
