#include "qvai/prompt_template.hpp"

#include <stdexcept>
#include <vector>

namespace qvai::data {
extern const std::string_view kAutocompletionTemplateV1;
}

namespace qvai {

namespace {

std::string trimmedLineEnds(std::string text) {
    while (!text.empty() && (text.back() == '\n' || text.back() == '\r'))
        text.pop_back();
    return text;
}

// Slots are replaced in one pass, so a member's text that itself looks like a slot stays as it is.
std::string fillSlots(const std::string& pattern, const TemplateInput& input) {
    const std::vector<std::pair<std::string_view, const std::string*>> slots{
        {"{{ostrel_code}}", &input.code},
        {"{{suffix}}", &input.suffix},
        {"{{user_functions}}", &input.userFunctions},
        {"{{user_variables}}", &input.userVariables},
        {"{{ostrel_functions}}", &input.ostrelFunctions},
    };
    std::string out;
    std::size_t at = 0;
    while (at < pattern.size()) {
        bool replaced = false;
        if (pattern.compare(at, 2, "{{") == 0) {
            for (const auto& [slot, value] : slots) {
                if (pattern.compare(at, slot.size(), slot) == 0) {
                    out += *value;
                    at += slot.size();
                    replaced = true;
                    break;
                }
            }
        }
        if (!replaced) out += pattern[at++];
    }
    return out;
}

}  // namespace

PromptTemplate parsePromptTemplate(std::string_view text) {
    PromptTemplate parsed;
    std::string* section = nullptr;
    std::size_t start = 0;
    while (start < text.size()) {
        auto end = text.find('\n', start);
        if (end == std::string_view::npos) end = text.size();
        const std::string line(text.substr(start, end - start));
        start = end + 1;
        if (line.rfind("@id ", 0) == 0) {
            parsed.id = line.substr(4);
        } else if (line.rfind("@version ", 0) == 0) {
            parsed.version = line.substr(9);
        } else if (line == "@system") {
            section = &parsed.system;
        } else if (line == "@user") {
            section = &parsed.user;
        } else if (section) {
            *section += line + "\n";
        }
    }
    parsed.system = trimmedLineEnds(parsed.system);
    parsed.user = trimmedLineEnds(parsed.user);
    if (parsed.id.empty() || parsed.version.empty() || parsed.system.empty() || parsed.user.empty())
        throw std::invalid_argument("prompt template lacks one of @id, @version, @system, @user");
    return parsed;
}

std::optional<PromptTemplate> findPromptTemplate(std::string_view id, std::string_view version) {
    static const std::vector<PromptTemplate> shipped{parsePromptTemplate(data::kAutocompletionTemplateV1)};
    for (const auto& candidate : shipped)
        if (candidate.id == id && candidate.version == version) return candidate;
    return std::nullopt;
}

RenderedPrompt renderPrompt(const PromptTemplate& promptTemplate, const TemplateInput& input) {
    return {promptTemplate.system, fillSlots(promptTemplate.user, input)};
}

}  // namespace qvai
