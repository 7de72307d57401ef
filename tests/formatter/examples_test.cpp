#include <gtest/gtest.h>

#include <random>

#include "formatter_test_support.hpp"

namespace {

using namespace formatter_test;

// Every example is formatted by its style, and so is a window cut at any two points out of it: the
// completion pipeline re-indents windows of longer files and keeps the result only if the code around the
// cursor is unchanged.
TEST(FormatterOnExamples, EveryExampleAndEveryWindowCutOutOfItIsAlreadyFormatted) {
    std::mt19937 random(20261121);
    int failures = 0;
    for (const auto& example : loadExamples()) {
        const auto settings =
            settingsFor(example.style, ca::formatting::legacy::BlankLines::RemoveWhitespace);
        const fl::ustring formatted = format(example.text, settings);
        EXPECT_EQ(formatted, example.text) << example.name << " " << firstDifference(example.text, formatted);
        std::uniform_int_distribution<std::size_t> point(0, example.text.size());
        for (int n = 0; n < 1000; ++n) {
            std::size_t a = point(random), b = point(random);
            if (a > b) std::swap(a, b);
            const fl::ustring window = example.text.substr(a, b - a);
            const fl::ustring again = format(window, settings);
            if (again != window && ++failures <= 10)
                ADD_FAILURE() << example.name << " [" << a << ", " << b << ") "
                              << firstDifference(window, again);
        }
    }
    EXPECT_EQ(failures, 0) << "windows changed by formatting";
}

}  // namespace
