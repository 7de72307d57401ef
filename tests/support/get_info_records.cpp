#include "support/get_info_records.hpp"

#include "fl/i18n.hpp"

namespace testing_support {

namespace {

const std::string kChannel = "mtcc::AutoCompletion::GetInfo";
const std::string kSignature =
    "mtcc::AutoCompletion::InfoResult mtcc::AutoCompletion::GetInfo(const fl::ustring&, const fl::ustring&, "
    "const size_t&, std::shared_ptr<mtcc::cache::SettingsValues>) (Autocomplete:34)";

std::string utf8(const fl::ustring& text) {
    return fl::i18n::to_string(text);
}

}  // namespace

std::vector<LogLine> expectedRecords(const CompleteRun& run) {
    const std::string prefix = run.code.substr(0, run.cursor);
    const std::string suffix = run.code.substr(run.cursor);
    const auto& r = run.result;
    return {
        {32, "enter " + kSignature},
        {4, " mtcc::Config::promptID=ostrel-autocompletion mtcc::Config::promptVersion=v1"},
        {8, "performing initial checks"},
        {8, "parsing input into prefix and suffix"},
        {4, " ostrelCode=" + run.code},
        {4, " cursorPosition=" + std::to_string(run.cursor)},
        {4, " codeToCursor=" + prefix},
        {4, " suffix=" + suffix},
        {8, "performing prefix and suffix limiting"},
        {4, " 4000=4000"},
        {4, " codeToCursor=" + prefix},
        {4, " prefixLimited=" + run.prefixLimited},
        {4, " suffix=" + suffix},
        {4, " suffixLimited=" + run.suffixLimited},
        {8, "categorizing tokens"},
        {8, "generating prompt from template"},
        {4, " userPromptInfo.promptId=ostrel-autocompletion userPromptInfo.promptVersion=v1"},
        {4, " userPromptInfo.partialCode=" + run.prefixLimited},
        {4, " userPromptInfo.suffix=" + run.suffixLimited},
        {4, " userPromptInfo.userVariables=" + run.variables},
        {4, " userPromptInfo.userFunctions=" + run.functions},
        {4, " userPromptInfo.OSTRELFunctions=" + run.ostrelFunctions},
        {8, "requesting generation from model"},
        {4, " LLMResponse=" + utf8(r.LLMResponse)},
        {8, "extracting code from generation"},
        {4, " LLMGeneratedCode=" + utf8(r.LLMGeneratedCode)},
        {8, "deduplicating generated code"},
        {4, " deduplicatedGeneratedCode=" + utf8(r.deduplicatedGeneratedCode)},
        {8, "validating generated code"},
        {4, " validatedLLMGeneratedCode=" + utf8(r.validatedLLMGeneratedCode)},
        {8, "pruning generated code"},
        {4, " prunedLLMGeneratedCode=" + utf8(r.prunedLLMGeneratedCode)},
        {8, "formatting generated code"},
        {4, " formattedLLMResponseCode=" + utf8(r.autocompletionResponse)},
        {8, "returning finalized generated code"},
        {4, " autocompletionResponse=" + utf8(r.autocompletionResponse)},
        {32, "exit " + kSignature},
    };
}

std::vector<LogLine> pipelineRecords(const LogCapture& capture) {
    std::vector<LogLine> lines;
    for (const auto& record : capture.records()) {
        if (record.channel == kChannel) lines.emplace_back(record.severity, record.text);
    }
    return lines;
}

std::vector<std::string> texts(const mtcc::AutoCompletion::InfoResult& r) {
    return {utf8(r.autocompletionResponse),    utf8(r.LLMResponse),
            utf8(r.LLMGeneratedCode),          utf8(r.deduplicatedGeneratedCode),
            utf8(r.validatedLLMGeneratedCode), utf8(r.prunedLLMGeneratedCode)};
}

bool allEmpty(const mtcc::AutoCompletion::InfoResult& r) {
    return texts(r) == std::vector<std::string>(6);
}

}  // namespace testing_support
