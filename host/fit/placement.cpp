#include "fit/placement.hpp"

#include <algorithm>

#include "ca/lexer/token.hpp"
#include "fit/cursor_line.hpp"
#include "fit/line_end_glue.hpp"
#include "fit/repeated_tail.hpp"
#include "fit/restated_lines.hpp"
#include "fit/text_lines.hpp"

namespace fit {
namespace {

// The first line as the model indented it (extraction trims its blanks): the formatter re-indents code
// lines, but leaves some comment lines (a help comment under a `function` line) where they stand.
fl::ustring indentedFirstLine(const fl::ustring& first, const ReplyShape& shape) {
    if (shape.headRemoved || !text::indentationOf(first).empty()) return first;
    return shape.leadingBlanks + first;
}

fl::ustring joined(const std::vector<fl::ustring>& lines) {
    return text::joinLines(lines, u"\n");
}

// The cursor's line is blank before the cursor: the completion replaces the blank line, or goes above
// the code after the cursor.
std::vector<Edit> placementsOnBlankLine(const fl::ustring& file, const CursorLine& line, std::size_t end,
                                        std::vector<fl::ustring> lines, const ReplyShape& shape) {
    const std::size_t before = lines.size();
    dropRepeatedLinesAbove(file, line, shape, lines);
    if (lines.empty()) return {};
    if (lines.size() == before) lines.front() = indentedFirstLine(lines.front(), shape);
    // After the lines above that deduplication removed, blanks just as the cursor's are those the model
    // wrote out again with them: the line goes on from the editor's blanks, as a reply without them does.
    if ((shape.headRemoved || lines.size() < before) && !line.before.empty() &&
        text::indentationOf(lines.front()) == line.before)
        lines.front().erase(0, line.before.size());
    if (text::isBlankText(line.after) || end == line.end) return {Edit{line.start, line.end, joined(lines)}};
    // The cursor stands in the indentation of a line of code: the completion goes above that line.
    return {Edit{line.start, line.start, joined(lines) + u"\n"}};
}

// Whether the completion's first line may write out again the cursor's line up to the cursor. Lines that
// deduplication removed ended where the cursor is: what follows them restates the cursor's line only
// when it writes it out as it stands, indentation and all (deduplication may have taken the line above
// for it, when both end alike), and not when they wrote it out whole; after a bare comment sign it is a
// comment line.
bool mayRestateCursorLine(const fl::ustring& file, std::size_t cursor, const CursorLine& line,
                          const std::vector<fl::ustring>& lines, const ReplyShape& shape, bool bareComment) {
    if (shape.headRemoved)
        return !bareComment && text::trimRight(lines.front()).starts_with(line.before) &&
               !removedHeadWroteOutWholeLines(file, cursor, shape);
    return !(shape.keepsRepeats && text::isClosingLine(text::trim(line.before)));
}

// The model's blanks before its first line are fewer than the cursor's line is indented by: it went on
// after the typed code (`    0 0|` + ` 0 1];`) rather than wrote that line out again from its start.
bool startsInsideIndentation(const CursorLine& line, const ReplyShape& shape) {
    return !shape.headRemoved && !shape.leadingBlanks.empty() &&
           columnsOf(shape.leadingBlanks) < columnsOf(text::indentationOf(line.before));
}

// A restated line of more than one word, after lines above it, or written out with its indentation after
// the lines deduplication removed, is the model writing out what was typed: the completion is not also
// put after it.
bool onlyTheRestatementIsMeant(Restatement found, std::u16string_view typedCode, const ReplyShape& shape,
                               bool bareComment) {
    if (found == Restatement::LinesAboveAndLine) return true;
    return found == Restatement::Line && !bareComment &&
           (shape.headRemoved ||
            std::any_of(typedCode.begin(), typedCode.end(), [](char16_t c) { return !text::isWordChar(c); }));
}

// Code is typed before the cursor: the completion continues the line (without what it writes out again
// of it), or, at the line's end, perhaps starts a new one.
std::vector<Edit> placementsAfterTypedCode(const fl::ustring& file, std::size_t cursor,
                                           const CursorLine& line, std::size_t end,
                                           const std::vector<fl::ustring>& lines, const ReplyShape& shape) {
    const std::u16string_view typedCode = text::trim(line.before);
    const bool bareComment = typedCode.find_first_not_of(u'%') == std::u16string_view::npos;
    // After the lines deduplication removed (they ended at the cursor), the rest follows the cursor; so
    // does a reply that began below an empty line, unless it only closes blocks (an `end` below an `end`
    // may be the first of more lines the library cut off).
    const bool onlyCloses = std::all_of(lines.begin(), lines.end(), [](const fl::ustring& code) {
        return text::isClosingLine(text::trim(code));
    });
    if (!shape.headRemoved && (!shape.leadingLineBreak || onlyCloses) &&
        onlyRepeatsLinesAbove(file, line, lines, shape))
        return {};
    std::vector<fl::ustring> rest = lines;
    Restatement found = mayRestateCursorLine(file, cursor, line, lines, shape, bareComment)
                            ? dropRestatement(file, line, shape.headRemoved ? 0 : kMostRestatedLines, rest)
                            : Restatement::None;
    // A number the completion's first one starts with (`0|` + `0.6 0;`) is the row's element before it
    // where the rows' length says so.
    if ((found == Restatement::Line && startsInsideIndentation(line, shape)) ||
        ((found == Restatement::Word || found == Restatement::Line) &&
         typedNumberIsRowElement(file, cursor, line.before, lines.front()))) {
        found = Restatement::None;
        rest = lines;
    }
    // A reply that began below an empty line starts a line of its own, and one that began with a blank a
    // word of its own (`[false true|` + ` true false]`): neither restarts the typed word. When the line
    // is a bare comment sign and the reply put its lines below it, those are comment lines of their own:
    // the restatement comes last.
    // A line written out again from its start and ended by `;` is the model's whole statement: it
    // replaces the rest of the typed statement after the cursor too (`x = zeros|(2)` + `x = zeros(n, 1);`),
    // up to its `;` or a comment, not the statements after it.
    const auto statementEnd = [&](const std::vector<fl::ustring>& written) {
        std::size_t codeEnd = end;
        if (written.empty() || !text::trimRight(written.front()).ends_with(u";")) return codeEnd;
        int depth = 0;
        for (const ca::lexer::Token& token : ca::lexer::lex(fl::ustring(line.after))) {
            using ca::lexer::TokenKind;
            if (token.kind == TokenKind::Comment || token.kind == TokenKind::Continuation) break;
            if (token.kind == TokenKind::Blank) continue;
            codeEnd = cursor + token.offset + token.text.size();
            if (token.kind != TokenKind::Punctuation) continue;
            if (token.text == u"(" || token.text == u"[" || token.text == u"{") ++depth;
            if (token.text == u")" || token.text == u"]" || token.text == u"}") --depth;
            if (depth <= 0 && (token.text == u";" || token.text == u",")) break;
        }
        return codeEnd;
    };
    const std::size_t codeEnd = found == Restatement::Line ? statementEnd(rest) : end;
    std::vector<Edit> candidates, restated;
    // The line written out again with its last word corrected (`y = sm|` + `y = sum(x);`) replaces that
    // word, first; the reply as it stands is tried after it.
    if (found == Restatement::None && !bareComment && !shape.headRemoved && !shape.leadingLineBreak) {
        std::vector<fl::ustring> corrected = lines;
        if (const std::optional<std::size_t> replaced = dropCorrectedWord(file, line, corrected))
            candidates.push_back(
                {cursor - *replaced, std::max(end, statementEnd(corrected)), joined(corrected)});
    }
    if (found != Restatement::None &&
        (found != Restatement::Word || (!shape.leadingLineBreak && shape.leadingBlanks.empty())))
        (shape.leadingLineBreak && bareComment ? restated : candidates)
            .push_back({cursor, std::max(end, codeEnd), joined(rest)});
    if (onlyTheRestatementIsMeant(found, typedCode, shape, bareComment)) return candidates;

    const Edit glue{cursor, end,
                    blankBeforeCompletion(file, cursor, line.before, lines, shape) + joined(lines)};
    if (!text::isBlankText(line.after)) {
        candidates.push_back(glue);
    } else {
        std::vector<fl::ustring> onNewLine = lines;
        onNewLine.front() = indentedFirstLine(onNewLine.front(), shape);
        const std::size_t blankLines =
            shape.headRemoved ? shape.blankLinesAfterHead : shape.leadingBlankLines;
        const Edit newLine{cursor, end, fl::ustring(1 + blankLines, u'\n') + joined(onNewLine)};
        const std::vector<Edit> atLineEnd =
            lineEndPlacements(file, cursor, line.before, lines, shape, glue, newLine);
        candidates.insert(candidates.end(), atLineEnd.begin(), atLineEnd.end());
    }
    candidates.insert(candidates.end(), restated.begin(), restated.end());
    return candidates;
}

}  // namespace

std::vector<Edit> candidateEdits(const fl::ustring& file, std::size_t cursor, std::vector<fl::ustring> lines,
                                 const ReplyShape& shape) {
    if (lines.empty()) return {};
    const CursorLine line = cursorLineOf(file, cursor);
    const std::size_t end = repeatsRestOfLine(lines, line.after) ? line.end : cursor;
    if (text::isBlankText(line.before))
        return placementsOnBlankLine(file, line, end, std::move(lines), shape);
    return placementsAfterTypedCode(file, cursor, line, end, lines, shape);
}

Edit minimalEdit(const fl::ustring& file, std::size_t cursor, Edit edit) {
    std::size_t same = 0;
    while (edit.start + same < cursor && edit.start + same < edit.end && same < edit.text.size() &&
           edit.text[same] == file[edit.start + same])
        ++same;
    edit.start += same;
    edit.text.erase(0, same);
    std::size_t tail = 0;
    while (edit.end - tail > std::max(cursor, edit.start) && tail < edit.text.size() &&
           edit.text[edit.text.size() - 1 - tail] == file[edit.end - 1 - tail])
        ++tail;
    edit.end -= tail;
    edit.text.resize(edit.text.size() - tail);
    return edit;
}

}  // namespace fit
