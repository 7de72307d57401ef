#include "fit/edit_fitter.hpp"

#include <algorithm>

#include "fit/placement.hpp"
#include "fit/reindent.hpp"
#include "fit/reindent_glue.hpp"
#include "fit/repeated_tail.hpp"
#include "fit/text_lines.hpp"

namespace fit {
namespace {

// Blocks a completion may leave open at the end of a file that the edit closes for it.
constexpr std::size_t kMostClosedBlocks = 4;

// Trailing lines the fitter drops, one at a time, before it gives up on a completion.
constexpr std::size_t kMostDroppedLines = 3;

// A line a token limit cut off: it ends in an operator, a separator or an open bracket.
bool looksUnfinished(const fl::ustring& line) {
    const std::u16string_view code = text::trim(line);
    return !code.empty() &&
           std::u16string_view(u"+-*/\\^=&|<>~,([{.@:").find(code.back()) != std::u16string_view::npos;
}

bool isBlankOrClosing(const fl::ustring& line) {
    return text::isBlankText(line) || text::isClosingLine(text::trim(line));
}

// Blank lines the model wrote after the completion (extraction trims them) separate it from the code
// below: kept when the completion ends where the reply did and the line below is not blank. Its last
// lines must read as the reply's: pruning may cut a reply after an `end` of a block inside it, and its
// last line is then another `end`.
void keepTrailingBlankLines(const fl::ustring& file, Edit& edit, const std::vector<fl::ustring>& lines,
                            const ReplyShape& shape) {
    if (shape.trailingBlankLines == 0 || lines.empty() || edit.end != text::lineEnd(file, edit.end)) return;
    const std::size_t compared = std::min(lines.size(), shape.lastCodeLines.size());
    if (compared == 0 || !std::equal(lines.end() - static_cast<std::ptrdiff_t>(compared), lines.end(),
                                     shape.lastCodeLines.end() - static_cast<std::ptrdiff_t>(compared),
                                     [](const fl::ustring& a, const fl::ustring& b) {
                                         return text::trim(a) == text::trim(b);
                                     }))
        return;
    const std::size_t next = text::nextLineStart(file, edit.end);
    if (next == edit.end ||
        text::isBlankText(std::u16string_view(file).substr(next, text::lineEnd(file, next) - next)))
        return;
    for (std::size_t i = 0; i < shape.trailingBlankLines; ++i)
        edit.text += u"\n";
}

}  // namespace

bool isClean(const Attempt& attempt) {
    return attempt.edit && attempt.errorsLeft == 0 && !attempt.writesOutBelow;
}

bool better(const Attempt& again, const Attempt& than) {
    return again.edit &&
           (!than.edit || again.errorsLeft < than.errorsLeft ||
            (than.writesOutBelow && !again.writesOutBelow && again.errorsLeft <= than.errorsLeft));
}

EditFitter::EditFitter(const fl::ustring& file, std::size_t cursor, const IndentSettings& settings)
    : file_(file),
      cursor_(cursor),
      settings_(settings),
      lineEnd_(text::usesCrLf(file, cursor) ? u"\r\n" : u"\n") {}

Attempt EditFitter::fit(const std::vector<fl::ustring>& lines, const ReplyShape& shape) const {
    const std::vector<fl::ustring> shorter = withoutRepeatedTail(file_, cursor_, lines);
    if (shorter.size() < lines.size() && !shorter.empty()) {
        Attempt attempt = fitLines(shorter, shape);
        if (attempt.edit) return attempt;
    }
    Attempt attempt = fitLines(lines, shape);
    attempt.writesOutBelow = attempt.writesOutBelow || shorter.size() < lines.size();
    // A reply cut by a token limit may end in an unfinished statement that only a reading of the whole
    // file shows: its last lines go, a few at most.
    std::vector<fl::ustring> kept = lines;
    for (std::size_t dropped = 0;
         !attempt.edit && dropped < kMostDroppedLines && kept.size() > 1 && looksUnfinished(kept.back());
         ++dropped) {
        kept.pop_back();
        Attempt shortened = fitLines(kept, shape);
        if (shortened.edit) {
            shortened.repairs.push_back(
                "dropped the completion's last lines, which the file does not accept");
            return shortened;
        }
    }
    return attempt;
}

Attempt EditFitter::fitWithoutRepeatedClosers(const std::vector<fl::ustring>& lines,
                                              const ReplyShape& shape) const {
    Attempt best;
    for (const std::vector<fl::ustring>& shorter : withoutRepeatedTailsOrClosers(file_, cursor_, lines)) {
        if (shorter.empty()) continue;
        Attempt attempt = fitLines(shorter, shape);
        if (!best.edit && best.finding.empty()) best.finding = attempt.finding;
        if (attempt.edit && (!best.edit || attempt.errorsLeft < best.errorsLeft)) best = std::move(attempt);
        if (isClean(best)) break;
    }
    if (best.edit)
        best.repairs.push_back("dropped the completion's closing lines that repeat those below the cursor");
    return best;
}

Attempt EditFitter::fitLines(const std::vector<fl::ustring>& lines, const ReplyShape& shape) const {
    Attempt attempt;
    const std::vector<Edit> candidates = candidateEdits(file_, cursor_, lines, shape);
    if (candidates.empty()) attempt.finding = kOnlyRepeats;
    // Deduplication took the completion's closing lines for the suffix's: they go back after the line
    // they followed (pruning may have cut the completion before it).
    const bool tailRestorable = !shape.removedTail.empty() && !lines.empty() &&
                                text::trim(lines.back()) == text::trim(shape.lastCodeLine);
    const auto tryRestored = [&](const Edit& candidate, Attempt& into) {
        Edit restored = candidate;
        restored.text += u"\n" + text::joinLines(shape.removedTail, u"\n");
        if (!tryEdit(restored, into, "put back the closing lines that repeat the code below the cursor"))
            return false;
        into.writesOutBelow =
            !std::all_of(shape.removedTail.begin(), shape.removedTail.end(), isBlankOrClosing);
        return true;
    };
    // Lines that only write out again those above the cursor leave the closing lines deduplication took
    // for those below, where they mend an error the file has.
    if (candidates.empty() && tailRestorable) {
        ReplyShape closers = shape;
        closers.removedTail.clear();
        if (Attempt closing = fitLines(shape.removedTail, closers);
            closing.edit && closing.errorsLeft < closing.errorsBefore) {
            closing.repairs.push_back("put back the closing lines that repeat the code below the cursor");
            return closing;
        }
    }
    for (const Edit& unpadded : candidates) {
        Edit candidate = unpadded;
        keepTrailingBlankLines(file_, candidate, lines, shape);
        if (tryEdit(candidate, attempt)) {
            // Without them the edit may only keep an error the file had (the block the completion
            // opens takes the `end` below), or read without one with the closing lines below away from
            // their blocks' columns in a file whose closing lines above stand at theirs; with them it
            // may mend it.
            Attempt restored;
            if (tailRestorable &&
                (attempt.errorsLeft > 0 || (attempt.misalignedBelow > 0 && attempt.misalignedAbove == 0)) &&
                tryRestored(unpadded, restored) &&
                (restored.errorsLeft < attempt.errorsLeft ||
                 (restored.errorsLeft == 0 && attempt.errorsLeft == 0 &&
                  restored.misalignedBelow < attempt.misalignedBelow)))
                return restored;
            return attempt;
        }
        if (attempt.finding == kRepeatsAround) {
            // What only writes out again the code around the cursor may still end in the closing lines
            // the file lacks.
            Attempt restored;
            if (tailRestorable && tryRestored(unpadded, restored) &&
                restored.errorsLeft < restored.errorsBefore)
                return restored;
            return attempt;
        }
        if (tailRestorable && tryRestored(unpadded, attempt)) return attempt;
    }
    return attempt;
}

// Checks the edit; at the end of the file, where it leaves a few blocks open, closes them when that
// passes.
CheckResult EditFitter::checkClosingOpenBlocks(Edit& edit, Attempt& attempt) const {
    CheckResult check = checkEdit(file_, edit, readings_);
    if (check.passed || !check.atEndOfFile || check.unclosedBlocks == 0 ||
        check.unclosedBlocks > kMostClosedBlocks)
        return check;
    Edit closed = edit;
    for (std::size_t i = 0; i < check.unclosedBlocks; ++i)
        closed.text += fl::ustring(lineEnd_) + u"end";
    reindentEdit(file_, cursor_, closed, settings_);
    CheckResult closedCheck = checkEdit(file_, closed, readings_);
    if (!closedCheck.passed) return check;
    attempt.repairs.push_back("closed the blocks the completion leaves open at the end of the file");
    attempt.closesOpenBlocks = true;
    edit = std::move(closed);
    return closedCheck;
}

// Re-indents and checks one candidate; true when it is the attempt's edit.
bool EditFitter::tryEdit(Edit edit, Attempt& attempt, const char* repair) const {
    edit.text = text::withLineEnds(edit.text, lineEnd_);
    separateFromTypedCode(file_, cursor_, edit);
    reindentEdit(file_, cursor_, edit, settings_);
    const CheckResult check = checkClosingOpenBlocks(edit, attempt);
    if (!check.passed) {
        if (attempt.finding.empty()) attempt.finding = check.finding;
        return false;
    }
    edit = minimalEdit(file_, cursor_, std::move(edit));
    // An edit that changes nothing is none: the reply's other lines may still be tried.
    if (edit.text.empty() && edit.start == edit.end) {
        attempt.finding = kRepeatsAround;
        return false;
    }
    if (repair) attempt.repairs.push_back(repair);
    attempt.errorsBefore = check.errorsBefore;
    attempt.errorsLeft = check.errorsAfter;
    attempt.misalignedBelow = check.misalignedBelow;
    attempt.misalignedAbove = check.misalignedAbove;
    attempt.nestsDeeper = check.nestsDeeper;
    attempt.edit = std::move(edit);
    return true;
}

}  // namespace fit
