#include "formatter_test_support.hpp"

#include <algorithm>
#include <filesystem>
#include <stdexcept>

#include "../ca/analysis_helpers.hpp"
#include "ca/formatting/legacy/legacy_formatter.hpp"
#include "ca/lexer/token.hpp"
#include "fl/i18n.hpp"

namespace formatter_test {

using namespace ca::formatting::legacy;

fl::ustring format(const fl::ustring& text, const Settings& settings) {
    LegacyFormatter formatter(settings);
    return formatter.getFormattedText(formatter.indentCode(ca::lexer::lex(text)));
}

Settings settingsFor(FunctionIndentation style, BlankLines blanks) {
    return Settings{0, 10000000, true, 4, 4, style, blanks};
}

namespace {

// The corpus of the analyser's tests with the settings each program is written in: the demo programs use
// 4 spaces and empty blank lines, the style programs leave blank lines alone.
std::vector<Example> load(const std::string& folder, BlankLines blanks) {
    std::vector<Example> examples;
    for (auto& e : ca::testing::loadExamples(folder)) {
        Settings settings = settingsFor(static_cast<FunctionIndentation>(e.functionStyle), blanks);
        settings.insertSpaces = !e.tabs;
        settings.indentSize = e.tabs ? 4 : e.indent;
        examples.push_back(
            {std::filesystem::path(e.name).filename().string(), std::move(e.text), settings, e.consistent});
    }
    return examples;
}

}  // namespace

std::vector<Example> loadExamples() {
    auto examples = load("examples", BlankLines::RemoveWhitespace);
    if (examples.empty()) throw std::runtime_error("no examples listed in examples/README.md");
    return examples;
}

std::vector<Example> loadStyleExamples() {
    auto examples = load("tests/data/styles", BlankLines::Ignore);
    for (const char* folder :
         {"tests/data/fresh", "tests/data/heldout", "tests/data/heldout2", "tests/data/heldout3"})
        for (auto& example : load(folder, BlankLines::Ignore))
            examples.push_back(std::move(example));
    return examples;
}

std::string firstDifference(const fl::ustring& expected, const fl::ustring& actual) {
    const auto diverge = std::mismatch(expected.begin(), expected.end(), actual.begin(), actual.end());
    const std::size_t at = static_cast<std::size_t>(diverge.first - expected.begin());
    const std::size_t start = expected.rfind(u'\n', at == 0 ? 0 : at - 1) + 1;  // npos + 1 == 0
    const auto lineOf = [&](const fl::ustring& text) {
        return fl::i18n::to_string(text.substr(start, text.find(u'\n', start) - start));
    };
    return "line " + std::to_string(std::count(expected.begin(), expected.begin() + start, u'\n') + 1) +
           ":\n  expected |" + lineOf(expected) + "|\n  actual   |" + lineOf(actual) + "|";
}

}  // namespace formatter_test
