#include "fit/reindent.hpp"

#include <algorithm>
#include <array>

#include "ca/formatting/legacy/legacy_formatter.hpp"
#include "ca/lexer/token.hpp"
#include "fit/text_lines.hpp"

namespace fit {
namespace {

// How far the formatter and the style detection look above the edit.
constexpr std::size_t kFormatLinesAbove = 60;
constexpr std::size_t kStyleLinesAbove = 400;

struct LineView {
    std::u16string_view text;
    std::size_t start;
};

// Up to `count` lines ending with the one that holds `pos`, in file order.
std::vector<LineView> linesUpTo(const fl::ustring& file, std::size_t pos, std::size_t count) {
    std::vector<LineView> lines;
    std::size_t start = text::lineStart(file, pos);
    for (;;) {
        const std::size_t end = text::lineEnd(file, start);
        lines.push_back({std::u16string_view(file).substr(start, end - start), start});
        if (lines.size() >= count || start == 0) break;
        start = text::lineStart(file, start - 1);
    }
    return {lines.rbegin(), lines.rend()};
}

bool startsWithWord(std::u16string_view code, std::u16string_view word) {
    return code.starts_with(word) && (code.size() == word.size() || !text::isWordChar(code[word.size()]));
}

int columnsOf(std::u16string_view indentation, unsigned tabSize) {
    int columns = 0;
    for (char16_t c : indentation)
        columns =
            c == u'\t' ? (columns / static_cast<int>(tabSize) + 1) * static_cast<int>(tabSize) : columns + 1;
    return columns;
}

bool isCodeLine(std::u16string_view line) {
    const std::u16string_view code = text::trimLeft(line);
    return !code.empty() && code.front() != u'%';
}

// A line where the formatter can start reading levels: code at the margin that closes nothing.
bool isTopLevelStart(std::u16string_view line) {
    if (line.empty() || !text::isWordChar(line.front())) return false;
    static constexpr std::array<std::u16string_view, 6> kClosers = {u"end",  u"else",  u"elseif",
                                                                    u"case", u"catch", u"otherwise"};
    for (std::u16string_view closer : kClosers)
        if (startsWithWord(line, closer)) return false;
    return true;
}

}  // namespace

IndentSettings fileIndentation(const fl::ustring& file, std::size_t cursor, const IndentSettings& settings) {
    IndentSettings style = settings;
    const std::vector<LineView> lines = linesUpTo(file, cursor, kStyleLinesAbove);
    std::size_t tabbed = 0, spaced = 0;
    std::array<std::size_t, 9> steps{};
    int bodyEvidence = 0;  // > 0: function bodies indented; < 0: at the function's column
    const LineView* previous = nullptr;
    const LineView* functionLine = nullptr;
    for (const LineView& line : lines) {
        if (!isCodeLine(line.text)) continue;
        const std::u16string_view indentation = text::indentationOf(line.text);
        if (!indentation.empty()) (indentation.front() == u'\t' ? tabbed : spaced) += 1;
        if (previous && indentation.find(u'\t') == std::u16string_view::npos) {
            const int step = columnsOf(indentation, settings.tabSize) -
                             columnsOf(text::indentationOf(previous->text), settings.tabSize);
            if (step > 0 && step < static_cast<int>(steps.size())) ++steps[static_cast<std::size_t>(step)];
        }
        if (functionLine) {
            const int step = columnsOf(indentation, settings.tabSize) -
                             columnsOf(text::indentationOf(functionLine->text), settings.tabSize);
            bodyEvidence += step > 0 ? 1 : -1;
            functionLine = nullptr;
        }
        if (startsWithWord(text::trimLeft(line.text), u"function")) functionLine = &line;
        previous = &line;
    }
    if (tabbed != spaced) style.insertSpaces = spaced > tabbed;
    std::size_t best = 0;
    for (std::size_t step = 1; step < steps.size(); ++step)
        if (steps[step] > steps[best]) best = step;
    if (tabbed > spaced)
        style.indentSize = style.tabSize;
    else if (spaced > tabbed && best > 0)
        style.indentSize = static_cast<unsigned>(best);
    if (bodyEvidence > 0 && style.functionIndent == 0) style.functionIndent = 2;
    if (bodyEvidence < 0) style.functionIndent = 0;
    return style;
}

namespace {

// Where the formatter's window starts, and the lines put in front of it. The formatter keeps a
// window's first line as it is and reads the level of the first code line after it from that line's
// own indentation: so the window is a comment line of its own, then the file from a line above the edit
// (at the margin when one is near), whose indentation anchors the levels of the lines below.
struct FormatWindow {
    std::size_t start = 0;
    std::u16string_view lead;
};

FormatWindow formatWindow(const fl::ustring& file, std::size_t editLineStart) {
    std::size_t start = editLineStart;
    for (std::size_t linesAbove = 0; start > 0 && linesAbove < kFormatLinesAbove; ++linesAbove) {
        start = text::lineStart(file, start - 1);
        if (isTopLevelStart(std::u16string_view(file).substr(start, text::lineEnd(file, start) - start)))
            break;
    }
    // On the file's first line, a statement at the margin stands in for the lines above.
    return {start, start == editLineStart ? std::u16string_view(u"%\n0\n") : std::u16string_view(u"%\n")};
}

}  // namespace

void reindentEdit(const fl::ustring& file, Edit& edit, const IndentSettings& settings) {
    const FormatWindow windowStart = formatWindow(file, text::lineStart(file, edit.start));
    const std::size_t windowEnd = text::lineEnd(file, edit.end);
    fl::ustring before(windowStart.lead);
    before.append(std::u16string_view(file).substr(windowStart.start, edit.start - windowStart.start));
    // A line end after the window: the formatter leaves a last line without one as it is.
    const fl::ustring after =
        fl::ustring(std::u16string_view(file).substr(edit.end, windowEnd - edit.end)) + u"\n";
    fl::ustring window;
    window.reserve(before.size() + edit.text.size() + after.size());
    window.append(before).append(edit.text).append(after);

    // The lines that start inside the edit's text.
    const std::size_t editFrom = before.size(), editTo = before.size() + edit.text.size();
    std::uint32_t firstLine = 0, lastLine = 0;
    std::uint32_t lineNumber = 1;
    for (std::size_t i = 0; i < editTo; ++i) {
        const bool lineStartsHere = i == 0 || window[i - 1] == u'\n';
        if (i > 0 && window[i - 1] == u'\n') ++lineNumber;
        if (lineStartsHere && i >= editFrom) {
            if (firstLine == 0) firstLine = lineNumber;
            lastLine = lineNumber;
        }
    }
    if (firstLine == 0) return;

    const IndentSettings style = fileIndentation(file, edit.start, settings);
    ca::formatting::legacy::Settings formatting;
    formatting.startLine = firstLine;
    formatting.endLine = lastLine;
    formatting.insertSpaces = style.insertSpaces;
    formatting.tabSize = std::max(1u, style.tabSize);
    formatting.indentSize = std::max(1u, style.indentSize);
    formatting.functionIndentation =
        static_cast<ca::formatting::legacy::FunctionIndentation>(std::clamp(style.functionIndent, 0, 2));
    formatting.blankLines =
        static_cast<ca::formatting::legacy::BlankLines>(std::clamp(style.blankLines, 0, 2));
    const ca::formatting::legacy::LegacyFormatter formatter(formatting);
    const fl::ustring formatted = formatter.getFormattedText(formatter.indentCode(ca::lexer::lex(window)));
    if (formatted.size() < before.size() + after.size() ||
        !std::u16string_view(formatted).starts_with(before) ||
        !std::u16string_view(formatted).ends_with(after))
        return;
    edit.text = formatted.substr(before.size(), formatted.size() - before.size() - after.size());
}

}  // namespace fit
