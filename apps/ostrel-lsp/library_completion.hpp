#pragma once

#include <cstddef>
#include <memory>

#include "completion_scheduler.hpp"
#include "fl/ustring.hpp"
#include "settings_layers.hpp"

namespace mtcc::cache {
class SettingsValues;
}

namespace ostrel_lsp {

// A settings record holding one consistent set of the server's settings: it is read while no merge
// runs and then cut off from change events, so a completion works with the same set from its start to
// its end. Without this, a merge between two of the record's reads, or a change event arriving during
// the model call, would leave it half old and half new. Holds the layers' lock only while reading.
std::shared_ptr<mtcc::cache::SettingsValues> consistentSettingsRecord(const SettingsLayers& layers);

// One completion through the library (GetInfo with `settings`) and the host's edit for it. Blocks until
// the model answers: call it on a worker.
CompletionOutcome completeWithLibrary(const fl::ustring& text, std::size_t cursor,
                                      const std::shared_ptr<mtcc::cache::SettingsValues>& settings);

}  // namespace ostrel_lsp
