#include "library_completion.hpp"

#include <memory>

#include "fit/completion_edit.hpp"
#include "guarded_completion.hpp"
#include "mtcc/cache/settings_values.hpp"

namespace ostrel_lsp {

CompletionOutcome completeWithLibrary(const fl::ustring& text, std::size_t cursor) {
    // A record per request: it reads the settings as they are now and is not shared with other workers.
    auto settings = std::make_shared<mtcc::cache::SettingsValues>();
    const ostrel_apps::GuardedCompletion guarded = ostrel_apps::completeGuarded(text, cursor, settings);
    CompletionOutcome outcome;
    if (!guarded.error.empty()) {
        outcome.note = "the completion library failed: " + guarded.error;
        return outcome;
    }
    fit::Fitted fitted =
        fit::fitCompletion(text, cursor, guarded.stages, ostrel_apps::indentSettingsOf(*settings));
    if (fitted.edit) {
        outcome.edit = std::move(fitted.edit);
    } else {
        outcome.note = fitted.emptyStage + ": " + fitted.reason;
    }
    return outcome;
}

}  // namespace ostrel_lsp
