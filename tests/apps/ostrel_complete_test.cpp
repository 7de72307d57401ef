// Runs the ostrel-complete program as a user would and checks what it prints and how it exits.
#include <gtest/gtest.h>

#include <fstream>
#include <nlohmann/json.hpp>
#include <string>

#include "support/shell_run.hpp"
#include "support/temp_folder.hpp"

namespace {

using ProgramRun = testing_support::ShellRun;

ProgramRun ostrelComplete(const std::string& args) {
    return testing_support::runShell("cd " + std::string(OSTREL_SOURCE_DIR) +
                                     " && XDG_CONFIG_HOME=/nonexistent " + OSTREL_BINARY_DIR +
                                     "/apps/ostrel-complete/ostrel-complete " + args + " 2>&1");
}

}  // namespace

TEST(OstrelComplete, LocalBackendCompletesAFileFromItsFolderAndAnUnsavedBufferFromStandardInput) {
    // Neither file is in the local backend's corpus: the rest of the draft comes from the other file of
    // its folder, which the user wrote before.
    const std::string expected =
        "summary.mean = mean(valid);\n"
        "summary.spread = max(valid) - min(valid);\n"
        "summary.trend = polyfit(readings.time(readings.valid), valid, 1);";
    const ProgramRun saved = ostrelComplete("scripts/demo/daily_summary.ost --at 6:1");
    EXPECT_EQ(saved.status, 0) << saved.out;
    EXPECT_TRUE(saved.out.starts_with(expected)) << saved.out;

    // The same text piped in: "-" names standard input, --workspace the folder to draw on.
    const ProgramRun piped =
        ostrelComplete("- --at 6:1 --workspace scripts/demo < scripts/demo/daily_summary.ost");
    EXPECT_EQ(piped.status, 0) << piped.out;
    EXPECT_EQ(piped.out, saved.out);
    // Without a workspace the draft is unlike anything in the corpus: nothing is better than code with
    // names the file does not have.
    const ProgramRun alone = ostrelComplete("- --at 6:1 < scripts/demo/daily_summary.ost");
    EXPECT_EQ(alone.status, 0) << alone.out;
    EXPECT_EQ(alone.out, "");
}

TEST(OstrelComplete, JsonCarriesEveryStage) {
    const testing_support::TempFolder folder;
    const auto reply = folder.write("reply.txt", "```ostrel\nx = 1;\nx = 1;\n```");
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
    const testing_support::TempFolder folder;
    const auto reply = folder.write("reply.txt", "```ostrel\nreport.spread = 1;\n```");
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
    const testing_support::TempFolder folder;
    const std::string file = "examples/matrix_stats.ost --at 1:1 ";
    const std::string smile = folder.write("smile.ost", "% \xF0\x9F\x98\x80\r\nx = 1;\r\n");  // U+1F600
    const std::pair<std::string, std::string> cases[] = {
        {"examples/no_such_file.ost --at 1:1", "cannot read examples/no_such_file.ost"},
        {"examples/matrix_stats.ost --at 999:1", "is outside examples/matrix_stats.ost"},
        {"examples/matrix_stats.ost --at 1:99", "line 1 has"},
        {"examples/matrix_stats.ost --offset 99999999", "is outside"},
        {"examples/matrix_stats.ost", "exactly one of --at"},
        {file + "--backend carrier-pigeon", "--backend must be one of"},
        {file + "--bogus", "unknown option '--bogus'"},
        {file + "examples/Queue.ost", "only one file"},
        {file + "--at", "--at needs a value"},
        {"examples/matrix_stats.ost --at 20:1 --backend openai --endpoint http://127.0.0.1:9 --timeout-ms "
         "2000",
         "Couldn't connect"},
        // Each of these once ran on with defaults, or sent the server "temperature": null.
        {"examples --at 1:1", "examples: it is a folder"},
        {file + "--settings /nonexistent/settings.json", "/nonexistent/settings.json does not exist"},
        {file + "--settings " + folder.write("syntax.json", "{\"ostrel.ai\": {,}}"), "not valid JSON"},
        {file + "--settings " + folder.write("nan.json", R"({"ostrel.ai": {"Temperature": "nan"}})"),
         "nan.json: 'ostrel.ai.Temperature' must be"},
        // These went on with the text decoded to U+FFFD (the local backend offered the bytes back), ran
        // on with another backend, or named an option or leaf without the file it came from.
        {folder.write("nul.ost", std::string("x = 1;\ny") + '\0' + " = 2;\n") + " --at 1:1",
         "not a text file (a NUL byte on line 2)"},
        {folder.write("latin.ost", "x = 1;\n% caf\xE9\n") + " --at 1:1", "not UTF-8 text (line 2)"},
        {file + "--reply-file " + folder.write("r.txt", "```ostrel\nx = 1;\n```"),
         "--reply-file is for the reply-file backend"},
        {file + "--timeout-ms 0", "--timeout-ms must be positive"},
        {file + "--endpoint http://127.0.0.1:9",
         "--endpoint is for the openai and infill backends, not local"},
        {file + "--log-level trace", "--log-level needs --log FILE"},
        // Text inserted there would split a character or a line end.
        {smile + " --at 1:4", "cursor 1:4 is inside a character"},
        {smile + " --offset 5", "offset 5 is inside a line end"},
        // An editor counts no column for a byte order mark.
        {folder.write("bom.ost", "\xEF\xBB\xBFx = 1;\n") + " --at 1:8", "line 1 has 6 columns"},
        {file + "--workspace examples/no_such_folder", "--workspace examples/no_such_folder is not a folder"},
        {file + "--json --show", "at most one of --json and --show"},
        {file + "--settings " + folder.write("backend.json", R"({"ostrel.ai": {"Backend": "gpt"}})") +
             " --backend local",
         "backend.json: 'ostrel.ai.Backend' must be one of"},
        {file + "--settings " + folder.write("tokens.json", R"({"ostrel.ai": {"MaxTokens": 0}})"),
         "tokens.json: 'ostrel.ai.MaxTokens' must be positive"},
        {file + "--temperature nan", "--temperature expects a finite number"},
        {file + "--temperature -1", "--temperature expects a finite number"},
    };
    for (const auto& [args, message] : cases) {
        const ProgramRun run = ostrelComplete(args);
        EXPECT_EQ(run.status, 1) << args;
        EXPECT_NE(run.out.find(message), std::string::npos) << args << ": " << run.out;
        EXPECT_EQ(run.out.find('\n'), run.out.size() - 1) << run.out;
    }
}

TEST(OstrelComplete, SettingsChooseTheReplyFileAndLogLevelOffWritesNothing) {
    const testing_support::TempFolder folder;
    const auto reply = folder.write("reply.txt", "Here:\n```ostrel\nreport.spread = 1;\n```\n");
    const std::string settings = folder.write(
        "reply.json", R"({"ostrel.ai": {"Backend": "reply-file", "Endpoint": ")" + reply + "\"}}");
    const std::string log = (folder.path() / "off.log").string();
    const ProgramRun run = ostrelComplete("examples/matrix_stats.ost --at 26:1 --settings " + settings +
                                          " --log " + log + " --log-level off");
    EXPECT_EQ(run.status, 0) << run.out;
    EXPECT_EQ(run.out, "report.spread = 1;");
    std::ifstream written(log);
    EXPECT_EQ(std::string(std::istreambuf_iterator<char>(written), {}), "");
}

TEST(OstrelComplete, FormattingOptionsOverrideTheSettings) {
    const testing_support::TempFolder folder;
    const std::string file = folder.write("options.ost", "% demo\nif x\n\nend\n");
    const auto complete = [&](const std::string& reply, const std::string& options, const char* at = "3:1") {
        const ProgramRun run = ostrelComplete(file + " --at " + at + " --backend reply-file --reply-file " +
                                              folder.write("reply.txt", reply) + " " + options);
        EXPECT_EQ(run.status, 0) << run.out;
        return run.out;
    };
    const std::string line = "```ostrel\ny = 1;\n```";
    EXPECT_EQ(complete(line, ""), "    y = 1;");
    EXPECT_EQ(complete(line, "--indent-size 2"), "  y = 1;");
    EXPECT_EQ(complete(line, "--insert-tabs"), "\ty = 1;");
    EXPECT_EQ(complete(line, "--insert-tabs --tab-size 2"), "\t\ty = 1;");

    // The reply's `end` must not repeat the line below the cursor, or it would be dropped as a repeat.
    folder.write("options.ost", "% demo\nif x\n\n    w = 0;\nend\n");
    const std::string block = "```ostrel\nif y\n\n    z = 2;\nend\n```";
    EXPECT_EQ(complete(block, "--blank-lines Indent"), "    if y\n        \n        z = 2;\n    end");
    EXPECT_EQ(complete(block, "--blank-lines RemoveWhitespace"), "    if y\n\n        z = 2;\n    end");

    // An indented function body fits the "all" style; the completion follows the file's own layout
    // whatever the function-indent setting says.
    folder.write("options.ost", "% demo\nfunction f(x)\n    y = x;\n\nend\n");
    const std::string body = "```ostrel\nz = 2;\n```";
    EXPECT_EQ(complete(body, "--function-indent AllFunctionIndent", "4:1"), "    z = 2;");
    EXPECT_EQ(complete(body, "--function-indent ClassicFunctionIndent", "4:1"), "    z = 2;");
    EXPECT_EQ(ostrelComplete(file + " --at 4:1 --function-indent Sideways").status, 1);
}
