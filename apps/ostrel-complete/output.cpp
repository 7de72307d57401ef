#include "output.hpp"

#include <algorithm>
#include <nlohmann/json.hpp>

#include "fl/i18n.hpp"

namespace ostrel_complete {

void writeCompletion(std::ostream& out, const fit::Fitted& fitted) {
    if (fitted.edit) out << fl::i18n::to_string(fitted.edit->text);
}

void writeJson(std::ostream& out, const mtcc::AutoCompletion::InfoResult& result, const fit::Fitted& fitted,
               const std::vector<StageTime>& times) {
    using fl::i18n::to_string;
    nlohmann::ordered_json json;
    json["autocompletionResponse"] = to_string(result.autocompletionResponse);
    json["LLMResponse"] = to_string(result.LLMResponse);
    json["LLMGeneratedCode"] = to_string(result.LLMGeneratedCode);
    json["deduplicatedGeneratedCode"] = to_string(result.deduplicatedGeneratedCode);
    json["validatedLLMGeneratedCode"] = to_string(result.validatedLLMGeneratedCode);
    json["prunedLLMGeneratedCode"] = to_string(result.prunedLLMGeneratedCode);
    if (fitted.edit) {
        json["edit"] = {
            {"start", fitted.edit->start}, {"end", fitted.edit->end}, {"text", to_string(fitted.edit->text)}};
        json["repairs"] = fitted.repairs;
    } else {
        json["edit"] = nullptr;
        json["emptyStage"] = fitted.emptyStage;
        json["emptyReason"] = fitted.reason;
    }
    auto& stages = json["stageMilliseconds"] = nlohmann::ordered_json::object();
    for (const auto& time : times)
        stages[time.stage] = time.milliseconds;
    out << json.dump(2) << '\n';
}

void writeShow(std::ostream& out, const fl::ustring& code, const fit::Fitted& fitted, std::size_t cursor,
               bool colour, std::size_t contextLines) {
    const std::size_t start = fitted.edit ? fitted.edit->start : cursor;
    const std::size_t end = fitted.edit ? fitted.edit->end : cursor;
    // Start contextLines lines above the edit's line and stop as many below its end.
    std::size_t from = start;
    for (std::size_t seen = 0; from > 0; --from) {
        if (code[from - 1] == u'\n' && ++seen > contextLines) break;
    }
    std::size_t to = end;
    for (std::size_t seen = 0; to < code.size(); ++to) {
        if (code[to] == u'\n' && ++seen > contextLines) break;
    }
    const char* open = colour ? "\x1b[1;32m" : "\xC2\xAB";
    const char* close = colour ? "\x1b[0m" : "\xC2\xBB";
    const std::u16string_view text = std::u16string_view(code);
    out << fl::i18n::to_string(text.substr(from, start - from)) << open
        << (fitted.edit ? fl::i18n::to_string(fitted.edit->text) : std::string()) << close
        << fl::i18n::to_string(text.substr(end, to - end)) << '\n';
}

}  // namespace ostrel_complete
