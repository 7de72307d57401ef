#include "style_detection.hpp"

#include <algorithm>
#include <map>
#include <optional>

#include "block_words.hpp"
#include "statement_lines.hpp"
#include "text_lines.hpp"

namespace ostrel_eval {
namespace {

struct CodeLine {
    std::size_t width = 0;   // indentation in columns, a tab counting as tabWidth
    fl::ustring code;        // the line without its indentation and trailing blanks
    bool continues = false;  // the statement goes on on the next line
};

std::vector<CodeLine> codeLines(const fl::ustring& text, std::size_t tabWidth) {
    std::vector<CodeLine> out;
    const std::vector<std::size_t> firstLines = statementFirstLines(text);
    const std::vector<LineSpan> lines = splitLines(text);
    int blockComment = 0;
    for (std::size_t index = 0; index < lines.size(); ++index) {
        const LineSpan& line = lines[index];
        if (isBlankLine(text, line)) continue;
        const std::size_t indent = leadingBlanks(text, line.start, line.contentEnd);
        fl::ustring code = text.substr(line.start + indent, line.contentEnd - line.start - indent);
        while (!code.empty() && (isBlank(code.back()) || code.back() == u'\r'))
            code.pop_back();
        if (code == u"%{") ++blockComment;
        if (blockComment > 0) {
            if (code == u"%}") --blockComment;
            continue;
        }
        if (code.starts_with(u"%")) continue;
        std::size_t width = 0;
        for (std::size_t i = line.start; i < line.start + indent; ++i)
            width = text[i] == u'\t' ? (width / tabWidth + 1) * tabWidth : width + 1;
        if (firstLines[index] != index) continue;  // a continuation line
        out.push_back({width, std::move(code), false});
    }
    return out;
}

std::optional<std::size_t> indentUnit(const std::vector<CodeLine>& lines) {
    std::map<std::size_t, std::size_t> steps;
    for (std::size_t i = 1; i < lines.size(); ++i)
        if (lines[i].width > lines[i - 1].width) ++steps[lines[i].width - lines[i - 1].width];
    std::optional<std::size_t> best;
    std::size_t bestCount = 0;
    for (const auto& [step, count] : steps)
        if (count > bestCount) best = step, bestCount = count;
    return best;
}

// Function bodies: for each `function` line, is its first body line deeper? A function defined while
// another is open (functions closed by `end`) is nested, told apart from the others by the block
// nesting, not by its indentation.
std::optional<int> functionIndent(const std::vector<CodeLine>& lines) {
    int balance = 0;
    std::size_t functionLines = 0;
    for (const CodeLine& line : lines) {
        balance += (opensBlock(line.code) ? 1 : 0) - closingEnds(line.code);
        functionLines += startsWithWord(line.code, u"function") ? 1 : 0;
    }
    // Functions without `end` leave one open block each: then none is nested.
    const bool closedFunctions = balance <= 0 || static_cast<std::size_t>(balance) != functionLines;

    std::size_t outerIndented = 0, outerFlat = 0, nestedIndented = 0, nestedFlat = 0;
    std::vector<bool> open;  // per open block: is it a function
    bool inClass = false;
    for (std::size_t i = 0; i < lines.size(); ++i) {
        const fl::ustring& code = lines[i].code;
        const bool isFunction = startsWithWord(code, u"function");
        if (startsWithWord(code, u"classdef")) inClass = true;
        if (isFunction && !closedFunctions) open.clear();
        const bool nested = isFunction && std::find(open.begin(), open.end(), true) != open.end();
        if (opensBlock(code)) open.push_back(isFunction);
        for (int e = closingEnds(code); e > 0 && !open.empty(); --e)
            open.pop_back();
        if (!isFunction || inClass || i + 1 == lines.size()) continue;
        const CodeLine& body = lines[i + 1];
        if (startsWithWord(body.code, u"end") || startsWithWord(body.code, u"function")) continue;
        const bool indented = body.width > lines[i].width;
        (nested ? (indented ? nestedIndented : nestedFlat) : (indented ? outerIndented : outerFlat))++;
    }
    if (outerIndented + outerFlat == 0) return std::nullopt;
    if (outerIndented >= outerFlat) return 2;
    if (nestedIndented > nestedFlat) return 1;
    return 0;
}

}  // namespace

DetectedStyle detectStyle(const fl::ustring& text) {
    DetectedStyle style;
    std::size_t tabbed = 0, spaced = 0, paddedBlank = 0;
    for (const LineSpan& line : splitLines(text)) {
        const std::size_t indent = leadingBlanks(text, line.start, line.contentEnd);
        if (indent == 0) continue;
        if (isBlankLine(text, line)) {
            ++paddedBlank;
        } else {
            (text[line.start] == u'\t' ? tabbed : spaced)++;
        }
    }
    style.settings.insertSpaces = tabbed <= spaced;
    style.settings.blankLines = paddedBlank > 0 ? 0 : 2;
    const std::vector<CodeLine> lines = codeLines(text, style.settings.tabSize);
    if (!style.settings.insertSpaces) {
        // One tab per level: the unit is the tab's width.
        style.settings.indentSize = style.settings.tabSize;
    } else if (const auto unit = indentUnit(lines)) {
        style.settings.indentSize = static_cast<unsigned>(std::min<std::size_t>(*unit, 16));
    } else {
        style.unread.push_back("indent unit");
    }
    if (const auto functions = functionIndent(lines)) {
        style.settings.functionIndent = *functions;
    } else {
        style.unread.push_back("function indentation");
    }
    return style;
}

}  // namespace ostrel_eval
