#include <gtest/gtest.h>

#include <random>

#include "formatter_test_support.hpp"

namespace {

using namespace formatter_test;
using ca::formatting::legacy::BlankLines;

// A window cut at any two points out of a formatted text is itself formatted: the completion pipeline
// re-indents windows of longer files and keeps the result only if the code around the cursor is unchanged.
TEST(FormatterOnFragments, WindowsCutOutOfFormattedExamplesComeBackUnchanged) {
    std::mt19937 random(20261121);
    int failures = 0;
    for (const auto& example : loadExamples()) {
        const auto settings = settingsFor(example.style, BlankLines::RemoveWhitespace);
        std::uniform_int_distribution<std::size_t> point(0, example.text.size());
        for (int n = 0; n < 1000; ++n) {
            std::size_t a = point(random), b = point(random);
            if (a > b) std::swap(a, b);
            const fl::ustring window = example.text.substr(a, b - a);
            const fl::ustring formatted = format(window, settings);
            if (formatted != window && ++failures <= 10)
                ADD_FAILURE() << example.name << " [" << a << ", " << b << ") "
                              << firstDifference(window, formatted);
        }
    }
    EXPECT_EQ(failures, 0);
}

}  // namespace
