#include "ca/messages/single_file_messages.hpp"

#include "ca/parser/parser.hpp"
#include "fl/i18n.hpp"

namespace ca::messages {

MessageOptions getOptionsForErrorOnly() {
    return MessageOptions{true, false};
}

std::vector<Message> SingleFileMessages::getMessages(const CodeInput& input,
                                                     const MessageOptions& options) const {
    const auto data = detail::analyseText(input.getSourceCode());
    std::vector<Message> messages;
    messages.reserve(data->diagnostics.size());
    for (const detail::Diagnostic& d : data->diagnostics) {
        const bool error = d.severity == detail::Severity::Error;
        if (error ? !options.errors : !options.warnings) continue;
        messages.emplace_back(d.identifier, fl::i18n::to_ustring(d.text),
                              error ? Severity::Error : Severity::Warning,
                              Position{d.line, d.column, d.offset});
    }
    return messages;
}

}  // namespace ca::messages
