#include "eval_run.hpp"

#include <atomic>
#include <memory>
#include <thread>

#include "fl/i18n.hpp"
#include "guarded_completion.hpp"
#include "model_metrics.hpp"
#include "mtcc/cache/settings_values.hpp"

namespace ostrel_eval {
namespace {

fl::ustring functionIndentName(int style) {
    return style == 0 ? u"ClassicFunctionIndent" : style == 1 ? u"MixedFunctionIndent" : u"AllFunctionIndent";
}

fl::ustring blankLinesName(int setting) {
    return setting == 0 ? u"Indent" : setting == 2 ? u"RemoveWhitespace" : u"Ignore";
}

std::shared_ptr<mtcc::cache::SettingsValues> settingsRecord(const fit::IndentSettings& settings) {
    auto record = std::make_shared<mtcc::cache::SettingsValues>();
    record->setUserPreferenceSettings(0, 0, static_cast<unsigned short>(settings.tabSize),
                                      static_cast<unsigned short>(settings.indentSize), settings.insertSpaces,
                                      functionIndentName(settings.functionIndent),
                                      blankLinesName(settings.blankLines));
    return record;
}

}  // namespace

CaseResult judgeCase(const EvalCase& evalCase, fit::StageTexts stages, const fit::IndentSettings& settings) {
    CaseResult result;
    result.stages = std::move(stages);
    result.fitted = fit::fitCompletion(evalCase.cut, evalCase.cursor, result.stages, settings);
    result.outcome = judgeEdit(evalCase, result.fitted.edit);
    std::optional<fit::Edit> raw;
    if (!result.stages.completion.empty())
        raw = fit::Edit{evalCase.cursor, evalCase.cursor, result.stages.completion};
    result.rawOutcome = judgeEdit(evalCase, raw);
    result.blame = blameStage(evalCase, result.stages, result.fitted, result.outcome);
    return result;
}

std::vector<CaseResult> runCases(const std::vector<EvalCase>& cases, const std::vector<fl::ustring>& files,
                                 const std::function<fit::IndentSettings(const EvalCase&)>& settingsOf,
                                 std::size_t threads, const std::function<void(std::size_t)>& progress) {
    std::vector<CaseResult> results(cases.size());
    std::atomic<std::size_t> next{0};
    std::atomic<std::size_t> done{0};
    const auto work = [&] {
        for (std::size_t i = next++; i < cases.size(); i = next++) {
            const EvalCase evalCase = withCut(cases[i], files.at(cases[i].file));
            const fit::IndentSettings settings = settingsOf(evalCase);
            const auto start = std::chrono::steady_clock::now();
            ostrel_apps::GuardedCompletion completion =
                ostrel_apps::completeGuarded(evalCase.cut, evalCase.cursor, settingsRecord(settings));
            const double seconds =
                std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
            try {
                results[i] = judgeCase(evalCase, std::move(completion.stages), settings);
            } catch (const std::exception& e) {
                // The host's edit must not take the run down either; the case counts as lost.
                results[i] = CaseResult{};
                results[i].error = std::string("the host's edit failed: ") + e.what();
            }
            if (!completion.error.empty()) {
                results[i].error = completion.error;
                results[i].blame = "library error";
            }
            results[i].seconds = seconds;
            results[i].offered = offeredText(evalCase, results[i]);
            ++done;
        }
    };
    std::vector<std::jthread> pool;
    for (std::size_t t = 0; t < std::max<std::size_t>(threads, 1); ++t)
        pool.emplace_back(work);
    while (done < cases.size()) {
        if (progress) progress(done);
        std::this_thread::sleep_for(std::chrono::milliseconds(20));
    }
    pool.clear();
    if (progress) progress(done);
    return results;
}

}  // namespace ostrel_eval
