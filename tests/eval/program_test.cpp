// The program as a user runs it: tables on stdout, the JSON file, a real backend's figures, exit status.
#include <gtest/gtest.h>
#include <unistd.h>

#include <fstream>
#include <nlohmann/json.hpp>

#include "eval_run.hpp"
#include "model_metrics.hpp"
#include "support/shell_run.hpp"

namespace ostrel_eval {
namespace {

using ProgramRun = testing_support::ShellRun;

ProgramRun ostrelEval(const std::string& args) {
    return testing_support::runShell("cd " + std::string(OSTREL_SOURCE_DIR) + " && " + OSTREL_BINARY_DIR +
                                     "/apps/ostrel-eval/ostrel-eval " + args + " 2>&1");
}

TEST(Program, WritesTablesAndJsonForPlannedReplies) {
    const std::string json = ::testing::TempDir() + std::to_string(getpid()) + "-ostrel-eval-result.json";
    const ProgramRun run = ostrelEval(
        "examples --cases 24 --kinds mid-line,line-end --seed 9 --variants "
        "exact,untagged --worst 2 --json " +
        json);
    ASSERT_EQ(run.status, 0) << run.out;
    EXPECT_NE(run.out.find("Cases: 24 in "), std::string::npos) << run.out;
    EXPECT_NE(run.out.find("untagged      all           24"), std::string::npos) << run.out;
    EXPECT_NE(run.out.find("--- truth"), std::string::npos);  // the worst cases
    std::ifstream in(json);
    const nlohmann::json doc = nlohmann::json::parse(in);
    ASSERT_EQ(doc["cases"].size(), 24u);
    EXPECT_EQ(doc["seed"], 9);
    for (const auto& c : doc["cases"])
        EXPECT_TRUE(c["kind"] == "mid-line" || c["kind"] == "line-end") << c["kind"];
    ASSERT_EQ(doc["runs"].size(), 2u);
    EXPECT_EQ(doc["runs"][1]["variant"], "untagged");
    EXPECT_EQ(doc["runs"][0]["results"].size(), 24u);
}

TEST(Program, GivesAModelsFiguresWithARealBackend) {
    const ProgramRun run = ostrelEval("tests/data/styles --cases 12 --backend local");
    ASSERT_EQ(run.status, 0) << run.out;
    EXPECT_NE(run.out.find("Model: 12 cases; first line exact"), std::string::npos) << run.out;
    // A server that cannot be reached: every reply is empty and blamed on the model, and the run ends.
    const ProgramRun down =
        ostrelEval("examples --cases 2 --backend openai --endpoint http://127.0.0.1:1 --timeout-ms 2000");
    ASSERT_EQ(down.status, 0) << down.out;
    EXPECT_NE(down.out.find("model=2"), std::string::npos) << down.out;
    EXPECT_NE(down.out.find("whole completion exact 0.0%"), std::string::npos) << down.out;
    // ...and says why.
    EXPECT_NE(down.out.find("Model failures: 2 of 2 requests; the first: request to http://127.0.0.1:1/v1/"),
              std::string::npos)
        << down.out;
    // A result that cannot be written is said before the run, not after it.
    const ProgramRun unwritable = ostrelEval("examples --cases 2 --json /nonexistent/result.json");
    EXPECT_EQ(unwritable.status, 1);
    EXPECT_EQ(unwritable.out,
              "ostrel-eval: cannot write /nonexistent/result.json: No such file or directory\n");
}

TEST(ModelMetrics, SharesSimilarityAndLatency) {
    const EvalCase c = cutOut(u"a = 1;\nb = 2;\nc = 3;\n", 7, 13);  // "b = 2;\nc = 3;"
    std::vector<EvalCase> cases(4, c);
    std::vector<CaseResult> results(4);
    results[0].offered = c.truth;  // whole and first line
    results[0].outcome = Outcome::Exact;
    results[0].fitted.edit = fit::Edit{7, 7, c.truth};
    results[1].offered = u"  b = 2;\nd = 4;";  // first line only, blanks aside
    results[1].fitted.edit = fit::Edit{7, 7, results[1].offered};
    results[2].stages.reply = u"```ostrel\nb\n```";  // replied, emptied
    results[3].seconds = 3;                          // no reply at all
    for (std::size_t i = 0; i < 3; ++i)
        results[i].seconds = static_cast<double>(i);
    const ModelMetrics m = modelMetrics(cases, results);
    EXPECT_EQ(m.cases, 4u);
    EXPECT_DOUBLE_EQ(m.firstLineExact, 0.5);
    EXPECT_DOUBLE_EQ(m.wholeExact, 0.25);
    EXPECT_DOUBLE_EQ(m.emptied, 0.25);
    EXPECT_DOUBLE_EQ(m.similarity, (1.0 + editSimilarity(results[1].offered, c.truth)) / 4);
    EXPECT_DOUBLE_EQ(m.latencyP50, 2.0);
    EXPECT_DOUBLE_EQ(m.latencyP99, 3.0);
    EXPECT_EQ(modelMetrics({}, {}).cases, 0u);
}

}  // namespace
}  // namespace ostrel_eval
