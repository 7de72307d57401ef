// Whole completions through the host's AI client with the "local" backend, which answers from a corpus
// of Ostrel files and needs no server.
#include <gtest/gtest.h>

#include <set>
#include <sstream>

#include "fl/i18n.hpp"
#include "mtcc/autocompletion/auto_completion.hpp"
#include "mtcc/cache/settings_values.hpp"
#include "support/get_info_records.hpp"
#include "support/pipeline_host.hpp"
#include "support/temp_folder.hpp"

using mtcc::AutoCompletion::InfoResult;

namespace {

const char* const kCorpusFile =
    "function s = sumOfSquares(v)\n"
    "    s = 0;\n"
    "    for k = 1:numel(v)\n"
    "        s = s + v(k)^2;\n"
    "    end\n"
    "end\n";

// The names a record lists, as a set: their order is the hash set's and is not fixed.
std::set<std::string> listedNames(const std::vector<testing_support::LogLine>& records,
                                  const std::string& label, std::string& text) {
    std::set<std::string> names;
    for (const auto& [severity, record] : records) {
        if (!record.starts_with(label)) continue;
        text = record.substr(label.size());
        std::istringstream items(text);
        for (std::string name; std::getline(items >> std::ws, name, ',');)
            names.insert(name);
    }
    return names;
}

}  // namespace

TEST(LocalPipeline, CompletesALoopBodyFromTheCorpus) {
    const testing_support::TempFolder corpus;
    corpus.write("sum_of_squares.ost", kCorpusFile);
    qvai::ClientOptions options;
    options.Backend = "local";
    options.UseBuiltinCorpus = false;
    options.CorpusFolders = {corpus.path().string()};
    const testing_support::PipelineHost host(options);

    const std::string code = "function s = squares(v)\n    s = 0;\n    for k = 1:numel(v)\n\n    end\nend\n";
    const std::size_t cursor = code.find("\n\n") + 1;
    testing_support::LogCapture capture;
    const InfoResult result = mtcc::AutoCompletion::GetInfo(u"", fl::i18n::to_ustring(code), cursor,
                                                            std::make_shared<mtcc::cache::SettingsValues>());

    testing_support::CompleteRun run{code, cursor, code.substr(0, cursor), code.substr(cursor), "", "",
                                     "",   {}};
    run.result = {u"        s = s + v(k)^2;", u"```ostrel\n        s = s + v(k)^2;\n```",
                  u"s = s + v(k)^2;",         u"s = s + v(k)^2;",
                  u"s = s + v(k)^2;",         u"s = s + v(k)^2;"};
    EXPECT_EQ(testing_support::texts(result), testing_support::texts(run.result));

    const auto records = testing_support::pipelineRecords(capture);
    EXPECT_EQ(listedNames(records, " userPromptInfo.userVariables=", run.variables),
              (std::set<std::string>{"s", "v", "k"}));
    EXPECT_EQ(listedNames(records, " userPromptInfo.userFunctions=", run.functions),
              (std::set<std::string>{"squares"}));
    EXPECT_EQ(listedNames(records, " userPromptInfo.OSTRELFunctions=", run.ostrelFunctions),
              (std::set<std::string>{"numel"}));
    EXPECT_EQ(records, testing_support::expectedRecords(run));
}
