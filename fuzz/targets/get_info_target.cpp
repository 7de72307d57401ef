// GetInfo with the model's reply, the code and the cursor taken from the input, through an in-process AI
// client whose reply is the fuzz input. Input: a settings byte, the reply (UTF-8), 0xFF, the code before
// the cursor, 0xFF, the code after it.
#include "ca/invalid_analysis_exception.hpp"
#include "fuzz_input.hpp"
#include "fuzz_targets.hpp"
#include "in_process_client.hpp"
#include "mtcc/autocompletion/auto_completion.hpp"
#include "mtcc/cache/settings_values.hpp"

namespace ostrel_fuzz {

void runGetInfo(std::string_view bytes) {
    FuzzInput input(bytes);
    const std::uint8_t settingsByte = input.byte();
    const fl::ustring reply = toUtf16(input.textUntil('\xff'), false);
    const fl::ustring prefix = toUtf16(input.textUntil('\xff'), false);
    const fl::ustring suffix = toUtf16(input.rest(), false);

    auto settings = std::make_shared<mtcc::cache::SettingsValues>();
    settings->tabSize = settingsByte & 7;
    settings->indentSize = (settingsByte >> 3) & 7;
    settings->insertSpaces = (settingsByte & 64) == 0;
    settings->functionIndentingFormat =
        (settingsByte & 128) != 0 ? u"MixedFunctionIndent" : u"AllFunctionIndent";

    answerWith(reply);
    try {
        const auto result = mtcc::AutoCompletion::GetInfo(u"", prefix + suffix, prefix.size(), settings);
        if (!result.autocompletionResponse.empty() && result.LLMResponse != reply)
            throw PropertyViolation("the reply reaches the pipeline unchanged");
    } catch (const ca::InvalidAnalysisException&) {
        // A prefix or completion beyond the analyser's limits: the host reports it (completeGuarded).
    }
}

}  // namespace ostrel_fuzz
