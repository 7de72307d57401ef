#include "diagnostics.hpp"

#include "ca/code_input.hpp"
#include "ca/invalid_analysis_exception.hpp"
#include "ca/messages/single_file_messages.hpp"
#include "fl/i18n.hpp"
#include "text_positions.hpp"

namespace ostrel_lsp {
namespace {

bool isWordUnit(char16_t c) {
    return (c >= u'a' && c <= u'z') || (c >= u'A' && c <= u'Z') || (c >= u'0' && c <= u'9') || c == u'_';
}

// A message names one position; the range covers the word there, or one code unit.
nlohmann::json rangeAt(const fl::ustring& text, const std::vector<std::size_t>& lineStarts,
                       std::size_t offset) {
    offset = std::min(offset, text.size());
    std::size_t end = offset;
    while (end < text.size() && isWordUnit(text[end]))
        ++end;
    if (end == offset && end < text.size() && text[end] != u'\n' && text[end] != u'\r') ++end;
    const Position from = positionOf(text, lineStarts, offset);
    const Position to = positionOf(text, lineStarts, end);
    return {{"start", {{"line", from.line}, {"character", from.character}}},
            {"end", {{"line", to.line}, {"character", to.character}}}};
}

}  // namespace

nlohmann::json diagnosticsOf(const fl::ustring& text) {
    nlohmann::json out = nlohmann::json::array();
    const std::vector<std::size_t> lineStarts = lineStartsOf(text);
    std::vector<ca::messages::Message> messages;
    try {
        const ca::messages::SingleFileMessages analysis(nullptr);
        ca::messages::MessageOptions options;
        options.wholeFile = true;
        messages = analysis.getMessages(ca::CodeInput::createFromSourceCode(text), options);
    } catch (const std::exception& e) {
        out.push_back({{"range", rangeAt(text, lineStarts, 0)},
                       {"severity", 3},
                       {"source", "ostrel"},
                       {"message", std::string("The file was not checked: ") + e.what()}});
        return out;
    }
    for (const ca::messages::Message& message : messages) {
        const bool isError = message.getSeverity() == ca::messages::Severity::Error;
        out.push_back({{"range", rangeAt(text, lineStarts, message.getPosition().offset)},
                       {"severity", isError ? 1 : 2},
                       {"code", message.getIdentifier()},
                       {"source", "ostrel"},
                       {"message", fl::i18n::to_string(message.getText())}});
    }
    return out;
}

}  // namespace ostrel_lsp
