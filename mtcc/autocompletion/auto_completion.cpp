#include "mtcc/autocompletion/auto_completion.hpp"

#include "foundation/log/diagnostic_logger.hpp"
#include "mtcc/autocompletion/config.hpp"
#include "mtcc/autocompletion/context_limits.hpp"
#include "mtcc/cache/settings_values.hpp"
#include "mtcc/indentation/indentation_format.hpp"
#include "mtcc/postprocessing/code_extractor.hpp"
#include "mtcc/postprocessing/code_pruner.hpp"
#include "mtcc/postprocessing/code_validator.hpp"
#include "mtcc/postprocessing/deduplicator.hpp"
#include "mtcc/prompt/prompt_data.hpp"
#include "mtcc/prompt/prompt_dispatcher.hpp"
#include "mtcc/tokens/token_info.hpp"
#include "quorvanta/function_registry.hpp"

namespace mtcc::AutoCompletion {
namespace {

using foundation::log::kSeverityStage;
using foundation::log::kSeverityValue;

constexpr std::uint64_t kMaxBlockLines = 100;

// Stage messages and value dumps of one call; each site formats only when its severity is enabled.
class PipelineLog {
public:
    explicit PipelineLog(const foundation::log::diagnostic_logger& logger) : logger_(logger) {}

    void stage(const char* message) const {
        if (logger_.is_enabled(kSeverityStage)) logger_.record(kSeverityStage) << message;
    }
    template <typename Value>
    void dump(const char* label, const Value& value) const {
        if (logger_.is_enabled(kSeverityValue)) logger_.record(kSeverityValue) << label << value;
    }
    template <typename First, typename Second>
    void dump(const char* label1, const First& value1, const char* label2, const Second& value2) const {
        if (logger_.is_enabled(kSeverityValue)) logger_.record(kSeverityValue) << label1 << value1 << label2 << value2;
    }

private:
    const foundation::log::diagnostic_logger& logger_;
};

}  // namespace

InfoResult GetInfo(const fl::ustring&, const fl::ustring& code, const size_t& cursor,
                   std::shared_ptr<mtcc::cache::SettingsValues> settings) {
    const foundation::log::diagnostic_logger logger("mtcc::AutoCompletion::GetInfo");
    const foundation::log::function_trace trace(
        logger,
        "mtcc::AutoCompletion::InfoResult mtcc::AutoCompletion::GetInfo(const fl::ustring&, const fl::ustring&, "
        "const size_t&, std::shared_ptr<mtcc::cache::SettingsValues>)",
        "Autocomplete", 34);
    const PipelineLog log(logger);

    log.dump(" mtcc::Config::promptID=", Config::promptID, " mtcc::Config::promptVersion=", Config::promptVersion);
    log.stage("performing initial checks");
    if (cursor > code.size()) {
        log.stage("cursor position is greater than source code - exiting");
        return {};
    }
    if (!hasNonWhitespace(code)) {
        log.stage("input is only whitespace - exiting");
        return {};
    }

    log.stage("parsing input into prefix and suffix");
    log.dump(" ostrelCode=", code);
    log.dump(" cursorPosition=", static_cast<std::size_t>(cursor));
    const fl::ustring codeToCursor = splitCodeToCursor(code, cursor, false);
    log.dump(" codeToCursor=", codeToCursor);
    const fl::ustring suffix = suffixFromCursor(code, cursor);
    log.dump(" suffix=", suffix);

    log.stage("performing prefix and suffix limiting");
    log.dump(" 4000=", static_cast<int>(kContextLimit));
    const fl::ustring prefixLimited = keepLast(codeToCursor, kContextLimit);
    log.dump(" codeToCursor=", codeToCursor);
    log.dump(" prefixLimited=", prefixLimited);
    const fl::ustring suffixLimited = keepFirst(suffix, kContextLimit);
    log.dump(" suffix=", suffix);
    log.dump(" suffixLimited=", suffixLimited);

    // The first analysis, of the empty text, is part of the fixed sequence; its result is replaced.
    std::vector<Tokens::TokenRecord> tokens = Tokens::getTokenInfo(fl::ustring());
    log.stage("categorizing tokens");
    tokens = Tokens::getTokenInfo(prefixLimited);
    const Tokens::TokenCategories categories = Tokens::categorizeTokens(tokens);

    log.stage("generating prompt from template");
    const VariableContext::PromptData prompt =
        Prompt::makePromptData(Config::promptID, Config::promptVersion, prefixLimited, suffixLimited, categories);
    log.dump(" userPromptInfo.promptId=", prompt.promptId, " userPromptInfo.promptVersion=", prompt.promptVersion);
    log.dump(" userPromptInfo.partialCode=", prompt.partialCode);
    log.dump(" userPromptInfo.suffix=", prompt.suffix);
    log.dump(" userPromptInfo.userVariables=", prompt.userVariables);
    log.dump(" userPromptInfo.userFunctions=", prompt.userFunctions);
    log.dump(" userPromptInfo.OSTRELFunctions=", prompt.OSTRELFunctions);

    log.stage("requesting generation from model");
    const fl::ustring LLMResponse = Prompt::promptDispatcher(prompt);
    log.dump(" LLMResponse=", LLMResponse);

    log.stage("extracting code from generation");
    const fl::ustring LLMGeneratedCode = postprocessing::extractCode(LLMResponse);
    log.dump(" LLMGeneratedCode=", LLMGeneratedCode);

    fl::ustring current = LLMGeneratedCode;
    log.stage("deduplicating generated code");
    const fl::ustring deduplicatedGeneratedCode =
        postprocessing::deduplicateGeneratedCode(current, prefixLimited, suffixLimited);
    current = deduplicatedGeneratedCode;
    log.dump(" deduplicatedGeneratedCode=", deduplicatedGeneratedCode);

    log.stage("validating generated code");
    const fl::ustring validatedLLMGeneratedCode =
        postprocessing::validateGeneratedCode(current, prefixLimited, suffixLimited);
    current = validatedLLMGeneratedCode;
    log.dump(" validatedLLMGeneratedCode=", validatedLLMGeneratedCode);

    const std::vector<fl::ustring> candidates =
        postprocessing::pruneGeneratedCode(prefixLimited, current, suffixLimited, kMaxBlockLines);
    const fl::ustring prunedLLMGeneratedCode = candidates.empty() ? fl::ustring() : candidates.front();
    current = prunedLLMGeneratedCode;
    // This stage is announced after its work, unlike the others.
    log.stage("pruning generated code");
    log.dump(" prunedLLMGeneratedCode=", prunedLLMGeneratedCode);

    log.stage("formatting generated code");
    const fl::ustring formattedLLMResponseCode =
        Indentation::indentationFormat(prefixLimited, current, suffixLimited, settings.get());
    current = formattedLLMResponseCode;
    log.dump(" formattedLLMResponseCode=", formattedLLMResponseCode);

    log.stage("returning finalized generated code");
    log.dump(" autocompletionResponse=", current);
    return InfoResult{current,
                      LLMResponse,
                      LLMGeneratedCode,
                      deduplicatedGeneratedCode,
                      validatedLLMGeneratedCode,
                      prunedLLMGeneratedCode};
}

bool ClearFunctionRegistryCache() {
    Quorvanta::functionRegistry::clearCaches(true);
    return true;
}

}  // namespace mtcc::AutoCompletion
