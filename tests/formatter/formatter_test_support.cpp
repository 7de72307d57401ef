#include "formatter_test_support.hpp"

#include <algorithm>

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

Settings settingsOf(const ca::testing::ExampleText& example) {
    Settings settings = settingsFor(
        static_cast<FunctionIndentation>(example.functionStyle),
        example.name.starts_with("examples/") ? BlankLines::RemoveWhitespace : BlankLines::Ignore);
    settings.insertSpaces = !example.tabs;
    settings.indentSize = example.tabs ? 4 : example.indent;
    return settings;
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
