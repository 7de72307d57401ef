// Documents over the protocol: incremental changes in UTF-16 positions, diagnostics that follow the
// text, formatting with the client's options, and settings from the client.
#include <gtest/gtest.h>

#include "server_process.hpp"
#include "support/model_server.hpp"
#include "support/temp_folder.hpp"

namespace lsp_testing {
namespace {

const char* const kUri = "file:///work/doc.ost";

nlohmann::json edit(int version, int fromLine, int fromChar, int toLine, int toChar,
                    const std::string& text) {
    return {{"textDocument", {{"uri", kUri}, {"version", version}}},
            {"contentChanges",
             {{{"range",
                {{"start", {{"line", fromLine}, {"character", fromChar}}},
                 {"end", {{"line", toLine}, {"character", toChar}}}}},
               {"text", text}}}}};
}

nlohmann::json formattingParams(int tabSize, bool insertSpaces) {
    return {{"textDocument", {{"uri", kUri}}},
            {"options", {{"tabSize", tabSize}, {"insertSpaces", insertSpaces}}}};
}

// Applies protocol TextEdits (one per line, leading blanks only, as the formatter sends them).
std::string applyLineEdits(const std::string& text, const nlohmann::json& edits) {
    std::vector<std::string> lines;
    std::size_t start = 0;
    for (std::size_t nl; (nl = text.find('\n', start)) != std::string::npos; start = nl + 1) {
        lines.push_back(text.substr(start, nl - start));
    }
    lines.push_back(text.substr(start));
    for (const auto& e : edits) {
        const int line = e["range"]["start"]["line"];
        EXPECT_EQ(e["range"]["end"]["line"], line);
        const int from = e["range"]["start"]["character"], to = e["range"]["end"]["character"];
        lines[line].replace(from, to - from, e["newText"].get<std::string>());
    }
    std::string out;
    for (std::size_t i = 0; i < lines.size(); ++i)
        out += (i ? "\n" : "") + lines[i];
    return out;
}

TEST(ServerDocuments, DiagnosticsFollowIncrementalEditsInUtf16Positions) {
    ServerProcess server({"--diagnostics-delay-ms", "0"});
    server.initialize();
    // The emoji takes two UTF-16 code units: the error after it is at character 14, not 13 or 17.
    server.open(kUri, "a = 1;\ns = '\xF0\x9F\x98\x80';\n");
    EXPECT_TRUE((*server.notification("textDocument/publishDiagnostics"))["params"]["diagnostics"].empty());

    struct Step {
        const char* name;
        nlohmann::json change;
        int errors;
        int line, character;  // of the first error
    };
    const std::vector<Step> steps = {
        {"an error after a character outside the basic plane", edit(2, 1, 9, 1, 9, " x = (1 + ;"), 1, 1, 19},
        {"fixed by replacing a range", edit(3, 1, 19, 1, 20, "2);"), 0, 0, 0},
        {"a break outside a loop on a new line", edit(4, 1, 22, 1, 22, "\nbreak"), 1, 2, 0},
        {"removed across the line break", edit(5, 1, 22, 2, 5, ""), 0, 0, 0},
    };
    for (const Step& step : steps) {
        SCOPED_TRACE(step.name);
        server.notify("textDocument/didChange", step.change);
        const auto published = server.notification("textDocument/publishDiagnostics");
        ASSERT_TRUE(published.has_value());
        const nlohmann::json& diagnostics = (*published)["params"]["diagnostics"];
        EXPECT_EQ(static_cast<int>(diagnostics.size()), step.errors) << diagnostics.dump();
        EXPECT_EQ((*published)["params"]["version"], step.change["textDocument"]["version"]);
        if (step.errors > 0 && !diagnostics.empty()) {
            EXPECT_EQ(diagnostics[0]["severity"], 1);
            EXPECT_EQ(diagnostics[0]["range"]["start"],
                      (nlohmann::json{{"line", step.line}, {"character", step.character}}));
        }
    }
    server.notify("textDocument/didClose", {{"textDocument", {{"uri", kUri}}}});
    EXPECT_TRUE((*server.notification("textDocument/publishDiagnostics"))["params"]["diagnostics"].empty());
}

TEST(ServerDocuments, FormattingUsesTheClientsOptionsAndRange) {
    const std::string text = "if a\nx = 1;\nif b\ny = 2;\nend\nend\n";
    struct Case {
        const char* name;
        std::string method;
        nlohmann::json params;
        std::string expected;
    };
    nlohmann::json ranged = formattingParams(2, true);
    ranged["range"] = {{"start", {{"line", 2}, {"character", 0}}}, {"end", {{"line", 4}, {"character", 0}}}};
    const std::vector<Case> cases = {
        {"spaces, two wide", "textDocument/formatting", formattingParams(2, true),
         "if a\n  x = 1;\n  if b\n    y = 2;\n  end\nend\n"},
        {"tabs", "textDocument/formatting", formattingParams(4, false),
         "if a\n\tx = 1;\n\tif b\n\t\ty = 2;\n\tend\nend\n"},
        {"only lines 3 and 4", "textDocument/rangeFormatting", ranged,
         "if a\nx = 1;\n  if b\n    y = 2;\nend\nend\n"},
    };
    ServerProcess server({});
    server.initialize();
    server.open(kUri, text);
    int id = 10;
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        server.request(++id, c.method, c.params);
        const auto reply = server.responseTo(id);
        ASSERT_TRUE(reply.has_value() && reply->contains("result")) << (reply ? reply->dump() : "");
        EXPECT_EQ(applyLineEdits(text, (*reply)["result"]), c.expected);
    }
    server.request(++id, "textDocument/formatting", formattingParams(0, true));
    EXPECT_EQ((*server.responseTo(id))["error"]["code"], -32602);
}

TEST(ServerDocuments, ClientSettingsReachTheFormatterAndTheModelButNeverTheKey) {
    const auto reply = testing_support::chatReply("```ostrel\nt = 1;\n```");
    testing_support::ModelServer trustedModel(reply), projectModel(reply);
    const testing_support::TempFolder folder;
    const std::string settingsFile = (folder.path() / "settings.json").string();
    folder.write(
        "settings.json",
        nlohmann::json{
            {"ostrel.ai",
             {{"Backend", "openai"}, {"Endpoint", trustedModel.url()}, {"ApiKeyVariable", "LSP_TEST_KEY"}}}}
            .dump());
    ServerProcess server({"--settings", settingsFile}, {{"LSP_TEST_KEY", "secret-123"}});
    server.initialize(
        {{"ostrel.editor.language.ostrel", {{"FunctionIndentingFormat", "ClassicFunctionIndent"}}}});
    const std::string text = "function f()\nx = 1;\nend\n";
    server.open(kUri, text);

    server.request(2, "textDocument/formatting", formattingParams(4, true));
    EXPECT_EQ(applyLineEdits(text, (*server.responseTo(2))["result"]), text);  // classic: body at the margin

    const nlohmann::json where = {{"textDocument", {{"uri", kUri}}},
                                  {"position", {{"line", 3}, {"character", 0}}}};
    server.request(3, "textDocument/completion", where);
    ASSERT_TRUE(server.responseTo(3).has_value());
    ASSERT_EQ(trustedModel.headers("Authorization"), std::vector<std::string>{"Bearer secret-123"});

    // A project's settings point the client at another server and name another variable.
    server.notify(
        "workspace/didChangeConfiguration",
        {{"settings",
          {{"ostrel.ai", {{"Endpoint", projectModel.url()}, {"ApiKeyVariable", "HOME"}}},
           {"ostrel.editor.language.ostrel", {{"FunctionIndentingFormat", "AllFunctionIndent"}}}}}});
    const auto warning = server.notification("window/logMessage");
    ASSERT_TRUE(warning.has_value());
    EXPECT_NE((*warning)["params"]["message"].get<std::string>().find("ApiKeyVariable"), std::string::npos);
    server.request(4, "textDocument/formatting", formattingParams(4, true));
    EXPECT_EQ(applyLineEdits(text, (*server.responseTo(4))["result"]), "function f()\n    x = 1;\nend\n");
    server.request(5, "textDocument/completion", where);
    ASSERT_TRUE(server.responseTo(5).has_value());
    EXPECT_EQ(projectModel.headers("Authorization"), std::vector<std::string>{""});

    // A settings object that does not fit is refused with a message, and the last good one stays.
    server.notify("workspace/didChangeConfiguration",
                  {{"settings", {{"ostrel.editor.tab", {{"TabSize", "wide"}}}}}});
    EXPECT_TRUE(server.notification("window/logMessage").has_value());
    server.notify("textDocument/didChange", {{"textDocument", {{"uri", kUri}, {"version", 2}}},
                                             {"contentChanges", {{{"text", text + "\n"}}}}});
    server.request(6, "textDocument/completion",
                   {{"textDocument", {{"uri", kUri}}}, {"position", {{"line", 4}, {"character", 0}}}});
    ASSERT_TRUE(server.responseTo(6).has_value());
    EXPECT_EQ(projectModel.requests().size(), 2u);
    EXPECT_EQ(trustedModel.requests().size(), 1u);
}

}  // namespace
}  // namespace lsp_testing
