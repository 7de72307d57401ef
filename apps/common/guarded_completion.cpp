#include "guarded_completion.hpp"

#include <algorithm>
#include <exception>

#include "mtcc/autocompletion/auto_completion.hpp"
#include "mtcc/cache/settings_values.hpp"
#include "qvai/reply_normalisation.hpp"

namespace ostrel_apps {

GuardedCompletion completeGuarded(const fl::ustring& code, std::size_t cursor,
                                  const std::shared_ptr<mtcc::cache::SettingsValues>& settings) {
    GuardedCompletion out;
    if (!settings) {
        out.error = "no settings record was given";
        return out;
    }
    try {
        mtcc::AutoCompletion::InfoResult r = mtcc::AutoCompletion::GetInfo(u"", code, cursor, settings);
        restoreInnerBackticks(r);
        out.stages = fit::StageTexts{std::move(r.LLMResponse),
                                     std::move(r.LLMGeneratedCode),
                                     std::move(r.deduplicatedGeneratedCode),
                                     std::move(r.validatedLLMGeneratedCode),
                                     std::move(r.prunedLLMGeneratedCode),
                                     std::move(r.autocompletionResponse)};
    } catch (const std::exception& e) {
        out.error = e.what();
    } catch (...) {
        out.error = "the completion library failed";
    }
    return out;
}

void restoreInnerBackticks(mtcc::AutoCompletion::InfoResult& result) {
    for (fl::ustring* text :
         {&result.LLMResponse, &result.LLMGeneratedCode, &result.deduplicatedGeneratedCode,
          &result.validatedLLMGeneratedCode, &result.prunedLLMGeneratedCode, &result.autocompletionResponse})
        qvai::restoreInnerBackticks(*text);
}

std::shared_ptr<mtcc::cache::SettingsValues> settingsSnapshot() {
    auto record = std::make_shared<mtcc::cache::SettingsValues>();
    record->tabListener.disconnect();
    record->languageListener.disconnect();
    record->indentListener.disconnect();
    return record;
}

fit::IndentSettings indentSettingsOf(const mtcc::cache::SettingsValues& settings) {
    fit::IndentSettings out;
    out.tabSize = std::clamp<unsigned>(settings.tabSize, 1, 1024);
    out.indentSize = std::clamp<unsigned>(settings.indentSize, 1, 1024);
    out.insertSpaces = settings.insertSpaces;
    const fl::ustring& style = settings.functionIndentingFormat;
    out.functionIndent = style == u"AllFunctionIndent" ? 2 : style == u"MixedFunctionIndent" ? 1 : 0;
    const fl::ustring& blanks = settings.blankLineSetting;
    out.blankLines = blanks == u"Indent" ? 0 : blanks == u"RemoveWhitespace" ? 2 : 1;
    return out;
}

}  // namespace ostrel_apps
