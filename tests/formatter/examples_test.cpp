#include <gtest/gtest.h>

#include "formatter_test_support.hpp"

namespace {

using namespace formatter_test;

TEST(FormatterOnExamples, EveryExampleIsAlreadyFormattedByItsStyle) {
    for (const auto& example : loadExamples()) {
        const fl::ustring formatted = format(
            example.text, settingsFor(example.style, ca::formatting::legacy::BlankLines::RemoveWhitespace));
        EXPECT_EQ(formatted, example.text) << example.name << " " << firstDifference(example.text, formatted);
    }
}

}  // namespace
