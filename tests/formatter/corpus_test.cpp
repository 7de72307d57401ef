#include <gtest/gtest.h>

#include <random>

#include "formatter_test_support.hpp"

namespace {

using namespace formatter_test;

// Every consistently indented program comes back unchanged with its own settings, and so does a window
// cut at any two points out of it: the completion pipeline re-indents windows of longer files and keeps
// the result only if the code around the cursor is unchanged.
void checkCorpus(const std::vector<Example>& corpus) {
    std::mt19937 random(20261121);
    int failedWindows = 0;
    for (const auto& example : corpus) {
        if (!example.consistent) continue;
        const fl::ustring formatted = format(example.text, example.settings);
        EXPECT_EQ(formatted, example.text) << example.name << " " << firstDifference(example.text, formatted);
        std::uniform_int_distribution<std::size_t> point(0, example.text.size());
        for (int n = 0; n < 300; ++n) {
            std::size_t a = point(random), b = point(random);
            if (a > b) std::swap(a, b);
            const fl::ustring window = example.text.substr(a, b - a);
            const fl::ustring again = format(window, example.settings);
            if (again != window && ++failedWindows <= 10)
                ADD_FAILURE() << example.name << " [" << a << ", " << b << ") "
                              << firstDifference(window, again);
        }
    }
    EXPECT_EQ(failedWindows, 0) << "windows changed by formatting";
}

TEST(FormatterOnCorpus, HouseExamplesAndWindowsOfThemAreAlreadyFormatted) {
    checkCorpus(loadExamples());
}

TEST(FormatterOnCorpus, RealWorldStylesAndWindowsOfThemAreAlreadyFormatted) {
    const auto styles = loadStyleExamples();
    if (styles.empty()) GTEST_SKIP() << "tests/data/styles has no manifest.txt";
    checkCorpus(styles);
}

}  // namespace
