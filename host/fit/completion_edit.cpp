#include "fit/completion_edit.hpp"

#include <algorithm>
#include <exception>

#include "fit/empty_reason.hpp"
#include "fit/final_check.hpp"
#include "fit/placement.hpp"
#include "fit/reindent.hpp"
#include "fit/reindent_glue.hpp"
#include "fit/reply_shape.hpp"
#include "fit/text_lines.hpp"
#include "foundation/log/diagnostic_logger.hpp"

namespace fit {
namespace {

using foundation::log::kSeverityStage;
const char* const kChannel = "fit::CompletionEdit";

constexpr const char* kOnlyRepeats = "the completion only repeats the lines above the cursor";
constexpr const char* kRepeatsAround = "the completion only repeats the code around the cursor";

// Blocks a completion may leave open at the end of a file that the edit closes for it.
constexpr std::size_t kMostClosedBlocks = 4;

std::vector<fl::ustring> completionLines(const fl::ustring& completion) {
    std::vector<fl::ustring> lines = text::splitLines(completion);
    while (!lines.empty() && text::isBlankText(lines.back()))
        lines.pop_back();
    while (!lines.empty() && text::isBlankText(lines.front()))
        lines.erase(lines.begin());
    return lines;
}

// The deduplicated reply up to its first blank line (the library keeps one block of lines too).
std::vector<fl::ustring> replyLines(const StageTexts& stages) {
    std::vector<fl::ustring> lines = completionLines(stages.deduplicated);
    for (std::size_t i = 0; i < lines.size(); ++i)
        if (text::isBlankText(lines[i])) {
            lines.resize(i);
            break;
        }
    return lines;
}

// When the library dropped the whole reply at validation or pruning, the reply's lines are tried
// instead: a reply whose only fault is the column the model started it at still fits.
std::vector<fl::ustring> fallbackLines(const StageTexts& stages) {
    if (stages.deduplicated.empty() || !(stages.validated.empty() || stages.pruned.empty())) return {};
    return replyLines(stages);
}

struct Attempt {
    std::optional<Edit> edit;
    std::string finding;
    std::vector<std::string> repairs;
    std::size_t errorsBefore = 0;  // of the final check's window, for the edit offered
    std::size_t errorsLeft = 0;
    bool writesOutBelow = false;  // the edit writes out again code that follows the cursor's line
};

// Trailing lines the fitter drops, one at a time, before it gives up on a completion.
constexpr std::size_t kMostDroppedLines = 3;

// A line a token limit cut off: it ends in an operator, a separator or an open bracket.
bool looksUnfinished(const fl::ustring& line) {
    const std::u16string_view code = text::trim(line);
    return !code.empty() &&
           std::u16string_view(u"+-*/\\^=&|<>~,([{.@:").find(code.back()) != std::u16string_view::npos;
}

class EditFitter {
  public:
    EditFitter(const fl::ustring& file, std::size_t cursor, const IndentSettings& settings)
        : file_(file),
          cursor_(cursor),
          settings_(settings),
          lineEnd_(text::usesCrLf(file, cursor) ? u"\r\n" : u"\n") {}

    // Tries the completion without the lines that repeat the code below the cursor first, then as it is
    // (when those lines are the closing lines of what it opens).
    Attempt fit(const std::vector<fl::ustring>& lines, const ReplyShape& shape) const {
        const std::vector<fl::ustring> shorter = withoutRepeatedTail(file_, cursor_, lines, false);
        if (shorter.size() < lines.size() && !shorter.empty()) {
            Attempt attempt = fitLines(shorter, shape);
            if (attempt.edit) return attempt;
        }
        Attempt attempt = fitLines(lines, shape);
        attempt.writesOutBelow = attempt.writesOutBelow || shorter.size() < lines.size();
        // A reply cut by a token limit may end in an unfinished statement that only a reading of the
        // whole file shows: its last lines go, a few at most.
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

    // The completion without its last lines when they only close blocks and write out again the closing
    // lines below the cursor's line; nothing when there are none.
    Attempt fitWithoutRepeatedClosers(const std::vector<fl::ustring>& lines, const ReplyShape& shape) const {
        const std::vector<fl::ustring> shorter = withoutRepeatedTail(file_, cursor_, lines, true);
        if (shorter.size() == lines.size() || shorter.empty()) return {};
        Attempt attempt = fitLines(shorter, shape);
        if (attempt.edit)
            attempt.repairs.push_back(
                "dropped the completion's closing lines that repeat those below the cursor");
        return attempt;
    }

    const fl::ustring& file() const { return file_; }
    std::size_t cursor() const { return cursor_; }

  private:
    Attempt fitLines(const std::vector<fl::ustring>& lines, const ReplyShape& shape) const {
        Attempt attempt;
        const std::vector<Edit> candidates = candidateEdits(file_, cursor_, lines, shape);
        if (candidates.empty()) attempt.finding = kOnlyRepeats;
        for (Edit candidate : candidates) {
            keepTrailingBlankLines(candidate, lines, shape);
            if (tryEdit(candidate, attempt) || attempt.finding == kRepeatsAround) return attempt;
            // Deduplication took the completion's closing lines for the suffix's: put them back, after
            // the line they followed (pruning may have cut the completion before it).
            if (!shape.removedTail.empty() && text::trim(lines.back()) == text::trim(shape.lastCodeLine)) {
                Edit restored = candidate;
                restored.text += u"\n" + text::joinLines(shape.removedTail, u"\n");
                if (tryEdit(restored, attempt,
                            "put back the closing lines that repeat the code below the cursor")) {
                    attempt.writesOutBelow = !std::all_of(
                        shape.removedTail.begin(), shape.removedTail.end(), [](const fl::ustring& line) {
                            return text::isBlankText(line) || text::isClosingLine(text::trim(line));
                        });
                    return attempt;
                }
            }
        }
        return attempt;
    }

    // Blank lines the model wrote after the completion (extraction trims them) separate it from the
    // code below: kept when the completion ends where the reply did and the line below is not blank.
    void keepTrailingBlankLines(Edit& edit, const std::vector<fl::ustring>& lines,
                                const ReplyShape& shape) const {
        if (shape.trailingBlankLines == 0 || lines.empty() || edit.end != text::lineEnd(file_, edit.end))
            return;
        if (text::trim(lines.back()) != text::trim(shape.lastCodeLine)) return;
        const std::size_t next = text::nextLineStart(file_, edit.end);
        if (next == edit.end ||
            text::isBlankText(std::u16string_view(file_).substr(next, text::lineEnd(file_, next) - next)))
            return;
        for (std::size_t i = 0; i < shape.trailingBlankLines; ++i)
            edit.text += u"\n";
    }

    // Re-indents and checks one candidate; at the end of the file, closes the blocks it leaves open.
    bool tryEdit(Edit edit, Attempt& attempt, const char* repair = nullptr) const {
        edit.text = text::withLineEnds(edit.text, lineEnd_);
        separateFromTypedCode(file_, cursor_, edit);
        reindentEdit(file_, cursor_, edit, settings_);
        CheckResult check = checkEdit(file_, edit, readings_);
        if (!check.passed && check.atEndOfFile && check.unclosedBlocks > 0 &&
            check.unclosedBlocks <= kMostClosedBlocks) {
            Edit closed = edit;
            for (std::size_t i = 0; i < check.unclosedBlocks; ++i)
                closed.text += fl::ustring(lineEnd_) + u"end";
            reindentEdit(file_, cursor_, closed, settings_);
            if (CheckResult closedCheck = checkEdit(file_, closed, readings_); closedCheck.passed) {
                attempt.repairs.push_back(
                    "closed the blocks the completion leaves open at the end of the file");
                edit = std::move(closed);
                check = closedCheck;
            }
        }
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
        attempt.edit = std::move(edit);
        return true;
    }

    const fl::ustring& file_;
    mutable FileReadings readings_;  // the file as it is, read once per window for every edit tried
    std::size_t cursor_;
    IndentSettings settings_;
    std::u16string_view lineEnd_;
};

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

// True when `again` fits and `than` does not, or `again` leaves fewer errors, or as few without writing
// out again the code below the cursor's line.
bool better(const Attempt& again, const Attempt& than) {
    return again.edit &&
           (!than.edit || again.errorsLeft < than.errorsLeft ||
            (than.writesOutBelow && !again.writesOutBelow && again.errorsLeft <= than.errorsLeft));
}

// True when `whole` is `lines` and more, blanks aside.
bool goesOn(const std::vector<fl::ustring>& whole, const std::vector<fl::ustring>& lines) {
    return whole.size() > lines.size() && std::equal(lines.begin(), lines.end(), whole.begin(),
                                                     [](const fl::ustring& a, const fl::ustring& b) {
                                                         return text::trim(a) == text::trim(b);
                                                     });
}

// True when an attempt may still be bettered: nothing fits, or it leaves errors or writes out below.
bool mayBeBettered(const Attempt& attempt) {
    return !attempt.edit || attempt.errorsLeft > 0 || attempt.writesOutBelow;
}

// Lines that repeat the code above the cursor are dropped (by deduplication, or by the placement at a
// blank line), but the file may need them: an `end` below another `end` is both. When the edit leaves
// errors in the file, writes out again the code below the cursor's line, or nothing fits, the closing
// lines are kept, first those the placement dropped, then also those that deduplication removed; such
// an edit is offered when it does better.
Attempt keepingRepeats(const EditFitter& fitter, const StageTexts& stages, const ReplyShape& shape,
                       const std::vector<fl::ustring>& lines, Attempt attempt) {
    constexpr const char* kRepair =
        "kept the lines that repeat the code above the cursor, which the file needs";
    ReplyShape kept = shape;
    kept.keepsRepeats = true;
    kept.headRemoved = false;
    // Closing lines, or lines that only close brackets (`)` at a cursor before a call's last bracket).
    const bool headCloses =
        !shape.removedHead.empty() &&
        std::all_of(shape.removedHead.begin(), shape.removedHead.end(), [](const auto& line) {
            const std::u16string_view code = text::trim(line);
            return text::isClosingLine(code) || code.find_first_not_of(u")]};,") == std::u16string_view::npos;
        });
    // A reply that begins with a line break writes new lines: closing lines that deduplication took for
    // the end of the cursor's line (`    end|` + `⏎end`) are its own; so are those the model wrote at
    // another column than the line above (`  end` below `    end`).
    if ((shape.leadingLineBreak || removedHeadStandsApart(fitter.file(), fitter.cursor(), shape)) &&
        headCloses) {
        const std::vector<fl::ustring> reply = completionLines(stages.extracted);
        Attempt withHead = fitter.fit(reply, kept);
        if (!withHead.edit) withHead = fitter.fitWithoutRepeatedClosers(reply, kept);
        if (withHead.edit && (!attempt.edit || withHead.errorsLeft <= attempt.errorsLeft)) {
            withHead.repairs.push_back(kRepair);
            return withHead;
        }
    }
    if (attempt.edit && attempt.errorsLeft == 0 && !attempt.writesOutBelow) return attempt;
    // Fewer errors left, or as few without writing out again the code below the cursor's line.
    // The placement keeps only closing lines it would drop, and those come first.
    Attempt again = lines.empty() || !text::isClosingLine(text::trim(lines.front()))
                        ? Attempt{}
                        : fitter.fit(lines, kept);
    if (!(again.edit && again.errorsLeft == 0 && !again.writesOutBelow) && headCloses) {
        const std::vector<fl::ustring> reply = completionLines(stages.extracted);
        Attempt withHead = fitter.fit(reply, kept);
        if (!withHead.edit) withHead = fitter.fitWithoutRepeatedClosers(reply, kept);
        // The removed lines must be what mends the file, not the lines after them.
        if (better(withHead, again.edit ? again : attempt) &&
            (stages.deduplicated.empty() ||
             better(withHead, fitter.fit(completionLines(stages.deduplicated), shape))))
            again = std::move(withHead);
    }
    if (!better(again, attempt)) return attempt;
    again.repairs.push_back(kRepair);
    return again;
}

// The completion without its last lines when they only close blocks and write out again the closing
// lines below the cursor's line: offered when nothing else fits, or when it leaves fewer errors (an
// `end` one time too many).
Attempt withoutRepeatedClosers(const EditFitter& fitter, const std::vector<fl::ustring>& lines,
                               const ReplyShape& shape, Attempt attempt) {
    if (lines.empty() || (attempt.edit && attempt.errorsLeft == 0)) return attempt;
    Attempt shorter = fitter.fitWithoutRepeatedClosers(lines, shape);
    return shorter.edit && (!attempt.edit || shorter.errorsLeft < attempt.errorsLeft) ? shorter : attempt;
}

Fitted fitWithin(const fl::ustring& file, std::size_t cursor, const StageTexts& stages,
                 const IndentSettings& settings) {
    Fitted out;
    if (cursor > file.size()) {
        out.emptyStage = "input";
        out.reason = "the cursor lies beyond the end of the file";
    } else {
        const EditFitter fitter(file, cursor, settings);
        const ReplyShape shape = shapeOf(stages, file, cursor);
        // The formatting stage only re-indents what pruning kept; the edit is re-indented in the file
        // anyway, and where the model's own indentation fits it stays, so the edit starts from that.
        const fl::ustring& finalText = stages.pruned;
        if (const auto lines = completionLines(finalText); !lines.empty()) {
            Attempt attempt;
            if (onlyRepeatsTheReplysHead(file, cursor, lines, completionLines(stages.deduplicated)))
                attempt.finding = kOnlyRepeats;
            else
                attempt = fitter.fit(lines, shape);
            // The library's cut may be what breaks the file, or leaves it broken: the reply as it came may
            // fit, or mend it.
            // First its first block of lines, then all of it (the first block may end in the middle of
            // what the file needs, as a function's `end` before the next function).
            // Last, each without its closing lines that repeat those below the cursor.
            const std::vector<fl::ustring> wholes[] = {replyLines(stages),
                                                       completionLines(stages.deduplicated)};
            for (std::size_t i = 0; i < 4; ++i) {
                const std::vector<fl::ustring>& whole = wholes[i % 2];
                // An edit that fits is bettered only by more of the reply after it.
                if (!mayBeBettered(attempt) || whole.empty() || whole == lines ||
                    (attempt.edit && !goesOn(whole, lines)))
                    continue;
                Attempt wholeAttempt =
                    i < 2 ? fitter.fit(whole, shape) : fitter.fitWithoutRepeatedClosers(whole, shape);
                if (better(wholeAttempt, attempt)) {
                    wholeAttempt.repairs.insert(wholeAttempt.repairs.begin(),
                                                "took the reply's lines that the library cut off");
                    attempt = std::move(wholeAttempt);
                }
            }
            attempt = keepingRepeats(fitter, stages, shape, lines, std::move(attempt));
            attempt = withoutRepeatedClosers(fitter, lines, shape, std::move(attempt));
            out = fitted(std::move(attempt), "final check");
            if (!out.edit && out.emptyStage == "final check")
                out.reason = "the final check found " + out.reason;
        } else if (const auto fallback = fallbackLines(stages);
                   !fallback.empty() || !shape.removedHead.empty()) {
            Attempt attempt = fallback.empty() ? Attempt{} : fitter.fit(fallback, shape);
            // All of the reply when its first block fails or leaves errors: the block may be lines that
            // repeat the code above the cursor, which the fitter drops.
            if (const auto all = completionLines(stages.deduplicated);
                mayBeBettered(attempt) && !fallback.empty() && all != fallback) {
                if (Attempt whole = fitter.fit(all, shape); better(whole, attempt))
                    attempt = std::move(whole);
            }
            attempt = keepingRepeats(fitter, stages, shape, fallback, std::move(attempt));
            attempt = withoutRepeatedClosers(fitter, fallback, shape, std::move(attempt));
            if (attempt.edit)
                attempt.repairs.insert(attempt.repairs.begin(), "re-indented a reply the library dropped");
            out = fitted(std::move(attempt), "");
            if (!out.edit) {
                const std::string finding = out.reason;
                out = nothingFrom(stages);
                if (!finding.empty()) out.reason += "; placed in the file it gives " + finding;
            }
        } else {
            out = nothingFrom(stages);
        }
    }
    return out;
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
