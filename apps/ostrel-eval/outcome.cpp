#include "outcome.hpp"

#include <algorithm>
#include <vector>

#include "text_lines.hpp"

namespace ostrel_eval {
namespace {

bool equalIgnoringIndentation(const fl::ustring& a, const fl::ustring& b) {
    return withoutIndentation(a) == withoutIndentation(b);
}

// The original before the truth, the truth up to one of its line ends, the cut file after the cursor.
bool isWholeLinePrefix(const EvalCase& evalCase, const fl::ustring& original, const fl::ustring& edited) {
    const fl::ustring& truth = evalCase.truth;
    const std::size_t start = truthStart(evalCase);
    const std::size_t cursor = std::min(evalCase.cursor, evalCase.cut.size());
    const std::size_t after = evalCase.cut.size() - cursor;
    const std::size_t keptAround = start + after;
    if (edited.size() <= keptAround || edited.size() >= keptAround + truth.size()) return false;
    const std::size_t kept = edited.size() - keptAround;
    // The kept part of the truth must end where a line end of the truth begins.
    const bool atLineEnd = (truth[kept] == u'\n' && truth[kept - 1] != u'\r') ||
                           (truth[kept] == u'\r' && kept + 1 < truth.size() && truth[kept + 1] == u'\n');
    if (!atLineEnd) return false;
    return edited.compare(0, start, original, 0, start) == 0 &&
           edited.compare(start, kept, truth, 0, kept) == 0 &&
           edited.compare(start + kept, fl::ustring::npos, evalCase.cut, cursor) == 0;
}

std::vector<fl::ustring> contentLines(const fl::ustring& text) {
    std::vector<fl::ustring> out;
    for (const LineSpan& line : splitLines(text))
        out.push_back(text.substr(line.start, line.contentEnd - line.start));
    while (!out.empty() && isBlankLine(out.back(), {0, out.back().size(), out.back().size()}))
        out.pop_back();
    std::size_t first = 0;
    while (first < out.size() && isBlankLine(out[first], {0, out[first].size(), out[first].size()}))
        ++first;
    out.erase(out.begin(), out.begin() + static_cast<std::ptrdiff_t>(first));
    for (fl::ustring& line : out)
        while (!line.empty() && isBlank(line.back()))
            line.pop_back();
    return out;
}

}  // namespace

std::string_view outcomeName(Outcome outcome) {
    switch (outcome) {
        case Outcome::Exact:
            return "exact";
        case Outcome::Partial:
            return "partial";
        case Outcome::Indent:
            return "indent";
        case Outcome::Lost:
            return "lost";
        case Outcome::Wrong:
            return "wrong";
    }
    return "?";
}

std::optional<fl::ustring> applyEdit(const fl::ustring& cut, const fit::Edit& edit) {
    if (edit.start > edit.end || edit.end > cut.size()) return std::nullopt;
    fl::ustring out = cut;
    out.replace(edit.start, edit.end - edit.start, edit.text);
    return out;
}

Outcome judgeEdit(const EvalCase& evalCase, const std::optional<fit::Edit>& edit) {
    if (!edit || (edit->start == edit->end && edit->text.empty())) return Outcome::Lost;
    const std::optional<fl::ustring> edited = applyEdit(evalCase.cut, *edit);
    if (!edited) return Outcome::Wrong;
    const fl::ustring original = reassemble(evalCase);
    if (*edited == original) return Outcome::Exact;
    if (isWholeLinePrefix(evalCase, original, *edited)) return Outcome::Partial;
    if (equalIgnoringIndentation(*edited, original)) return Outcome::Indent;
    return Outcome::Wrong;
}

bool extractionHolds(const fl::ustring& extracted, const fl::ustring& truth) {
    return normalizedCode(extracted).find(normalizedCode(truth)) != fl::ustring::npos;
}

bool stageHolds(const fl::ustring& text, const fl::ustring& truth) {
    return normalizedCode(text) == normalizedCode(truth);
}

bool formattingHolds(const fl::ustring& completion, const fl::ustring& truth) {
    std::vector<fl::ustring> got = contentLines(completion);
    std::vector<fl::ustring> want = contentLines(truth);
    if (got.empty() || got.size() != want.size()) return false;
    got.front().erase(0, leadingBlanks(got.front(), 0, got.front().size()));
    want.front().erase(0, leadingBlanks(want.front(), 0, want.front().size()));
    return got == want;
}

std::string blameStage(const EvalCase& evalCase, const fit::StageTexts& stages, const fit::Fitted& fitted,
                       Outcome outcome) {
    if (outcome == Outcome::Exact) return "";
    const fl::ustring& truth = evalCase.truth;
    // A reply that never held the truth (a real model's own answer) is the model's doing.
    if (stages.reply.empty() || !extractionHolds(stages.reply, truth)) return "model";
    if (!extractionHolds(stages.extracted, truth)) return "extraction";
    if (!stageHolds(stages.deduplicated, truth)) return "deduplication";
    if (!stageHolds(stages.validated, truth)) return "validation";
    if (!stageHolds(stages.pruned, truth)) return "pruning";
    if (!formattingHolds(stages.completion, truth)) return "formatting";
    if (!fitted.edit && fitted.emptyStage == "final check") return "final check";
    return "edit";
}

}  // namespace ostrel_eval
