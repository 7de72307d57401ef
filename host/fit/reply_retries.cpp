#include "fit/reply_retries.hpp"

#include <algorithm>
#include <optional>

#include "fit/cursor_line.hpp"
#include "fit/reindent_block_comment.hpp"
#include "fit/restated_lines.hpp"
#include "fit/text_lines.hpp"

namespace fit {
namespace {

using text::splitLinesWithoutBlankEnds;

// True when `whole` is `lines` and more, blanks aside.
bool goesOn(const std::vector<fl::ustring>& whole, const std::vector<fl::ustring>& lines) {
    return whole.size() > lines.size() && std::equal(lines.begin(), lines.end(), whole.begin(),
                                                     [](const fl::ustring& a, const fl::ustring& b) {
                                                         return text::trim(a) == text::trim(b);
                                                     });
}

using FitLines = Attempt (EditFitter::*)(const std::vector<fl::ustring>&, const ReplyShape&) const;

Attempt tryWhole(const EditFitter& fitter, FitLines fitLines, const std::vector<fl::ustring>& whole,
                 const ReplyShape& shape, const std::vector<fl::ustring>& lines, Attempt attempt) {
    // An edit that fits only with the `end` lines the fitter added may do without them: the model's
    // own lines, cut off by the library, may close its blocks.
    if ((isClean(attempt) && !attempt.closesOpenBlocks) || whole.empty() || whole == lines ||
        (attempt.edit && !goesOn(whole, lines)))
        return attempt;
    Attempt wholeAttempt = (fitter.*fitLines)(whole, shape);
    // At the end of a file still being written, its open blocks are errors the completion need not mend,
    // and pruning cuts the reply short for them: more of the reply is better when it leaves no more.
    const bool writtenAtTheEnd =
        attempt.edit && wholeAttempt.edit && attempt.errorsBefore > 0 &&
        wholeAttempt.errorsLeft <= attempt.errorsLeft && !wholeAttempt.writesOutBelow &&
        text::isBlankText(
            std::u16string_view(fitter.file()).substr(std::min(fitter.cursor(), fitter.file().size())));
    if (!better(wholeAttempt, attempt) && !writtenAtTheEnd) return attempt;
    wholeAttempt.repairs.insert(wholeAttempt.repairs.begin(),
                                "took the reply's lines that the library cut off");
    return wholeAttempt;
}

// Closing lines, or lines that only close brackets (`)` at a cursor before a call's last bracket).
bool onlyCloses(const std::vector<fl::ustring>& lines) {
    return !lines.empty() && std::all_of(lines.begin(), lines.end(), [](const fl::ustring& line) {
        const std::u16string_view code = text::trim(line);
        return text::isClosingLine(code) || code.find_first_not_of(u")]};,") == std::u16string_view::npos;
    });
}

// The whole extracted reply, the lines deduplication removed included, with or without its closing lines
// that repeat those below the cursor, whichever does better.
Attempt fitWithRemovedHead(const EditFitter& fitter, const StageTexts& stages, const ReplyShape& kept) {
    const std::vector<fl::ustring> reply = splitLinesWithoutBlankEnds(stages.extracted);
    Attempt withHead = fitter.fit(reply, kept);
    if (isClean(withHead)) return withHead;
    Attempt shorter = fitter.fitWithoutRepeatedClosers(reply, kept);
    return better(shorter, withHead) ? shorter : withHead;
}

// Functions nesting no deeper, or closing lines below nearer their blocks' columns.
bool tidier(const Attempt& again, const Attempt& than) {
    if (again.nestsDeeper != than.nestsDeeper) return !again.nestsDeeper;
    return again.misalignedBelow < than.misalignedBelow;
}

// A reply written without indentation says nothing by its columns of the closing lines the placement
// took for the lines above written out again: where all of the reply fits as well with them kept, they
// were its own (`end` below `end`, then the next method).
Attempt withFlatClosersKept(const EditFitter& fitter, const StageTexts& stages, const ReplyShape& kept,
                            const std::vector<fl::ustring>& lines, Attempt attempt) {
    const auto flat = [](const std::vector<fl::ustring>& reply) {
        return std::none_of(reply.begin(), reply.end(), [](const fl::ustring& line) {
            return !line.empty() && text::isBlank(line.front());
        });
    };
    Attempt again;
    if (kept.removedHead.empty()) {
        const std::vector<fl::ustring> whole = splitLinesWithoutBlankEnds(stages.deduplicated);
        if (!flat(whole) || lines.empty() || !text::isClosingLine(text::trim(lines.front()))) return attempt;
        again = fitter.fit(whole, kept);
    } else {
        // Or those deduplication removed, when they only close blocks.
        if (!onlyCloses(kept.removedHead) || !flat(splitLinesWithoutBlankEnds(stages.extracted)))
            return attempt;
        again = fitWithRemovedHead(fitter, stages, kept);
    }
    if (!isClean(again) || again.misalignedBelow > 0 || again.nestsDeeper) return attempt;
    again.repairs.push_back("kept the reply's closing lines that read like those above, and the rest of it");
    return again;
}

}  // namespace

std::vector<fl::ustring> replyLines(const StageTexts& stages) {
    std::vector<fl::ustring> lines = splitLinesWithoutBlankEnds(stages.deduplicated);
    const auto blank =
        std::find_if(lines.begin(), lines.end(), [](const auto& l) { return text::isBlankText(l); });
    lines.erase(blank, lines.end());
    return lines;
}

ReplyShape shapeOfHead(const StageTexts& stages, const ReplyShape& shape,
                       const std::vector<fl::ustring>& head) {
    ReplyShape out = shape;
    if (head.size() < splitLinesWithoutBlankEnds(stages.deduplicated).size()) out.removedTail.clear();
    return out;
}

Attempt withCutOffLines(const EditFitter& fitter, const StageTexts& stages, const ReplyShape& shape,
                        const std::vector<fl::ustring>& lines, Attempt attempt) {
    const std::vector<fl::ustring> reply = splitLinesWithoutBlankEnds(stages.deduplicated);
    const std::vector<fl::ustring> wholes[] = {replyLines(stages), reply};
    const ReplyShape shapes[] = {shapeOfHead(stages, shape, wholes[0]), shape};
    for (FitLines fitLines : {&EditFitter::fit, &EditFitter::fitWithoutRepeatedClosers})
        for (std::size_t i = 0; i < 2; ++i) {
            const std::vector<fl::ustring>& whole = wholes[i];
            // A first block that writes out again the lines above (the blank line after them included)
            // only repeats.
            if (!removedHeadWroteOutWholeLines(fitter.file(), fitter.cursor(), shape) &&
                onlyRepeatsTheReplysHead(fitter.file(), fitter.cursor(), whole, reply))
                continue;
            attempt = tryWhole(fitter, fitLines, whole, shapes[i], lines, std::move(attempt));
        }
    return attempt;
}

Attempt keepingRepeats(const EditFitter& fitter, const StageTexts& stages, const ReplyShape& shape,
                       const std::vector<fl::ustring>& lines, Attempt attempt) {
    constexpr const char* kRepair =
        "kept the lines that repeat the code above the cursor, which the file needs";
    ReplyShape kept = shape;
    kept.keepsRepeats = true;
    kept.headRemoved = false;
    const bool headCloses = onlyCloses(shape.removedHead);
    std::optional<Attempt> withHead;  // the same for both tries below: fitted once
    const auto fitWithHead = [&]() -> const Attempt& {
        if (!withHead) withHead = fitWithRemovedHead(fitter, stages, kept);
        return *withHead;
    };
    // A `%}` that deduplication took for the one above closes the block comment the cursor is in.
    if (!shape.removedHead.empty() &&
        std::all_of(shape.removedHead.begin(), shape.removedHead.end(), closesBlockComment) &&
        shape.removedHead.size() <= openBlockComments(fitter.file(), fitter.cursor()) &&
        text::isBlankText(cursorLineOf(fitter.file(), fitter.cursor()).before)) {
        std::vector<fl::ustring> closed = shape.removedHead;
        closed.resize(closed.size() + shape.blankLinesAfterHead);
        closed.insert(closed.end(), lines.begin(), lines.end());
        if (Attempt again = fitter.fit(closed, kept);
            again.edit && (!attempt.edit || !better(attempt, again))) {
            again.repairs.push_back("kept the lines that close the block comment the cursor is in");
            return again;
        }
    }
    // A reply that begins with a line break writes new lines: closing lines that deduplication took for
    // the end of the cursor's line (`    end|` + `⏎end`) are its own; so are those the model wrote at
    // another column than the line above (`  end` below `    end`).
    // The reply's other lines say where the model's margin is, also those the library cut off.
    if ((shape.leadingLineBreak || removedHeadStandsApart(fitter.file(), fitter.cursor(), shape,
                                                          splitLinesWithoutBlankEnds(stages.extracted))) &&
        headCloses) {
        if (const Attempt& head = fitWithHead();
            head.edit && (!attempt.edit || head.errorsLeft <= attempt.errorsLeft)) {
            Attempt taken = head;
            taken.repairs.push_back(kRepair);
            return taken;
        }
    }
    const bool startsClosing = !lines.empty() && text::isClosingLine(text::trim(lines.front()));
    if (isClean(attempt)) {
        // Without the closing lines dropped as repeats, another closing line may close the block they
        // closed, and the file still reads without errors: a function of a file that leaves functions
        // without `end` gives its `end` to a loop, a function the completion adds nests in the one above.
        // Which reading is the file's shows in the closing lines below standing at their blocks' columns
        // and in functions nesting no deeper than the file's.
        if (attempt.misalignedBelow == 0 && !attempt.nestsDeeper)
            return withFlatClosersKept(fitter, stages, kept, lines, std::move(attempt));
        Attempt again = startsClosing ? fitter.fit(lines, kept) : Attempt{};
        if (!isClean(again) && headCloses) again = fitWithHead();
        if (!isClean(again) || !tidier(again, attempt)) return attempt;
        again.repairs.push_back(kRepair);
        return again;
    }
    // Fewer errors left, or as few without writing out again the code below the cursor's line. The
    // placement keeps only closing lines it would drop, and those come first.
    Attempt again = startsClosing ? fitter.fit(lines, kept) : Attempt{};
    // The closing lines may be what the reply's lines after the first block need: a method's `end`, a
    // blank line and the next method.
    if (const auto whole = splitLinesWithoutBlankEnds(stages.deduplicated);
        startsClosing && !isClean(again) && goesOn(whole, lines)) {
        if (Attempt wholeAgain = fitter.fit(whole, kept); better(wholeAgain, again))
            again = std::move(wholeAgain);
    }
    if (!isClean(again) && headCloses) {
        const Attempt& head = fitWithHead();
        // The removed lines must be what mends the file, not the lines after them.
        if (better(head, again.edit ? again : attempt) &&
            (stages.deduplicated.empty() ||
             better(head, fitter.fit(splitLinesWithoutBlankEnds(stages.deduplicated), shape))))
            again = head;
    }
    if (!better(again, attempt)) return attempt;
    again.repairs.push_back(kRepair);
    return isClean(again) ? withFlatClosersKept(fitter, stages, kept, lines, std::move(again)) : again;
}

Attempt withoutRepeatedClosers(const EditFitter& fitter, const std::vector<fl::ustring>& lines,
                               const ReplyShape& shape, Attempt attempt) {
    if (lines.empty() || (attempt.edit && attempt.errorsLeft == 0)) return attempt;
    Attempt shorter = fitter.fitWithoutRepeatedClosers(lines, shape);
    return shorter.edit && (!attempt.edit || shorter.errorsLeft < attempt.errorsLeft) ? shorter : attempt;
}

Attempt withoutClosersAboveWhenNothingFits(const EditFitter& fitter, const std::vector<fl::ustring>& lines,
                                           const ReplyShape& shape, Attempt attempt) {
    if (attempt.edit || lines.empty()) return attempt;
    const std::vector<fl::ustring> shorter = withoutClosersAbove(fitter.file(), fitter.cursor(), lines);
    if (shorter.empty()) return attempt;
    Attempt again = fitter.fit(shorter, shape);
    if (!again.edit) return attempt;
    again.repairs.push_back("dropped the closing lines that repeat those above the cursor");
    return again;
}

}  // namespace fit
