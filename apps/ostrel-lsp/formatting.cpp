#include "formatting.hpp"

#include "ca/formatting/legacy/legacy_formatter.hpp"
#include "ca/lexer/token.hpp"
#include "fl/i18n.hpp"
#include "text_positions.hpp"

namespace ostrel_lsp {
namespace {

std::size_t blanksAt(const fl::ustring& text, std::size_t from, std::size_t end) {
    std::size_t i = from;
    while (i < end && (text[i] == u' ' || text[i] == u'\t' || text[i] == u'\f' || text[i] == u'\v'))
        ++i;
    return i - from;
}

std::size_t lineContentEnd(const fl::ustring& text, const std::vector<std::size_t>& starts,
                           std::size_t line) {
    std::size_t end = line + 1 < starts.size() ? starts[line + 1] : text.size();
    while (end > starts[line] && (text[end - 1] == u'\n' || text[end - 1] == u'\r'))
        --end;
    return end;
}

nlohmann::json position(std::size_t line, std::size_t character) {
    return {{"line", line}, {"character", character}};
}

std::optional<unsigned> sizeOption(const nlohmann::json& options, const char* name) {
    const auto it = options.find(name);
    if (it == options.end()) return std::nullopt;
    if (!it->is_number_integer() || it->get<std::int64_t>() < 1 || it->get<std::int64_t>() > 64) return 0u;
    return it->get<unsigned>();
}

}  // namespace

std::optional<fit::IndentSettings> settingsOfFormattingOptions(const nlohmann::json& options,
                                                               fit::IndentSettings base) {
    if (!options.is_object()) return std::nullopt;
    const auto tabSize = sizeOption(options, "tabSize");
    const auto indentSize = sizeOption(options, "ostrel.indentSize");
    if (tabSize == 0u || indentSize == 0u) return std::nullopt;
    if (tabSize) {
        base.tabSize = *tabSize;
        base.indentSize = *tabSize;  // the protocol has one size; editors indent by it
    }
    if (indentSize) base.indentSize = *indentSize;
    if (const auto spaces = options.find("insertSpaces"); spaces != options.end()) {
        if (!spaces->is_boolean()) return std::nullopt;
        base.insertSpaces = spaces->get<bool>();
    }
    return base;
}

nlohmann::json formattingEdits(const fl::ustring& text, const fit::IndentSettings& settings,
                               std::optional<LineRange> lines) {
    namespace legacy = ca::formatting::legacy;
    legacy::Settings formatterSettings;
    formatterSettings.insertSpaces = settings.insertSpaces;
    formatterSettings.tabSize = settings.tabSize;
    formatterSettings.indentSize = settings.indentSize;
    formatterSettings.functionIndentation = static_cast<legacy::FunctionIndentation>(settings.functionIndent);
    formatterSettings.blankLines = static_cast<legacy::BlankLines>(settings.blankLines);
    // The formatter reads its text's first line as one that may be cut, and leaves it and the level of
    // the code after it as they stand. A whole file has no cut line: a comment line before it takes that
    // place, so that the file's own first line is formatted like any other (lines shift by one).
    formatterSettings.startLine = lines ? lines->first + 2 : 2;
    formatterSettings.endLine = lines ? lines->last + 2 : UINT32_MAX;

    // It also leaves a last line without a line end where it stands when that line is one word (a cut
    // "en" may be the start of any word): a line end after the file's last line makes it whole too.
    const bool endsOpen = !text.empty() && text.back() != u'\n';
    const legacy::LegacyFormatter formatter(formatterSettings);
    const fl::ustring padded = formatter.getFormattedText(
        formatter.indentCode(ca::lexer::lex(u"%\n" + text + (endsOpen ? u"\n" : u""))));
    const fl::ustring formatted = padded.substr(2, padded.size() - 2 - (endsOpen ? 1 : 0));

    nlohmann::json edits = nlohmann::json::array();
    const auto before = lineStartsOf(text);
    const auto after = lineStartsOf(formatted);
    if (before.size() != after.size()) {
        // Not expected of the formatter; replace the whole text rather than guess.
        const Position end = positionOf(text, before, text.size());
        edits.push_back({{"range", {{"start", position(0, 0)}, {"end", position(end.line, end.character)}}},
                         {"newText", fl::i18n::to_string(formatted)}});
        return edits;
    }
    for (std::size_t line = 0; line < before.size(); ++line) {
        const std::size_t oldBlanks = blanksAt(text, before[line], lineContentEnd(text, before, line));
        const std::size_t newBlanks =
            blanksAt(formatted, after[line], lineContentEnd(formatted, after, line));
        const std::u16string_view oldIndent(text.data() + before[line], oldBlanks);
        const std::u16string_view newIndent(formatted.data() + after[line], newBlanks);
        if (oldIndent == newIndent) continue;
        edits.push_back({{"range", {{"start", position(line, 0)}, {"end", position(line, oldBlanks)}}},
                         {"newText", fl::i18n::to_string(newIndent)}});
    }
    return edits;
}

}  // namespace ostrel_lsp
