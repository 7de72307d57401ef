#include "mtcc/postprocessing/code_validator.hpp"

#include <algorithm>
#include <optional>

#include "ca/code_input.hpp"
#include "ca/messages/single_file_messages.hpp"
#include "ca/utils/line_splitter.hpp"
#include "foundation/log/diagnostic_logger.hpp"

namespace mtcc::postprocessing {
namespace {

std::vector<ca::messages::Message> errorsOf(const ca::messages::SingleFileMessages& analyser,
                                            const ca::messages::MessageOptions& options, const fl::ustring& file) {
    return analyser.getMessages(ca::CodeInput::createFromSourceCode(file), options);
}

// The first message, in the analyser's order, on a line from first to last.
std::optional<std::uint32_t> firstErrorLineIn(const std::vector<ca::messages::Message>& messages, std::size_t first,
                                              std::size_t last) {
    for (const auto& message : messages) {
        const std::uint32_t line = message.getPosition().line;
        if (line >= first && line <= last) return line;
    }
    return std::nullopt;
}

}  // namespace

std::size_t countLines(const fl::ustring& text) {
    const auto feeds = static_cast<std::size_t>(std::count(text.begin(), text.end(), u'\n'));
    return text.empty() || text.back() != u'\n' ? feeds + 1 : feeds;
}

fl::ustring validateGeneratedCode(const fl::ustring& generated, const fl::ustring& prefix, const fl::ustring& suffix) {
    const foundation::log::diagnostic_logger logger("mtcc::postprocessing::CodeValidator");
    if (generated.empty()) return {};

    const auto options = ca::messages::getOptionsForErrorOnly();
    const ca::messages::SingleFileMessages analyser{ca::RuntimeContextHandle{}};
    const auto messages = errorsOf(analyser, options, prefix + generated + suffix);
    if (messages.empty()) return generated;

    // When the prefix does not end with a line feed, the cursor line is a prefix line: an error on it
    // is not the completion's.
    const std::size_t prefixLines = countLines(prefix);
    const std::size_t lastLine = countLines(prefix + generated);
    const auto errorLine = firstErrorLineIn(messages, prefixLines + 1, lastLine);
    if (!errorLine) return generated;

    const std::vector<fl::ustring> lines = ca::utils::lineSplitter(generated);
    const std::size_t keep = std::min<std::size_t>(*errorLine - 1 - prefixLines, lines.size());
    fl::ustring kept;
    for (std::size_t i = 0; i < keep; ++i) kept.append(lines[i]).push_back(u'\n');

    // One cut only: if the shortened file still has any error, the completion is dropped.
    if (!errorsOf(analyser, options, prefix + kept + suffix).empty()) return {};
    return kept;
}

}  // namespace mtcc::postprocessing
