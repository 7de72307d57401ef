#include "fit/completion_edit.hpp"

#include <algorithm>
#include <exception>

#include "fit/cursor_line.hpp"
#include "fit/edit_fitter.hpp"
#include "fit/empty_reason.hpp"
#include "fit/reply_retries.hpp"
#include "fit/reply_shape.hpp"
#include "fit/restated_lines.hpp"
#include "fit/text_lines.hpp"
#include "foundation/log/diagnostic_logger.hpp"

namespace fit {
namespace {

using foundation::log::kSeverityStage;
const char* const kChannel = "fit::CompletionEdit";

void logOutcome(const Fitted& fitted) {
    const foundation::log::diagnostic_logger logger(kChannel);
    if (!logger.is_enabled(kSeverityStage)) return;
    if (!fitted.edit) {
        logger.record(kSeverityStage)
            << "no completion: the " << fitted.emptyStage << " stage left nothing: " << fitted.reason;
        return;
    }
    for (const std::string& repair : fitted.repairs)
        logger.record(kSeverityStage) << "repaired the completion: " << repair;
    logger.record(kSeverityStage) << "offering an edit that replaces [" << fitted.edit->start << ", "
                                  << fitted.edit->end << ") with " << fitted.edit->text.size()
                                  << " code units";
}

// The attempt as the editor gets it; an attempt that only repeated the code around the cursor left
// nothing at deduplication, whatever stage `emptyStage` names.
Fitted fitted(Attempt attempt, std::string emptyStage) {
    Fitted out;
    if (attempt.edit) {
        out.edit = std::move(attempt.edit);
        out.repairs = std::move(attempt.repairs);
    } else {
        out.emptyStage = attempt.finding.starts_with(kOnlyRepeats) || attempt.finding == kRepeatsAround
                             ? "deduplication"
                             : std::move(emptyStage);
        out.reason = attempt.finding;
    }
    return out;
}

// The library's completion, then the reply's other lines where they do better.
Attempt completionAttempt(const EditFitter& fitter, const StageTexts& stages, const ReplyShape& shape,
                          const std::vector<fl::ustring>& lines) {
    Attempt attempt;
    if (!removedHeadWroteOutWholeLines(fitter.file(), fitter.cursor(), shape) &&
        onlyRepeatsTheReplysHead(fitter.file(), fitter.cursor(), lines,
                                 text::splitLinesWithoutBlankEnds(stages.deduplicated)))
        attempt.finding = kOnlyRepeats;
    else
        attempt = fitter.fit(lines, shapeOfHead(stages, shape, lines));
    attempt = withCutOffLines(fitter, stages, shape, lines, std::move(attempt));
    attempt = keepingRepeats(fitter, stages, shape, lines, std::move(attempt));
    attempt = withoutRepeatedClosers(fitter, lines, shape, std::move(attempt));
    return withoutClosersAboveWhenNothingFits(fitter, lines, shape, std::move(attempt));
}

// Deduplication takes the reply's first line for a repeat of the code before the cursor wherever that code
// ends with it, also where it is only the end of the cursor's line (`1/4, 0, 0, 0|` with `, 0`): a model
// that writes out again the code above writes whole lines. Such a line goes on with the cursor's line; the
// completion with it is offered where it fits.
Attempt keepingLineTail(const EditFitter& fitter, const StageTexts& stages, const ReplyShape& shape,
                        const std::vector<fl::ustring>& lines, Attempt attempt) {
    if (shape.removedHead.size() != 1) return attempt;
    const fl::ustring& head = shape.removedHead.front();
    const std::u16string_view code = text::trimLeft(cursorLineOf(fitter.file(), fitter.cursor()).before);
    if (text::isBlankText(head) || head.size() >= code.size() || !code.ends_with(head)) return attempt;
    StageTexts withHead = stages;
    withHead.deduplicated = head + u'\n' + stages.deduplicated;
    ReplyShape kept = shape;
    kept.headRemoved = false;
    kept.removedHead.clear();
    std::vector<fl::ustring> headAndLines{head};
    headAndLines.insert(headAndLines.end(), lines.begin(), lines.end());
    Attempt again = completionAttempt(fitter, withHead, kept, headAndLines);
    if (!isClean(again)) return attempt;
    again.repairs.insert(again.repairs.begin(),
                         "kept the reply's first line, which goes on with the cursor's line");
    return again;
}

Fitted fitCompletionLines(const EditFitter& fitter, const StageTexts& stages, const ReplyShape& shape,
                          const std::vector<fl::ustring>& lines) {
    Attempt attempt = completionAttempt(fitter, stages, shape, lines);
    attempt = keepingLineTail(fitter, stages, shape, lines, std::move(attempt));
    Fitted out = fitted(std::move(attempt), "final check");
    if (!out.edit && out.emptyStage == "final check") out.reason = "the final check found " + out.reason;
    return out;
}

// When the library dropped the whole reply at validation or pruning (or kept only blank lines of it),
// the reply's lines are tried
// instead: a reply whose only fault is the column the model started it at still fits.
std::vector<fl::ustring> droppedReplyLines(const StageTexts& stages) {
    if (stages.deduplicated.empty() ||
        !(text::isBlankText(stages.validated) || text::isBlankText(stages.pruned)))
        return {};
    return replyLines(stages);
}

// Deduplication takes a comment line for a repeat of the comment lines next to the cursor even where
// its text differs (`%` between `% Reads the export` and `% Zones are numbered`). Comment lines that
// neither the cursor's line nor the lines just above and below it read as, are the model's own.
bool onlyNewCommentsRemoved(const fl::ustring& file, std::size_t cursor, const StageTexts& stages,
                            const std::vector<fl::ustring>& removed) {
    if (removed.empty() || !text::isBlankText(stages.deduplicated)) return false;
    const CursorLine line = cursorLineOf(file, cursor);
    const std::size_t below = text::nextLineStart(file, line.end);
    // Below typed code the completion follows the cursor's line: the line above that one is not next to it.
    std::vector<std::u16string_view> around =
        text::isBlankText(line.before) ? linesAbove(file, line.start, 1) : std::vector<std::u16string_view>{};
    around.push_back(text::trim(std::u16string_view(file).substr(line.start, line.end - line.start)));
    if (below < file.size())
        around.push_back(
            text::trim(std::u16string_view(file).substr(below, text::lineEnd(file, below) - below)));
    return std::all_of(removed.begin(), removed.end(), [&](const fl::ustring& comment) {
        const std::u16string_view code = text::trim(comment);
        return code.starts_with(u"%") && std::find(around.begin(), around.end(), code) == around.end();
    });
}

// The reply the library dropped, or the lines deduplication removed from it, fitted as the completion
// would be; otherwise the stage that left nothing, with what the reply gives in the file.
Fitted fitDroppedReply(const EditFitter& fitter, const StageTexts& stages, const ReplyShape& shape,
                       const std::vector<fl::ustring>& dropped) {
    Attempt attempt = dropped.empty() ? Attempt{} : fitter.fit(dropped, shapeOfHead(stages, shape, dropped));
    if (dropped.empty() &&
        onlyNewCommentsRemoved(fitter.file(), fitter.cursor(), stages, shape.removedHead)) {
        ReplyShape kept = shape;
        kept.keepsRepeats = true;
        kept.removedHead.clear();
        attempt = fitter.fit(shape.removedHead, kept);
    }
    // All of the reply when its first block fails or leaves errors: the block may be lines that repeat
    // the code above the cursor, which the fitter drops.
    if (const auto all = text::splitLinesWithoutBlankEnds(stages.deduplicated);
        !isClean(attempt) && !dropped.empty() && all != dropped) {
        if (Attempt whole = fitter.fit(all, shape); better(whole, attempt)) attempt = std::move(whole);
    }
    attempt = keepingRepeats(fitter, stages, shape, dropped, std::move(attempt));
    attempt = withoutRepeatedClosers(fitter, dropped, shape, std::move(attempt));
    attempt = withoutClosersAboveWhenNothingFits(fitter, dropped, shape, std::move(attempt));
    if (attempt.edit)
        attempt.repairs.insert(attempt.repairs.begin(), "re-indented a reply the library dropped");
    Fitted out = fitted(std::move(attempt), "");
    if (out.edit) return out;
    const std::string finding = out.reason;
    out = nothingFrom(stages);
    if (!finding.empty()) out.reason += "; placed in the file it gives " + finding;
    return out;
}

Fitted fitWithin(const fl::ustring& file, std::size_t cursor, const StageTexts& stages,
                 const IndentSettings& settings) {
    if (cursor > file.size()) {
        Fitted out;
        out.emptyStage = "input";
        out.reason = "the cursor lies beyond the end of the file";
        return out;
    }
    if (text::isBlankText(file)) {
        Fitted out;
        out.emptyStage = "input";
        out.reason = "the file holds nothing but blanks: the model is not asked";
        return out;
    }
    const EditFitter fitter(file, cursor, settings);
    const ReplyShape shape = shapeOf(stages, file, cursor);
    // The formatting stage only re-indents what pruning kept; the edit is re-indented in the file anyway,
    // and where the model's own indentation fits it stays, so the edit starts from that.
    if (const auto lines = text::splitLinesWithoutBlankEnds(stages.pruned); !lines.empty())
        return fitCompletionLines(fitter, stages, shape, lines);
    if (const auto dropped = droppedReplyLines(stages); !dropped.empty() || !shape.removedHead.empty())
        return fitDroppedReply(fitter, stages, shape, dropped);
    return nothingFrom(stages);
}

}  // namespace

Fitted fitCompletion(const fl::ustring& file, std::size_t cursor, const StageTexts& stages,
                     const IndentSettings& settings) {
    Fitted out;
    try {
        out = fitWithin(file, cursor, stages, settings);
    } catch (const std::exception& e) {
        // The analyser refuses texts beyond its limits (length, nesting): such an edit is not offered.
        out = Fitted{};
        out.emptyStage = "final check";
        out.reason = std::string("the final check could not read the edited file: ") + e.what();
    }
    logOutcome(out);
    return out;
}

}  // namespace fit
