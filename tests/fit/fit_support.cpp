#include "fit_support.hpp"

#include <memory>

#include "fl/i18n.hpp"
#include "mtcc/autocompletion/auto_completion.hpp"
#include "mtcc/cache/settings_values.hpp"
#include "support/pipeline_host.hpp"

namespace fit_testing {

Marked unmark(const std::string& withCursor) {
    const std::size_t at = withCursor.find(kCursor);
    const std::string before = withCursor.substr(0, at);
    const std::string after =
        at == std::string::npos ? "" : withCursor.substr(at + std::string(kCursor).size());
    const fl::ustring head = fl::i18n::to_ustring(before);
    return {head + fl::i18n::to_ustring(after), head.size()};
}

std::string applied(const fl::ustring& file, const fit::Fitted& fitted) {
    if (!fitted.edit) return fl::i18n::to_string(file);
    fl::ustring out = file;
    out.replace(fitted.edit->start, fitted.edit->end - fitted.edit->start, fitted.edit->text);
    return fl::i18n::to_string(out);
}

fit::StageTexts completeWithReply(const fl::ustring& file, std::size_t cursor, const std::string& reply) {
    static const testing_support::ReplyFileHost host;
    host.setReply(reply);
    auto settings = std::make_shared<mtcc::cache::SettingsValues>();
    settings->blankLineSetting = u"Ignore";
    auto r = mtcc::AutoCompletion::GetInfo(u"", file, cursor, settings);
    return {r.LLMResponse,
            r.LLMGeneratedCode,
            r.deduplicatedGeneratedCode,
            r.validatedLLMGeneratedCode,
            r.prunedLLMGeneratedCode,
            r.autocompletionResponse};
}

}  // namespace fit_testing
