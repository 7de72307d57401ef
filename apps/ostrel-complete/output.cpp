#include "output.hpp"

#include <algorithm>
#include <nlohmann/json.hpp>

#include "fl/i18n.hpp"

namespace ostrel_complete {

void writeCompletion(std::ostream& out, const fl::ustring& completion) { out << fl::i18n::to_string(completion); }

void writeJson(std::ostream& out, const mtcc::AutoCompletion::InfoResult& result, const std::vector<StageTime>& times) {
    using fl::i18n::to_string;
    nlohmann::ordered_json json;
    json["autocompletionResponse"] = to_string(result.autocompletionResponse);
    json["LLMResponse"] = to_string(result.LLMResponse);
    json["LLMGeneratedCode"] = to_string(result.LLMGeneratedCode);
    json["deduplicatedGeneratedCode"] = to_string(result.deduplicatedGeneratedCode);
    json["validatedLLMGeneratedCode"] = to_string(result.validatedLLMGeneratedCode);
    json["prunedLLMGeneratedCode"] = to_string(result.prunedLLMGeneratedCode);
    auto& stages = json["stageMilliseconds"] = nlohmann::ordered_json::object();
    for (const auto& time : times) stages[time.stage] = time.milliseconds;
    out << json.dump(2) << '\n';
}

void writeShow(std::ostream& out, const fl::ustring& code, std::size_t cursor, const fl::ustring& completion,
               bool colour, std::size_t contextLines) {
    // Start contextLines lines above the cursor's line and stop as many below the completion's end.
    std::size_t from = cursor;
    for (std::size_t seen = 0; from > 0; --from) {
        if (code[from - 1] == u'\n' && ++seen > contextLines) break;
    }
    std::size_t to = cursor;
    for (std::size_t seen = 0; to < code.size(); ++to) {
        if (code[to] == u'\n' && ++seen > contextLines) break;
    }
    const char* open = colour ? "\x1b[1;32m" : "\xC2\xAB";
    const char* close = colour ? "\x1b[0m" : "\xC2\xBB";
    out << fl::i18n::to_string(std::u16string_view(code).substr(from, cursor - from)) << open
        << fl::i18n::to_string(completion) << close
        << fl::i18n::to_string(std::u16string_view(code).substr(cursor, to - cursor)) << '\n';
}

}  // namespace ostrel_complete
