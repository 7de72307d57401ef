#include "ca/messages/single_file_messages.hpp"

#include "ca/analysis_data.hpp"
#include "ca/messages/unused_variables.hpp"
#include "ca/parser/parser.hpp"
#include "fl/i18n.hpp"

namespace ca::messages {

MessageOptions getOptionsForErrorOnly() {
    return MessageOptions{true, false, false};
}

namespace {

std::vector<Message> convert(const detail::AnalysisData& data, const MessageOptions& options) {
    std::vector<detail::Diagnostic> unused;
    // Found only when asked for: completion asks for errors alone, many times a request.
    if (options.warnings) unused = unusedVariables(data);
    std::vector<Message> messages;
    messages.reserve(data.diagnostics.size() + unused.size());
    auto add = [&](const detail::Diagnostic& d) {
        const bool error = d.severity == detail::Severity::Error;
        if (error ? !options.errors : !options.warnings) return;
        messages.emplace_back(d.identifier, fl::i18n::to_ustring(d.text),
                              error ? Severity::Error : Severity::Warning,
                              Position{d.line, d.column, d.offset});
    };
    // Both lists are in source order; merged, so is the result.
    auto next = unused.begin();
    for (const detail::Diagnostic& d : data.diagnostics) {
        for (; next != unused.end() && next->offset < d.offset; ++next)
            add(*next);
        add(d);
    }
    for (; next != unused.end(); ++next)
        add(*next);
    return messages;
}

}  // namespace

std::vector<Message> messagesOf(const Analysis& analysis, const MessageOptions& options) {
    return convert(analysis.data(), options);
}

std::vector<Message> SingleFileMessages::getMessages(const CodeInput& input,
                                                     const MessageOptions& options) const {
    return convert(*detail::analyseText(input.getSourceCode(),
                                        options.wholeFile ? TextReading::WholeFile : TextReading::Fragment),
                   options);
}

}  // namespace ca::messages
