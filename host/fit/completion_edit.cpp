#include "fit/completion_edit.hpp"

namespace fit {
namespace {

// The first stage that left nothing, for a completion that came out empty.
Fitted nothingFrom(const StageTexts& stages) {
    Fitted fitted;
    if (stages.reply.empty()) {
        fitted.emptyStage = "model";
        fitted.reason = "the model gave no reply";
    } else if (stages.extracted.empty()) {
        fitted.emptyStage = "extraction";
        fitted.reason = "the reply holds no ostrel code block";
    } else if (stages.deduplicated.empty()) {
        fitted.emptyStage = "deduplication";
        fitted.reason = "the whole reply repeats the code around the cursor";
    } else if (stages.validated.empty()) {
        fitted.emptyStage = "validation";
        fitted.reason = "the completion's first line has an error";
    } else if (stages.pruned.empty()) {
        fitted.emptyStage = "pruning";
        fitted.reason = "no part of the completion parses with the code around it";
    } else {
        fitted.emptyStage = "formatting";
        fitted.reason = "the formatter left nothing";
    }
    return fitted;
}

}  // namespace

Fitted fitCompletion(const fl::ustring&, std::size_t cursor, const StageTexts& stages,
                     const IndentSettings&) {
    if (stages.completion.empty()) return nothingFrom(stages);
    Fitted fitted;
    fitted.edit = Edit{cursor, cursor, stages.completion};
    return fitted;
}

}  // namespace fit
