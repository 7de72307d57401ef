// A whole run through the library in this process: each case must get the reply planned for it, however
// many run at once, and files that do not parse must be left out.
#include "evaluation.hpp"

#include <gtest/gtest.h>

#include <algorithm>

#include "fl/i18n.hpp"
#include "support/temp_folder.hpp"

namespace ostrel_eval {
namespace {

TEST(Evaluate, EveryCaseGetsItsOwnPlannedReply) {
    const testing_support::TempFolder folder;
    folder.write("crlf.ost",
                 "total = 0;\r\nfor k = 1:10\r\n    total = total + k; % \xF0\x9F\x98\x80\r\nend\r\n"
                 "disp(total)\r\n");
    folder.write("tabs.ost",
                 "function r = twice(a)\n\tr = 2 * a;\n\tif r > 10\n\t\tr = 10;\n\tend\nend\n\n"
                 "function s = halve(b)\n\ts = b / 2;\nend");
    folder.write("notes.txt", "not Ostrel");

    EvalOptions options;
    options.paths = {folder.path().string()};
    options.sampling.cases = 40;
    options.variants = {ReplyVariant::Exact, ReplyVariant::RepeatPrefix};
    options.threads = 4;
    std::size_t lastDone = 0, lastTotal = 0;
    const EvalReport report = evaluate(options, [&](std::size_t done, std::size_t total) {
        lastDone = done;
        lastTotal = total;
    });

    ASSERT_EQ(report.files.size(), 2u);
    EXPECT_FALSE(report.files[1].style.settings.insertSpaces);
    EXPECT_TRUE(report.skipped.empty());
    ASSERT_EQ(report.cases.size(), 40u);
    EXPECT_EQ(lastDone, 80u);
    EXPECT_EQ(lastTotal, 80u);
    ASSERT_EQ(report.runs.size(), 2u);
    for (std::size_t r = 0; r < report.runs.size(); ++r) {
        const VariantRun& run = report.runs[r];
        EXPECT_EQ(run.unplanned, 0u) << run.name;
        ASSERT_EQ(run.results.size(), report.cases.size());
        for (std::size_t i = 0; i < run.results.size(); ++i) {
            const fl::ustring planned = fl::i18n::to_ustring(plannedReply(
                withCut(report.cases[i], report.files[report.cases[i].file].text), options.variants[r]));
            EXPECT_EQ(run.results[i].stages.reply, planned) << run.name << " case " << i;
            EXPECT_TRUE(run.results[i].error.empty()) << run.results[i].error;
        }
    }
}

TEST(LoadFiles, KeepsWhatParsesAndSaysWhyTheRestIsLeftOut) {
    const testing_support::TempFolder folder;
    struct Row {
        const char* name;
        std::string bytes;
        const char* skippedBecause;  // nullptr: kept
    };
    const Row rows[] = {
        {"empty.ost", "", nullptr},
        {"blanks.ost", " \t\n\n  \r\n", nullptr},
        {"comments.ost", "% only\n%{\nblock\n%}\n", nullptr},
        {"latin1.ost", "s = '\xE9t\xE9';\n", "not UTF-8 text"},
        {"deep.ost", "x = " + std::string(600, '(') + "1" + std::string(600, ')') + ";\n",
         ""},  // beyond the analyser's depth
        {"unbalanced.ost", "a = 1;\nb = (2;\nc = 3;\n", "does not parse"},
    };
    for (const Row& row : rows)
        folder.write(row.name, row.bytes);
    EvalReport report;
    // Named again, a folder or a file in it is read once.
    loadFiles({folder.path().string(), (folder.path() / "missing.ost").string(),
               (folder.path() / "empty.ost").string(), folder.path().string() + "/./"},
              report);
    for (const Row& row : rows) {
        const std::string path = (folder.path() / row.name).string();
        const bool kept = std::any_of(report.files.begin(), report.files.end(),
                                      [&](const SourceFile& f) { return f.path == path; });
        const auto skipped = std::find_if(report.skipped.begin(), report.skipped.end(),
                                          [&](const std::string& s) { return s.starts_with(path + ":"); });
        EXPECT_EQ(kept, row.skippedBecause == nullptr) << row.name;
        if (row.skippedBecause) {
            ASSERT_NE(skipped, report.skipped.end()) << row.name;
            EXPECT_NE(skipped->find(row.skippedBecause), std::string::npos) << *skipped;
        }
    }
    EXPECT_EQ(report.skipped.size(), 4u);  // the three above and the missing file
    EXPECT_EQ(report.files.size(), 3u);
}

}  // namespace
}  // namespace ostrel_eval
