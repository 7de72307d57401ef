#include <gtest/gtest.h>

#include <algorithm>
#include <cstdio>
#include <random>
#include <string>
#include <vector>

#include "analysis_helpers.hpp"

namespace {

using ca::testing::analyse;
using ca::testing::describeErrors;

const std::vector<ca::testing::ExampleText>& examples() {
    static const auto all = ca::testing::loadAllExamples();
    return all;
}

std::vector<std::size_t> lineStarts(const std::u16string& text) {
    std::vector<std::size_t> starts{0};
    for (std::size_t i = 0; i < text.size(); ++i) {
        if (text[i] == u'\n') starts.push_back(i + 1);
    }
    return starts;
}

// The one reading a window cannot settle: a loop's `end` and one more `end` at the margin ending the text
// close a function whose body sits at the margin, or the second repeats the first in a script.
bool onlyASecondEndAtTheMargin(const ca::Analysis& analysis, const std::u16string& window) {
    const auto found = ca::testing::errors(analysis);
    if (found.size() != 1 || !found[0].ends_with(":EndWithoutBlock")) return false;
    std::vector<std::u16string> codeLines;  // the text of every code line
    std::size_t start = 0, line = 1, errorLine = std::stoul(found[0]), last = 0;
    for (; start <= window.size(); ++line) {
        const std::size_t end = std::min(window.find(u'\n', start), window.size());
        if (analysis.lineHas(static_cast<std::uint32_t>(line), 1)) {
            codeLines.push_back(window.substr(start, end - start));
            last = line;
        }
        start = end + 1;
    }
    const auto isEnd = [](const std::u16string& l) { return l == u"end" || l == u"end\r"; };
    return last == errorLine && codeLines.size() >= 2 && isEnd(codeLines.back()) &&
           isEnd(codeLines[codeLines.size() - 2]);
}

// Every example is error-free (also read as a whole file), and so is any window cut out of one: at random
// points, and from or up to every line start. In the sloppy programs a block whose body stands at its
// header's column, cut before its `end`, reads as a block opened and never closed (which the same text is
// where an error was put in), and the `end`s and clauses after it as misplaced; there these are the only
// errors allowed, and their count is shown, as is the count of windows of margin-bodied functions that end in
// two `end`s at the margin.
TEST(Fragments, WindowsOfErrorFreeExamplesHaveNoErrors) {
    ASSERT_GE(examples().size(), 20u);
    int checked = 0, ambiguous = 0;
    for (const auto& example : examples()) {
        const auto whole = ca::analyzeWholeFile(example.text);
        EXPECT_TRUE(ca::testing::errors(*whole).empty()) << example.name << "\n" << describeErrors(*whole);
        std::vector<std::pair<std::size_t, std::size_t>> windows{{0, example.text.size()}};
        std::mt19937 rng(20240611);
        for (int round = 0; round < 300; ++round) {
            const std::size_t a = rng() % (example.text.size() + 1), b = rng() % (example.text.size() + 1);
            windows.emplace_back(std::min(a, b), std::max(a, b));
        }
        for (std::size_t start : lineStarts(example.text)) {
            windows.emplace_back(start, example.text.size());
            windows.emplace_back(0, start);
        }
        int failures = 0;
        const bool sloppy = !example.consistent;
        for (const auto& [a, b] : windows) {
            ++checked;
            auto analysis = analyse(example.text.substr(a, b - a));
            if (!analysis->hasParseErrors()) continue;
            if (onlyASecondEndAtTheMargin(*analysis, example.text.substr(a, b - a))) {
                ++ambiguous;
                continue;
            }
            const auto found = ca::testing::errors(*analysis);
            if (sloppy && std::all_of(found.begin(), found.end(), [](const std::string& e) {
                    return e.ends_with(":MissingEnd") || e.ends_with(":EndWithoutBlock") ||
                           e.ends_with(":MisplacedClause");
                })) {
                ++ambiguous;
                continue;
            }
            if (++failures > 3) continue;
            ADD_FAILURE() << example.name << " [" << a << ", " << b << ")\n"
                          << fl::i18n::to_string(example.text.substr(a, b - a)) << "\n---\n"
                          << describeErrors(*analysis);
        }
    }
    std::printf(
        "%d windows, %d with only missing or surplus ends (sloppy programs, two ends at the margin)\n",
        checked, ambiguous);
    EXPECT_LE(ambiguous * 50, checked);
}

// A window whose middle holds an error still reports it on its line; without it the window is clean.
TEST(Fragments, AnErrorPutIntoTheMiddleOfAWindowIsReported) {
    const char* injections[] = {"end",      "if numel(x) > 0", "y = max(1, 2;",
                                "y = 1 +;", "s = 'abc;",       "y = max(1, 2));"};
    int checked = 0, missed = 0;
    for (const auto& example : examples()) {
        const auto whole = analyse(example.text);
        const auto& roles = whole->data().lineRoles;
        const auto starts = lineStarts(example.text);
        auto line = [&](std::size_t l) {
            const std::size_t end = l < starts.size() ? starts[l] - 1 : example.text.size();
            return example.text.substr(starts[l - 1], end - starts[l - 1]);
        };
        auto indent = [&](std::size_t l) { return line(l).substr(0, line(l).find_first_not_of(u" \t")); };
        // Statement lines right after a terminated assignment of the same indentation: what comes before the
        // first complete statement of a window is its cut edge, and a bare value or call may not be one.
        std::vector<std::size_t> candidates;
        for (std::size_t l = 3; l + 1 < starts.size() && l < roles.size(); ++l) {
            if (roles[l] == 1 && roles[l - 1] == 1 && line(l - 1).ends_with(u";") &&
                line(l - 1).find(u" = ") != std::u16string::npos && indent(l) == indent(l - 1))
                candidates.push_back(l);
        }
        if (candidates.empty()) continue;
        std::mt19937 rng(99);
        for (int round = 0; round < 24; ++round) {
            const std::size_t at = candidates[rng() % candidates.size()];
            // From somewhere in a line at least two lines above to somewhere at least two lines below.
            const std::size_t first = 1 + rng() % (at - 2),
                              last = std::min(starts.size(), at + 1 + rng() % 30);
            const std::size_t a = starts[first - 1] + rng() % (line(first).size() + 1);
            const std::size_t b =
                std::min(example.text.size(), starts[last - 1] + rng() % (line(last).size() + 2));
            const std::u16string window = example.text.substr(a, starts[at - 1] - a) + indent(at) +
                                          fl::i18n::to_ustring(injections[round % std::size(injections)]) +
                                          u"\n" + example.text.substr(starts[at - 1], b - starts[at - 1]);
            auto analysis = analyse(window);
            const auto errors = ca::testing::errors(*analysis);
            const std::string prefix = std::to_string(at - first + 1) + ":";
            // An `end` at the margin may close a function whose body sits there: then the code after it is
            // what is wrong, and the error shows on the next line.
            const bool closing = round % std::size(injections) == 0;
            const std::string next = std::to_string(at - first + 2) + ":";
            const bool reported = std::any_of(errors.begin(), errors.end(), [&](const auto& e) {
                return e.starts_with(prefix) || (closing && e.starts_with(next));
            });
            // In the style programs an injected block can pair with a closing line the window holds (a body
            // at the margin, a window whose structure then balances): counted, and held to a small share.
            const bool demo = example.name.starts_with("examples/");
            if (!reported && !demo) {
                ++missed;
                std::printf("not reported: %s in %s\n", injections[round % std::size(injections)],
                            example.name.c_str());
            }
            EXPECT_TRUE(reported || !demo) << injections[round % std::size(injections)] << " in "
                                           << example.name << " at window line " << prefix << "\n"
                                           << fl::i18n::to_string(window) << "\n---\n"
                                           << describeErrors(*analysis);
            auto clean = analyse(example.text.substr(a, b - a));
            EXPECT_TRUE(!clean->hasParseErrors() || !example.consistent ||
                        onlyASecondEndAtTheMargin(*clean, example.text.substr(a, b - a)))
                << example.name << "\n"
                << describeErrors(*clean);
            ++checked;
        }
    }
    EXPECT_GT(checked, 200);
    EXPECT_LE(missed * 50, checked) << missed << " of " << checked << " injected errors not reported";
}

}  // namespace
