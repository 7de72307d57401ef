#include "ca/messages/single_file_messages.hpp"

#include "ca/analysis_data.hpp"
#include "ca/parser/parser.hpp"
#include "fl/i18n.hpp"

namespace ca::messages {

MessageOptions getOptionsForErrorOnly() {
    return MessageOptions{true, false};
}

namespace {

std::vector<Message> convert(const detail::AnalysisData& data, const MessageOptions& options) {
    std::vector<Message> messages;
    messages.reserve(data.diagnostics.size());
    for (const detail::Diagnostic& d : data.diagnostics) {
        const bool error = d.severity == detail::Severity::Error;
        if (error ? !options.errors : !options.warnings) continue;
        messages.emplace_back(d.identifier, fl::i18n::to_ustring(d.text),
                              error ? Severity::Error : Severity::Warning,
                              Position{d.line, d.column, d.offset});
    }
    return messages;
}

}  // namespace

std::vector<Message> messagesOf(const Analysis& analysis, const MessageOptions& options) {
    return convert(analysis.data(), options);
}

std::vector<Message> SingleFileMessages::getMessages(const CodeInput& input,
                                                     const MessageOptions& options) const {
    return convert(*detail::analyseText(input.getSourceCode()), options);
}

}  // namespace ca::messages
