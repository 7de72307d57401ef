#include <gtest/gtest.h>

#include <random>

#include "formatter_test_support.hpp"

namespace {

using namespace formatter_test;
using ca::formatting::legacy::BlankLines;
using ca::formatting::legacy::FunctionIndentation;
using ca::formatting::legacy::Settings;

// Windows cut at two random points out of `text` that formatting changes; the first few are reported.
int changedWindows(const ca::testing::ExampleText& example, const fl::ustring& text, const Settings& settings,
                   int count, std::mt19937& random) {
    std::uniform_int_distribution<std::size_t> point(0, text.size());
    int changed = 0;
    for (int n = 0; n < count; ++n) {
        std::size_t a = point(random), b = point(random);
        if (a > b) std::swap(a, b);
        const fl::ustring window = text.substr(a, b - a);
        const fl::ustring again = format(window, settings);
        if (again != window && ++changed <= 3)
            ADD_FAILURE() << example.name << " [" << a << ", " << b << ") " << firstDifference(window, again);
    }
    return changed;
}

// Every consistently indented program comes back unchanged with its own settings, and so does a window
// cut at any two points out of it: the completion pipeline re-indents windows of longer files and keeps
// the result only if the code around the cursor is unchanged. The same holds for windows of every
// program once formatted by other settings (padded blank lines, a style it was not written in, tabs).
void checkCorpus(const std::vector<ca::testing::ExampleText>& corpus) {
    ASSERT_GE(corpus.size(), 10u);
    std::mt19937 random(20261121);
    int failedWindows = 0;
    for (const auto& example : corpus) {
        const Settings own = settingsOf(example);
        if (example.consistent) {
            const fl::ustring formatted = format(example.text, own);
            EXPECT_EQ(formatted, example.text)
                << example.name << " " << firstDifference(example.text, formatted);
            failedWindows += changedWindows(example, example.text, own, 200, random);
        }
        Settings other = own;
        other.functionIndentation = static_cast<FunctionIndentation>(random() % 3);
        other.blankLines = static_cast<BlankLines>(random() % 3);
        other.insertSpaces = random() % 2;
        failedWindows += changedWindows(example, format(example.text, other), other, 100, random);
    }
    EXPECT_EQ(failedWindows, 0) << "windows changed by formatting";
}

TEST(FormatterOnCorpus, HouseExamplesAndWindowsOfThemAreAlreadyFormatted) {
    checkCorpus(ca::testing::loadExamples());
}

TEST(FormatterOnCorpus, RealWorldStylesAndWindowsOfThemAreAlreadyFormatted) {
    auto styles = ca::testing::loadAllExamples();
    std::erase_if(styles, [](const auto& example) { return example.name.starts_with("examples/"); });
    checkCorpus(styles);
}

}  // namespace
