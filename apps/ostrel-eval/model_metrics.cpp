#include "model_metrics.hpp"

#include <algorithm>
#include <numeric>

#include "eval_run.hpp"
#include "outcome.hpp"
#include "text_lines.hpp"

namespace ostrel_eval {
namespace {

constexpr std::size_t kLongestCompared = 4000;

fl::ustring firstCodeLine(const fl::ustring& text) {
    const fl::ustring code = normalizedCode(text);
    return code.substr(0, code.find(u'\n'));
}

double percentile(std::vector<double> values, double share) {
    if (values.empty()) return 0;
    std::sort(values.begin(), values.end());
    const auto index = static_cast<std::size_t>(share * static_cast<double>(values.size() - 1) + 0.5);
    return values[std::min(index, values.size() - 1)];
}

}  // namespace

double editSimilarity(const fl::ustring& a0, const fl::ustring& b0) {
    const fl::ustring a = a0.substr(0, kLongestCompared);
    const fl::ustring b = b0.substr(0, kLongestCompared);
    if (a.empty() && b.empty()) return 1;
    std::vector<std::size_t> row(b.size() + 1);
    std::iota(row.begin(), row.end(), 0);
    for (std::size_t i = 1; i <= a.size(); ++i) {
        std::size_t diagonal = row[0];
        row[0] = i;
        for (std::size_t j = 1; j <= b.size(); ++j) {
            const std::size_t above = row[j];
            row[j] = std::min({row[j] + 1, row[j - 1] + 1, diagonal + (a[i - 1] == b[j - 1] ? 0 : 1)});
            diagonal = above;
        }
    }
    return 1.0 - static_cast<double>(row[b.size()]) / static_cast<double>(std::max(a.size(), b.size()));
}

fl::ustring offeredText(const EvalCase& evalCase, const CaseResult& result) {
    if (!result.fitted.edit) return {};
    const fit::Edit& edit = *result.fitted.edit;
    const auto edited = applyEdit(evalCase.cut, edit);
    const std::size_t after = evalCase.cut.size() - evalCase.cursor;
    if (!edited || edited->size() < evalCase.cut.size() ||
        edited->compare(0, evalCase.cursor, evalCase.cut, 0, evalCase.cursor) != 0 ||
        edited->compare(edited->size() - after, after, evalCase.cut, evalCase.cursor, after) != 0)
        return edit.text;
    return edited->substr(evalCase.cursor, edited->size() - evalCase.cut.size());
}

ModelMetrics modelMetrics(const std::vector<EvalCase>& cases, const std::vector<CaseResult>& results) {
    ModelMetrics m;
    m.cases = std::min(cases.size(), results.size());
    if (m.cases == 0) return m;
    std::vector<double> latencies;
    std::size_t firstLine = 0, whole = 0, emptied = 0;
    double similarity = 0;
    for (std::size_t i = 0; i < m.cases; ++i) {
        const fl::ustring& offered = results[i].offered;
        firstLine += !offered.empty() && firstCodeLine(offered) == firstCodeLine(cases[i].truth) ? 1 : 0;
        whole += results[i].outcome == Outcome::Exact ? 1 : 0;
        emptied += !results[i].stages.reply.empty() && !results[i].fitted.edit ? 1 : 0;
        similarity += editSimilarity(offered, cases[i].truth);
        latencies.push_back(results[i].seconds);
    }
    const auto share = [&](std::size_t n) { return static_cast<double>(n) / static_cast<double>(m.cases); };
    m.firstLineExact = share(firstLine);
    m.wholeExact = share(whole);
    m.emptied = share(emptied);
    m.similarity = similarity / static_cast<double>(m.cases);
    m.latencyP50 = percentile(latencies, 0.5);
    m.latencyP90 = percentile(latencies, 0.9);
    m.latencyP99 = percentile(latencies, 0.99);
    return m;
}

}  // namespace ostrel_eval
