#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "qvai/template_input.hpp"

namespace qvai {

// A model-side prompt template: the system message and the user message with {{member}} slots.
struct PromptTemplate {
    std::string id;
    std::string version;
    std::string system;
    std::string user;
};

// The chat messages a template yields for one input.
struct RenderedPrompt {
    std::string system;
    std::string user;
};

// Parses the template text format: "@id", "@version" lines, then "@system" and "@user" sections.
// Throws std::invalid_argument naming what is missing.
PromptTemplate parsePromptTemplate(std::string_view text);

// The shipped template of that identifier and version, or nullopt.
std::optional<PromptTemplate> findPromptTemplate(std::string_view id, std::string_view version);

RenderedPrompt renderPrompt(const PromptTemplate& promptTemplate, const TemplateInput& input);

}  // namespace qvai
