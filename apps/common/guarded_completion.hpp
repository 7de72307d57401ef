#pragma once

#include <cstddef>
#include <memory>
#include <string>

#include "fit/completion_edit.hpp"
#include "fl/ustring.hpp"

namespace mtcc::cache {
class SettingsValues;
}
namespace mtcc::AutoCompletion {
struct InfoResult;
}

namespace ostrel_apps {

// One completion through the library. The library lets an exception of a stage reach its caller (an
// analysis beyond the analyser's limits, say); a host must not die of it, so it comes back as `error`
// with empty stage texts.
struct GuardedCompletion {
    fit::StageTexts stages;
    std::string error;  // empty unless the library threw
};

GuardedCompletion completeGuarded(const fl::ustring& code, std::size_t cursor,
                                  const std::shared_ptr<mtcc::cache::SettingsValues>& settings);

// The backticks the model client stood in for in the reply (`qvai::kInnerBacktick`), back in every stage
// text of a completion.
void restoreInnerBackticks(mtcc::AutoCompletion::InfoResult& result);

// A settings record that reads the settings once and no longer follows their changes, so that one
// completion works with one set. Call it while holding the lock that keeps the settings tree whole.
std::shared_ptr<mtcc::cache::SettingsValues> settingsSnapshot();

// The formatter's settings of a settings record, as the edit takes them.
fit::IndentSettings indentSettingsOf(const mtcc::cache::SettingsValues& settings);

}  // namespace ostrel_apps
