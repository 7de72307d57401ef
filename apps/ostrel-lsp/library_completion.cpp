#include "library_completion.hpp"

#include "fit/completion_edit.hpp"
#include "guarded_completion.hpp"
#include "mtcc/cache/settings_values.hpp"

namespace ostrel_lsp {

std::shared_ptr<mtcc::cache::SettingsValues> consistentSettingsRecord(const SettingsLayers& layers) {
    // Taken under the lock: no merge can change a value while the record reads them.
    const auto reading = layers.readingLock();
    return ostrel_apps::settingsSnapshot();
}

CompletionOutcome completeWithLibrary(const fl::ustring& text, std::size_t cursor,
                                      const std::shared_ptr<mtcc::cache::SettingsValues>& settings) {
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
