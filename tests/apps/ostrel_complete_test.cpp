// Runs the ostrel-complete program as a user would and checks what it prints and how it exits.
#include <gtest/gtest.h>
#include <sys/wait.h>

#include <array>
#include <cstdio>
#include <fstream>
#include <nlohmann/json.hpp>
#include <string>

namespace {

struct ProgramRun {
    int status;
    std::string out;  // stdout and stderr, in that order
};

ProgramRun ostrelComplete(const std::string& args) {
    const std::string program = std::string(OSTREL_BINARY_DIR) + "/apps/ostrel-complete/ostrel-complete";
    const std::string err = ::testing::TempDir() + "ostrel-complete-" +
                            ::testing::UnitTest::GetInstance()->current_test_info()->name() + ".err";
    const std::string command = "cd " + std::string(OSTREL_SOURCE_DIR) + " && XDG_CONFIG_HOME=/nonexistent " +
                                program + " " + args + " 2>" + err;
    ProgramRun run{0, {}};
    FILE* pipe = popen(command.c_str(), "r");
    std::array<char, 4096> buffer{};
    for (std::size_t n; (n = fread(buffer.data(), 1, buffer.size(), pipe)) > 0;)
        run.out.append(buffer.data(), n);
    run.status = WEXITSTATUS(pclose(pipe));
    std::ifstream in(err);
    run.out += std::string(std::istreambuf_iterator<char>(in), {});
    return run;
}

std::string writeReply(const std::string& text) {
    // ctest runs tests as parallel processes: each test writes a reply of its own.
    const std::string path = ::testing::TempDir() + "reply-" +
                             ::testing::UnitTest::GetInstance()->current_test_info()->name() + ".txt";
    std::ofstream(path) << text;
    return path;
}

}  // namespace

TEST(OstrelComplete, PrintsOnlyTheCompletion) {
    const auto reply = writeReply("Here:\n```ostrel\nreport.spread = report.max - report.min;\n```\n");
    const ProgramRun run =
        ostrelComplete("examples/matrix_stats.ost --at 26:1 --backend reply-file --reply-file " + reply);
    EXPECT_EQ(run.status, 0);
    EXPECT_EQ(run.out, "report.spread = report.max - report.min;");
}

TEST(OstrelComplete, LocalBackendCompletesADraftOfAnExample) {
    // The user has written the first 18 lines; the example itself, in the built-in corpus, goes on with
    // a paragraph of seven report lines up to a blank line, and that paragraph is the completion.
    std::ifstream in(std::string(OSTREL_SOURCE_DIR) + "/examples/matrix_stats.ost");
    std::string draft, expected;
    std::string line;
    for (int n = 1; std::getline(in, line) && n <= 25; ++n) {
        if (n <= 18)
            draft += line + "\n";
        else
            expected += (expected.empty() ? "" : "\n") + line;
    }
    ASSERT_TRUE(expected.starts_with("report.min") && expected.ends_with("2), :));")) << expected;
    const std::string file = ::testing::TempDir() + "matrix_stats_draft.ost";
    std::ofstream(file) << draft;
    const ProgramRun run = ostrelComplete(file + " --at 19:1 --backend local");
    EXPECT_EQ(run.status, 0);
    EXPECT_EQ(run.out, expected);
}

TEST(OstrelComplete, JsonCarriesEveryStage) {
    const auto reply = writeReply("```ostrel\nx = 1;\nx = 1;\n```");
    const ProgramRun run = ostrelComplete(
        "examples/matrix_stats.ost --offset 0 --json --backend reply-file --reply-file " + reply);
    ASSERT_EQ(run.status, 0) << run.out;
    const auto json = nlohmann::json::parse(run.out);
    for (const char* key :
         {"autocompletionResponse", "LLMResponse", "LLMGeneratedCode", "deduplicatedGeneratedCode",
          "validatedLLMGeneratedCode", "prunedLLMGeneratedCode"}) {
        EXPECT_TRUE(json.contains(key)) << key;
    }
    EXPECT_EQ(json["LLMGeneratedCode"], "x = 1;\nx = 1;");
    EXPECT_TRUE(json["stageMilliseconds"].contains("model"));
    EXPECT_TRUE(json["stageMilliseconds"].contains("formatting"));
}

TEST(OstrelComplete, ShowMarksTheCompletionInItsPlace) {
    const auto reply = writeReply("```ostrel\nreport.spread = 1;\n```");
    const ProgramRun run = ostrelComplete(
        "examples/matrix_stats.ost --at 26:1 --show --backend reply-file --reply-file " + reply);
    EXPECT_EQ(run.status, 0);
    EXPECT_NE(
        run.out.find(
            "report.correlation = corrcoef(A(all(~isnan(A), 2), :));\n\xC2\xABreport.spread = 1;\xC2\xBB\n"),
        std::string::npos)
        << run.out;
}

TEST(OstrelComplete, ErrorsAreOneLineAndANonZeroStatus) {
    const auto expectError = [](const std::string& args, const std::string& message) {
        const ProgramRun run = ostrelComplete(args);
        EXPECT_NE(run.status, 0) << args;
        EXPECT_NE(run.out.find(message), std::string::npos) << run.out;
        EXPECT_EQ(run.out.find('\n'), run.out.size() - 1) << run.out;
    };
    expectError("examples/no_such_file.ost --at 1:1", "cannot read examples/no_such_file.ost");
    expectError("examples/matrix_stats.ost --at 999:1", "is outside examples/matrix_stats.ost");
    expectError("examples/matrix_stats.ost --at 1:99", "line 1 has");
    expectError("examples/matrix_stats.ost --offset 99999999", "is outside");
    expectError("examples/matrix_stats.ost", "exactly one of --at");
    expectError("examples/matrix_stats.ost --at 1:1 --backend carrier-pigeon", "--backend must be one of");
    expectError(
        "examples/matrix_stats.ost --at 20:1 --backend openai --endpoint http://127.0.0.1:9 --timeout-ms "
        "2000",
        "Couldn't connect");
}

TEST(OstrelComplete, FormattingOptionsOverrideTheSettings) {
    const std::string file = ::testing::TempDir() + "formatting-options.ost";
    std::ofstream(file) << "% demo\nif x\n\nend\n";
    const auto complete = [&](const std::string& reply, const std::string& options) {
        const ProgramRun run = ostrelComplete(file + " --at 3:1 --backend reply-file --reply-file " +
                                              writeReply(reply) + " " + options);
        EXPECT_EQ(run.status, 0) << run.out;
        return run.out;
    };
    const std::string line = "```ostrel\ny = 1;\n```";
    EXPECT_EQ(complete(line, ""), "    y = 1;");
    EXPECT_EQ(complete(line, "--indent-size 2"), "  y = 1;");
    EXPECT_EQ(complete(line, "--insert-tabs"), "\ty = 1;");
    EXPECT_EQ(complete(line, "--insert-tabs --tab-size 2"), "\t\ty = 1;");

    // The reply's `end` must not repeat the line below the cursor, or it would be dropped as a repeat.
    std::ofstream(file) << "% demo\nif x\n\n    w = 0;\nend\n";
    const std::string block = "```ostrel\nif y\n\n    z = 2;\nend\n```";
    EXPECT_EQ(complete(block, "--blank-lines Indent"), "    if y\n        \n        z = 2;\n    end");
    EXPECT_EQ(complete(block, "--blank-lines RemoveWhitespace"), "    if y\n\n        z = 2;\n    end");

    // An indented function body fits the "all" style; the completion follows the file's own layout
    // whatever the function-indent setting says.
    std::ofstream(file) << "% demo\nfunction f(x)\n    y = x;\n\nend\n";
    const ProgramRun all =
        ostrelComplete(file + " --at 4:1 --backend reply-file --reply-file " +
                       writeReply("```ostrel\nz = 2;\n```") + " --function-indent AllFunctionIndent");
    EXPECT_EQ(all.out, "    z = 2;");
    const ProgramRun classic =
        ostrelComplete(file + " --at 4:1 --backend reply-file --reply-file " +
                       writeReply("```ostrel\nz = 2;\n```") + " --function-indent ClassicFunctionIndent");
    EXPECT_EQ(classic.out, "    z = 2;");
    EXPECT_EQ(ostrelComplete(file + " --at 4:1 --function-indent Sideways").status, 1);
}
