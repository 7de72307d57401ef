#include "fit/reindent.hpp"

#include <algorithm>
#include <array>
#include <map>
#include <optional>
#include <vector>

#include "ca/formatting/legacy/legacy_formatter.hpp"
#include "ca/lexer/token.hpp"
#include "fit/reindent_style.hpp"
#include "fit/text_lines.hpp"

namespace fit {
namespace {

// How far the formatter looks above the edit.
constexpr std::size_t kFormatLinesAbove = 60;
// Code lines above the edit whose indentation tells whether the file follows the formatter there.
constexpr std::size_t kNearbyCodeLines = 8;

bool startsWithWord(std::u16string_view code, std::u16string_view word) {
    return code.starts_with(word) && (code.size() == word.size() || !text::isWordChar(code[word.size()]));
}

bool startsWithAnyWord(std::u16string_view code, std::initializer_list<std::u16string_view> words) {
    return std::any_of(words.begin(), words.end(), [&](auto word) { return startsWithWord(code, word); });
}

// A line that closes a block or a clause of one: it stands at its construct's level, not the body's.
bool isCloser(std::u16string_view code) {
    return startsWithAnyWord(code, {u"end", u"else", u"elseif", u"case", u"catch", u"otherwise"});
}

// A line where the formatter can start reading levels: code at the margin that closes nothing.
bool isTopLevelStart(std::u16string_view line) {
    return !line.empty() && text::isWordChar(line.front()) && !isCloser(line);
}

bool isComment(std::u16string_view line) {
    return text::trimLeft(line).starts_with(u"%");
}

bool isCode(std::u16string_view line) {
    return !text::isBlankText(line) && !isComment(line);
}

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

struct Line {
    std::size_t start;  // offset in its text
    std::u16string_view text;
};

std::vector<Line> linesOf(std::u16string_view text) {
    std::vector<Line> lines;
    for (std::size_t start = 0;;) {
        const std::size_t end = text.find(u'\n', start);
        lines.push_back({start, text.substr(start, end == std::u16string_view::npos ? end : end - start)});
        if (end == std::u16string_view::npos) return lines;
        start = end + 1;
    }
}

fl::ustring formatted(const fl::ustring& window, std::uint32_t lastLine, const IndentSettings& style) {
    ca::formatting::legacy::Settings formatting;
    formatting.startLine = 2;  // the first line is the lead the formatter keeps anyway
    formatting.endLine = lastLine;
    formatting.insertSpaces = style.insertSpaces;
    formatting.tabSize = std::max(1u, style.tabSize);
    formatting.indentSize = std::max(1u, style.indentSize);
    formatting.functionIndentation =
        static_cast<ca::formatting::legacy::FunctionIndentation>(std::clamp(style.functionIndent, 0, 2));
    formatting.blankLines =
        static_cast<ca::formatting::legacy::BlankLines>(std::clamp(style.blankLines, 0, 2));
    const ca::formatting::legacy::LegacyFormatter formatter(formatting);
    return formatter.getFormattedText(formatter.indentCode(ca::lexer::lex(window)));
}

// One line of the window as the file or the model indented it and as the formatter would.
struct Placed {
    std::size_t index;  // in the window's lines
    int own;            // columns of its own indentation
    int formatted;      // columns of the formatter's
};

int sign(int value) {
    return (value > 0) - (value < 0);
}

// In a file that does not follow the formatter near the cursor, the model's indentation fits when it
// moves as the formatter's does: deeper, back or level where the formatter goes deeper, back or stays,
// and at the column it had for an earlier line of the same block level. The first line is the code line
// above the edit.
bool movesLikeTheFormatter(const std::vector<Placed>& lines) {
    std::map<int, int> columnOfLevel;  // formatter column -> own column, of the open levels
    for (std::size_t i = 0; i < lines.size(); ++i) {
        const Placed& line = lines[i];
        if (i > 0 && sign(line.own - lines[i - 1].own) != sign(line.formatted - lines[i - 1].formatted))
            return false;
        columnOfLevel.erase(columnOfLevel.upper_bound(line.formatted), columnOfLevel.end());
        if (const auto known = columnOfLevel.find(line.formatted);
            known != columnOfLevel.end() && known->second != line.own)
            return false;
        columnOfLevel[line.formatted] = line.own;
    }
    return true;
}

}  // namespace

void reindentEdit(const fl::ustring& file, Edit& edit, const IndentSettings& settings) {
    const FormatWindow windowStart = formatWindow(file, text::lineStart(file, edit.start));
    const std::size_t windowEnd = text::lineEnd(file, edit.end);
    fl::ustring window(windowStart.lead);
    window.append(std::u16string_view(file).substr(windowStart.start, edit.start - windowStart.start));
    const std::size_t editFrom = window.size(), editTo = editFrom + edit.text.size();
    window.append(edit.text);
    // A line end after the window: the formatter leaves a last line without one as it is.
    window.append(std::u16string_view(file).substr(edit.end, windowEnd - edit.end)).append(u"\n");

    const std::vector<Line> lines = linesOf(window);
    // The lines the edit starts whose leading blanks are all its own.
    std::vector<std::size_t> started;
    for (std::size_t i = 1; i < lines.size(); ++i) {
        const Line& line = lines[i];
        if (line.start < editFrom || line.start >= editTo) continue;
        const std::size_t blanks = text::indentationOf(line.text).size();
        const bool blankInEdit = text::isBlankText(line.text) && line.start + line.text.size() <= editTo;
        if (line.start + blanks < editTo || blankInEdit) started.push_back(i);
    }
    if (started.empty()) return;

    const IndentSettings style = fileIndentation(file, edit.start, settings);
    const fl::ustring after = formatted(window, static_cast<std::uint32_t>(started.back() + 1), style);
    const std::vector<Line> afterLines = linesOf(after);
    if (afterLines.size() != lines.size()) return;
    for (std::size_t i = 0; i < lines.size(); ++i)
        if (text::trimLeft(lines[i].text) != text::trimLeft(afterLines[i].text)) return;
    const auto placed = [&](std::size_t i) {
        return Placed{i, columnsOf(text::indentationOf(lines[i].text), style.tabSize),
                      columnsOf(text::indentationOf(afterLines[i].text), style.tabSize)};
    };

    // The code lines above the edit: does the file follow the formatter near the cursor?
    std::vector<Placed> above;
    for (std::size_t i = started.front(); i-- > 1 && above.size() < kNearbyCodeLines;)
        if (isCode(lines[i].text) && lines[i].start < editFrom) above.push_back(placed(i));
    const bool fileFollowsFormatter =
        std::all_of(above.begin(), above.end(), [](const Placed& p) { return p.own == p.formatted; });
    std::vector<Placed> code;
    if (!above.empty()) code.push_back(above.front());
    for (std::size_t i : started)
        if (isCode(lines[i].text)) code.push_back(placed(i));
    const bool modelFits =
        std::all_of(code.begin(), code.end(), [](const Placed& p) { return p.own == p.formatted; }) ||
        (!fileFollowsFormatter && movesLikeTheFormatter(code));
    if (modelFits) return;

    // The formatter keeps a comment line where it may belong; the model's column means nothing here, so
    // a comment takes the level of the code below it (of the code above it before a closing line).
    std::vector<std::optional<int>> commentColumns(lines.size());
    std::optional<int> below;
    for (std::size_t i = lines.size(); i-- > 1;) {
        if (isCode(lines[i].text)) {
            below = isCloser(text::trimLeft(lines[i].text)) ? std::nullopt : std::optional(placed(i).formatted);
        } else if (isComment(lines[i].text)) {
            commentColumns[i] = below;
        }
    }
    fl::ustring text;
    std::size_t next = editFrom;  // what of the edit is copied so far, as an offset in the window
    for (std::size_t i : started) {
        const Line& line = lines[i];
        text.append(window, next, line.start - next);
        const std::u16string_view code = text::trimLeft(line.text);
        if (commentColumns[i] && placed(i).formatted == placed(i).own)
            text.append(indentationFor(*commentColumns[i], style));
        else
            text.append(text::indentationOf(afterLines[i].text));
        next = line.start + text::indentationOf(line.text).size();
        if (code.empty()) next = std::min(next, editTo);
    }
    text.append(window, next, editTo - next);
    edit.text = std::move(text);
}

}  // namespace fit
