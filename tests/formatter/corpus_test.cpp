#include <gtest/gtest.h>

#include <random>

#include "formatter_test_support.hpp"

namespace {

using namespace formatter_test;

std::size_t lineCount(const fl::ustring& text) {
    return std::count(text.begin(), text.end(), u'\n') + 1;
}

// Lines of `before` whose text differs in `after` (formatting changes only indentation, so lines pair up).
std::size_t changedLines(const fl::ustring& before, const fl::ustring& after) {
    std::size_t changed = 0;
    for (std::size_t a = 0, b = 0; a <= before.size() && b <= after.size(); ++a, ++b) {
        const std::size_t endA = std::min(before.find(u'\n', a), before.size());
        const std::size_t endB = std::min(after.find(u'\n', b), after.size());
        changed += before.compare(a, endA - a, after, b, endB - b) != 0;
        a = endA;
        b = endB;
    }
    return changed;
}

// Every consistently indented program comes back unchanged with its own settings, and so does a window
// cut at any two points out of it: the completion pipeline re-indents windows of longer files and keeps
// the result only if the code around the cursor is unchanged.
void checkCorpus(const std::vector<Example>& corpus, int windowsPerProgram) {
    std::mt19937 random(20261121);
    std::size_t lines = 0, changed = 0;
    int failedWindows = 0, programs = 0;
    for (const auto& example : corpus) {
        if (!example.consistent) continue;
        ++programs;
        const fl::ustring formatted = format(example.text, example.settings);
        lines += lineCount(example.text);
        changed += changedLines(example.text, formatted);
        EXPECT_EQ(formatted, example.text) << example.name << " " << firstDifference(example.text, formatted);
        std::uniform_int_distribution<std::size_t> point(0, example.text.size());
        for (int n = 0; n < windowsPerProgram; ++n) {
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
    std::cout << programs << " programs, " << lines << " lines, " << changed << " changed ("
              << (lines ? 100.0 * static_cast<double>(changed) / static_cast<double>(lines) : 0.0) << "%)\n";
}

TEST(FormatterOnCorpus, HouseExamplesAndWindowsOfThemAreAlreadyFormatted) {
    checkCorpus(loadExamples(), 400);
}

TEST(FormatterOnCorpus, RealWorldStylesAndWindowsOfThemAreAlreadyFormatted) {
    const auto styles = loadStyleExamples();
    if (styles.empty()) GTEST_SKIP() << "tests/data/styles has no manifest.txt";
    checkCorpus(styles, 400);
}

}  // namespace
