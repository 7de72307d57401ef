#include <gtest/gtest.h>

#include <algorithm>
#include <random>
#include <string>
#include <vector>

#include "analysis_helpers.hpp"
#include "ca/utils/line_splitter.hpp"

namespace {

using ca::testing::analyse;
using ca::testing::describeErrors;
using ca::testing::ExampleText;
using ca::testing::loadExamples;

std::string utf8(const std::u16string& text) {
    return fl::i18n::to_string(text);
}

const std::vector<ExampleText>& examples() {
    static const std::vector<ExampleText> all = loadExamples();
    return all;
}

std::vector<std::size_t> lineStarts(const std::u16string& text) {
    std::vector<std::size_t> starts{0};
    for (std::size_t i = 0; i < text.size(); ++i) {
        if (text[i] == u'\n') starts.push_back(i + 1);
    }
    return starts;
}

TEST(Examples, ThereAreExamplesToCheck) {
    EXPECT_GE(examples().size(), 20u);
}

TEST(Examples, EveryExampleAnalysesWithoutErrors) {
    for (const ExampleText& example : examples()) {
        auto analysis = analyse(example.text);
        EXPECT_FALSE(analysis->hasParseErrors()) << example.name << "\n" << describeErrors(*analysis);
    }
}

// Any window cut out of an error-free, consistently indented text analyses without errors.
TEST(Fragments, WindowsCutAtRandomPointsHaveNoErrors) {
    for (const ExampleText& example : examples()) {
        std::mt19937 rng(20240611);
        int failures = 0;
        for (int round = 0; round < 300 && failures < 3; ++round) {
            std::size_t a = rng() % (example.text.size() + 1);
            std::size_t b = rng() % (example.text.size() + 1);
            if (a > b) std::swap(a, b);
            const std::u16string window = example.text.substr(a, b - a);
            auto analysis = analyse(window);
            if (analysis->hasParseErrors()) {
                ++failures;
                ADD_FAILURE() << example.name << " [" << a << ", " << b << ")\n"
                              << utf8(window) << "\n---\n"
                              << describeErrors(*analysis);
            }
        }
    }
}

TEST(Fragments, WindowsStartingOrEndingAtEveryLineHaveNoErrors) {
    for (const ExampleText& example : examples()) {
        const auto starts = lineStarts(example.text);
        int failures = 0;
        for (std::size_t k = 0; k < starts.size() && failures < 3; ++k) {
            for (const std::u16string& window :
                 {example.text.substr(starts[k]), example.text.substr(0, starts[k])}) {
                auto analysis = analyse(window);
                if (analysis->hasParseErrors()) {
                    ++failures;
                    ADD_FAILURE() << example.name << " line " << k + 1 << "\n"
                                  << utf8(window) << "\n---\n"
                                  << describeErrors(*analysis);
                }
            }
        }
    }
}

struct Injection {
    const char* name;
    const char* line;  // put in front of a statement line, with that line's indentation
};

constexpr Injection kInjections[] = {
    {"an end too many", "end"},
    {"a block left open before code at its level", "if numel(x) > 0"},
    {"an unbalanced bracket", "y = max(1, 2;"},
    {"an unfinished statement", "y = 1 +;"},
    {"an unterminated text literal", "s = 'abc;"},
    {"a closing bracket too many", "y = max(1, 2));"},
};

// Windows whose middle holds an error still report it on its line.
TEST(Fragments, AnErrorPutIntoTheMiddleOfAWindowIsReported) {
    int checked = 0;
    for (const ExampleText& example : examples()) {
        auto whole = analyse(example.text);
        const auto& roles = whole->data().lineRoles;
        const auto lines = ca::utils::lineSplitter(example.text);
        const auto starts = lineStarts(example.text);
        auto indentOf = [&](std::size_t line) {
            const std::u16string& text = lines[line - 1];
            return text.substr(0, text.find_first_not_of(u" \t"));
        };
        // Statement lines right after another terminated statement line of the same indentation.
        std::vector<std::size_t> candidates;
        for (std::size_t line = 3; line + 1 <= lines.size(); ++line) {
            if (line >= roles.size() || roles[line] != 1 || roles[line - 1] != 1) continue;
            const std::u16string& previous = lines[line - 2];
            if (previous.empty() || previous.back() != u';' || indentOf(line) != indentOf(line - 1)) continue;
            candidates.push_back(line);
        }
        if (candidates.empty()) continue;
        std::mt19937 rng(99);
        for (int round = 0; round < 24; ++round) {
            const std::size_t line = candidates[rng() % candidates.size()];
            // From somewhere in a line at least two lines above to somewhere at least two lines below.
            const std::size_t firstLine = 1 + rng() % (line - 2);
            const std::size_t lastLine = std::min(lines.size(), line + 1 + rng() % 30);
            if (lastLine < line + 1) continue;
            const std::size_t a = starts[firstLine - 1] + rng() % (lines[firstLine - 1].size() + 1);
            const std::size_t lastStart = starts[lastLine - 1];
            const std::size_t b =
                std::min(example.text.size(), lastStart + rng() % (lines[lastLine - 1].size() + 2));
            const Injection& injection = kInjections[round % std::size(kInjections)];
            const std::size_t at = starts[line - 1];
            std::u16string window = example.text.substr(a, at - a) + indentOf(line) +
                                    fl::i18n::to_ustring(injection.line) + u"\n" +
                                    example.text.substr(at, b - at);
            const std::size_t injectedLine = line - firstLine + 1;
            auto analysis = analyse(window);
            const auto errors = ca::testing::errors(*analysis);
            const bool reported = std::any_of(errors.begin(), errors.end(), [&](const std::string& e) {
                return e.rfind(std::to_string(injectedLine) + ":", 0) == 0;
            });
            EXPECT_TRUE(reported) << injection.name << " in " << example.name << " at window line "
                                  << injectedLine << "\n"
                                  << utf8(window) << "\n---\n"
                                  << describeErrors(*analysis);
            // Without the injected line the same window is clean.
            auto clean = analyse(example.text.substr(a, b - a));
            EXPECT_FALSE(clean->hasParseErrors()) << example.name << "\n" << describeErrors(*clean);
            ++checked;
        }
    }
    EXPECT_GT(checked, 200);
}

}  // namespace
