// The legacy formatter: lex, indentCode and getFormattedText with settings taken from the input. Input:
// seven settings bytes, then the text (UTF-8).
#include <vector>

#include "ca/formatting/legacy/legacy_formatter.hpp"
#include "ca/invalid_analysis_exception.hpp"
#include "ca/lexer/token.hpp"
#include "ca/single_file_analyzer.hpp"
#include "ca/utils/line_splitter.hpp"
#include "fuzz_input.hpp"
#include "fuzz_targets.hpp"
#include "mtcc/cache/settings_values.hpp"
#include "mtcc/indentation/formatter_settings.hpp"

namespace ostrel_fuzz {
namespace {

void expect(bool holds, const char* what) {
    if (!holds) throw PropertyViolation(what);
}

const char16_t* pick(std::uint8_t byte, std::initializer_list<const char16_t*> choices) {
    return choices.begin()[byte % choices.size()];
}

// Settings as a user could write them, then corrected the way the formatting stage corrects them.
ca::formatting::legacy::Settings settingsFrom(FuzzInput& input) {
    mtcc::cache::SettingsValues values;
    const std::uint8_t start = input.byte();
    const std::uint8_t end = input.byte();
    values.startLine = start % 16;
    values.endLine = end == 255 ? 20000000u : end;
    values.insertSpaces = (input.byte() & 1) != 0;
    const std::uint8_t tab = input.byte();
    values.tabSize = tab == 255 ? 65535 : tab;
    const std::uint8_t indent = input.byte();
    values.indentSize = indent == 255 ? 65535 : indent;
    values.functionIndentingFormat =
        pick(input.byte(), {u"ClassicFunctionIndent", u"MixedFunctionIndent", u"AllFunctionIndent", u"all"});
    values.blankLineSetting = pick(input.byte(), {u"Indent", u"Ignore", u"RemoveWhitespace", u""});
    const foundation::log::diagnostic_logger log("fuzz::formatter");
    return mtcc::Indentation::toFormatterSettings(values, log);
}

fl::ustring withoutLeadingBlanks(const fl::ustring& line) {
    const auto first = line.find_first_not_of(u" \t\r\f\v");
    return first == fl::ustring::npos ? fl::ustring() : line.substr(first);
}

bool parsesWithoutErrors(const fl::ustring& text) {
    try {
        return !ca::createSingleFileAnalyzer()->analyze(text)->hasParseErrors();
    } catch (const ca::InvalidAnalysisException&) {
        return false;
    }
}

}  // namespace

void runFormatter(std::string_view bytes) {
    FuzzInput input(bytes);
    const ca::formatting::legacy::LegacyFormatter formatter(settingsFrom(input));
    const fl::ustring text = toUtf16(input.rest(), false);

    const auto tokens = ca::lexer::lex(text);
    expect(formatter.getFormattedText(tokens) == text, "the tokens cover the text exactly");
    const fl::ustring formatted = formatter.getFormattedText(formatter.indentCode(tokens));

    const auto before = ca::utils::lineSplitter(text);
    const auto after = ca::utils::lineSplitter(formatted);
    expect(before.size() == after.size(), "formatting keeps the number of lines");
    for (std::size_t i = 0; i < before.size(); ++i)
        expect(withoutLeadingBlanks(before[i]) == withoutLeadingBlanks(after[i]),
               "formatting changes nothing but leading blanks");

    // A formatted text is formatted already.
    if (parsesWithoutErrors(formatted)) {
        expect(formatter.getFormattedText(formatter.indentCode(ca::lexer::lex(formatted))) == formatted,
               "formatting a formatted, error-free text changes nothing");
    }
}

}  // namespace ostrel_fuzz
