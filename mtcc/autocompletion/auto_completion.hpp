#pragma once

#include <cstddef>
#include <memory>

#include "fl/ustring.hpp"
#include "mtcc/export.hpp"

namespace mtcc::cache {
class SettingsValues;
}

namespace mtcc::AutoCompletion {

// The completion and the texts of the stages that led to it. All empty when there was nothing to do.
struct InfoResult {
    fl::ustring autocompletionResponse;     // what the editor inserts
    fl::ustring LLMResponse;                // the model's whole reply
    fl::ustring LLMGeneratedCode;           // the code cut out of the reply
    fl::ustring deduplicatedGeneratedCode;  // without what repeats the text around the cursor
    fl::ustring validatedLLMGeneratedCode;  // cut back before the first error it introduces
    fl::ustring prunedLLMGeneratedCode;     // cut to whole lines and blocks
};

// One completion for `code` at `cursor` (UTF-16 code units). The first argument is not used. Runs on
// the caller's thread and blocks until the model has answered.
MTCC_EXPORT InfoResult GetInfo(const fl::ustring&, const fl::ustring& code, const size_t& cursor,
                               std::shared_ptr<mtcc::cache::SettingsValues> settings);

// Drops every cache of the host's function registry, so that new or removed function files are seen.
MTCC_EXPORT bool ClearFunctionRegistryCache();

}  // namespace mtcc::AutoCompletion
