// The server over the protocol, as an editor drives it: completions (the inline and the standard request,
// the cache that serves typing into a shown completion, the debounce, the ways a pending request ends
// early), documents (incremental changes in UTF-16 positions, diagnostics that follow the text, formatting
// with the client's options) and settings from the client.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "qvai/backend.hpp"
#include "server_process.hpp"
#include "support/model_server.hpp"
#include "support/temp_folder.hpp"

namespace lsp_testing {
namespace {

using testing_support::ModelServer;

const char* const kUri = "file:///work/stats.ost";
const std::string kDraft = "function r = stats(A)\n    r.mean = mean(A);\n";
const std::string kReply = "r.spread = max(A) - min(A);";

nlohmann::json at(int line, int character, int triggerKind = 1) {
    nlohmann::json params = position(kUri, line, character);
    params["context"] = {{"triggerKind", triggerKind}};
    return params;
}

// A didChange that replaces the text from one position to another.
nlohmann::json edit(int version, int fromLine, int fromChar, int toLine, int toChar,
                    const std::string& text) {
    return {{"textDocument", {{"uri", kUri}, {"version", version}}},
            {"contentChanges",
             {{{"range",
                {{"start", {{"line", fromLine}, {"character", fromChar}}},
                 {"end", {{"line", toLine}, {"character", toChar}}}}},
               {"text", text}}}}};
}

nlohmann::json change(int version, int line, int character, const std::string& text) {
    return edit(version, line, character, line, character, text);
}

// A model that answers every request with `kReply`, fenced as code.
ModelServer fencedModel(bool held = false) {
    return ModelServer(testing_support::chatReply(qvai::ostrelFence(kReply)), held);
}

std::vector<std::string> modelArgs(const ModelServer& model, int debounceMs = 0) {
    return {"--backend", "openai", "--endpoint", model.url(), "--debounce-ms", std::to_string(debounceMs)};
}

TEST(ServerCompletion, InlineAndStandardRequestsCarryTheFittedEdit) {
    const testing_support::TempFolder folder;
    ServerProcess server(
        {"--backend", "reply-file", "--reply-file", folder.write("reply.txt", qvai::ostrelFence(kReply))});
    server.initialize();
    // A line with a character outside the basic plane: positions count UTF-16 code units.
    server.open(kUri, "function r = stats(A)\n    % \xF0\x9F\x98\x80 stats\n    ");
    server.request(2, "textDocument/inlineCompletion", at(2, 4));
    const nlohmann::json item = server.answer(2)["result"]["items"].at(0);
    EXPECT_EQ(item["insertText"], kReply);
    EXPECT_EQ(item["range"]["start"], (nlohmann::json{{"line", 2}, {"character", 4}}));

    server.request(3, "textDocument/completion", at(2, 4));
    const nlohmann::json entry = server.answer(3)["result"]["items"].at(0);
    EXPECT_EQ(entry["textEdit"]["newText"], kReply);
    EXPECT_EQ(entry["label"], kReply);

    // A cursor past the end of a line means the line's end (the emoji counts two units).
    server.request(4, "textDocument/inlineCompletion", at(1, 400));
    const nlohmann::json pastTheEnd = server.answer(4)["result"]["items"];
    ASSERT_FALSE(pastTheEnd.empty());
    for (const auto& found : pastTheEnd) {
        EXPECT_EQ(found["range"]["start"], (nlohmann::json{{"line", 1}, {"character", 14}}));
    }
    // There the completion starts a new line; the list shows its code, not an empty label.
    server.request(5, "textDocument/completion", at(1, 400));
    const std::string label = server.answer(5)["result"]["items"].at(0)["label"];
    EXPECT_EQ(label, kReply);
}

TEST(ServerCompletion, TypingTheStartOfAShownCompletionIsServedFromTheCache) {
    auto model = fencedModel();
    ServerProcess server(modelArgs(model));
    server.initialize();
    server.open(kUri, kDraft + "    ");
    server.request(2, "textDocument/inlineCompletion", at(2, 4));
    ASSERT_EQ(server.answer(2)["result"]["items"].at(0)["insertText"], kReply);

    struct Step {
        std::string typed;
        std::string remaining;  // empty: the cache has nothing and the model is asked again
        std::size_t modelRequests;
    };
    const std::vector<Step> steps = {
        {"r.sp", kReply.substr(4), 1},
        {"r", kReply.substr(5), 1},
        {"x", "", 2},  // not what the completion shows
    };
    int version = 1, character = 4, id = 10;
    for (const Step& step : steps) {
        SCOPED_TRACE(step.typed);
        server.notify("textDocument/didChange", change(++version, 2, character, step.typed));
        character += static_cast<int>(step.typed.size());
        server.request(++id, "textDocument/inlineCompletion", at(2, character));
        const auto reply = server.answer(id);
        if (!step.remaining.empty()) {
            EXPECT_EQ(reply["result"]["items"].at(0)["insertText"], step.remaining);
        }
        EXPECT_EQ(model.requests().size(), step.modelRequests);
    }
}

// A model that fails is told once with its reason, not at every request, and so is its return; a
// failure after that is news again.
TEST(ServerCompletion, AFailingModelIsToldOnceUntilItAnswersAgain) {
    auto model = fencedModel();
    ServerProcess server(modelArgs(model));
    server.initialize();
    server.open(kUri, kDraft + "    ");
    int id = 1;
    for (const int status : {500, 500, 200, 200, 500}) {
        model.answer(status == 200 ? testing_support::chatReply(qvai::ostrelFence(kReply)) : "boom", status);
        // Each request at another cursor, so that none is served from the cache.
        ++id;
        server.request(id, "textDocument/inlineCompletion", at(2, id % 2 == 0 ? 4 : 0));
        server.answer(id);
    }
    std::vector<std::string> told;
    while (const auto message = server.receive(300ms)) {
        const std::string method = message->value("method", "");
        if (method == "window/showMessage" || method == "window/logMessage")
            told.push_back(method + " " + (*message)["params"]["type"].dump() + " " +
                           (*message)["params"]["message"].get<std::string>());
    }
    EXPECT_THAT(told, testing::ElementsAre(testing::HasSubstr("showMessage 2 ostrel-lsp: the openai model at "
                                                              "http://127.0.0.1:"),
                                           testing::HasSubstr("logMessage 3 ostrel-lsp: the openai model at"),
                                           testing::HasSubstr("showMessage 2")));
    EXPECT_THAT(told, testing::ElementsAre(testing::HasSubstr("gave no reply: HTTP status 500"),
                                           testing::HasSubstr("answers again"),
                                           testing::HasSubstr("gave no reply: HTTP status 500")));
}

// An automatic request waits for a pause in typing, and typing on ends it before the model is asked. An
// invoked request goes at once; a cancellation or a newer version ends it while the model still holds it,
// and the model call stops, so that the next request finds a free worker; the model's late answers are
// dropped, and the calls cut short are no model failure to tell the user about.
TEST(ServerCompletion, TypingCancellationAndNewerVersionsEndPendingRequestsAtOnce) {
    auto model = fencedModel(/*held=*/true);
    ServerProcess server(modelArgs(model, /*debounceMs=*/10000));
    server.initialize();
    server.open(kUri, kDraft);
    server.request(1, "textDocument/inlineCompletion", at(2, 0, /*triggerKind=*/2));
    server.notify("textDocument/didChange", change(2, 2, 0, "r"));
    EXPECT_EQ(server.answer(1)["error"]["code"], -32801);
    EXPECT_EQ(model.requests().size(), 0u);

    server.request(2, "textDocument/inlineCompletion", at(2, 1));
    ASSERT_TRUE(model.awaitRequests(1));  // long before the pause would be over
    server.notify("$/cancelRequest", {{"id", 2}});
    EXPECT_EQ(server.answer(2, 2s)["error"]["code"], -32800);

    server.request(3, "textDocument/completion", at(2, 1));
    ASSERT_TRUE(model.awaitRequests(2));
    server.notify("textDocument/didChange", change(3, 2, 1, "x"));
    EXPECT_EQ(server.answer(3, 2s)["error"]["code"], -32801);

    server.request(5, "textDocument/inlineCompletion", at(2, 2));
    EXPECT_TRUE(model.awaitRequests(3)) << "both workers still wait for answers nobody reads";
    model.release();
    EXPECT_TRUE(server.answer(5, 5s).contains("result"));
    server.request(4, "shutdown");
    server.answer(4);
    EXPECT_FALSE(server.responseTo(2, 200ms).has_value());
    EXPECT_FALSE(server.responseTo(3, 200ms).has_value());
    while (const auto message = server.receive(200ms))
        EXPECT_NE(message->value("method", ""), "window/showMessage") << message->dump();
}

// Many documents and requests at once, a third of them cancelled: each request ends exactly once.
TEST(ServerCompletion, ManyRequestsAtOnceEndExactlyOnceEach) {
    auto model = fencedModel();
    ServerProcess server({"--backend", "openai", "--endpoint", model.url(), "--workers", "4"});
    server.initialize();
    constexpr int kDocuments = 8, kPerDocument = 50;
    for (int d = 0; d < kDocuments; ++d) {
        server.open("file:///work/doc" + std::to_string(d) + ".ost", kDraft + std::string(d, ' '));
    }
    int id = 100;
    for (int round = 0; round < kPerDocument; ++round) {
        for (int d = 0; d < kDocuments; ++d) {
            ++id;
            server.request(id, round % 2 ? "textDocument/completion" : "textDocument/inlineCompletion",
                           position("file:///work/doc" + std::to_string(d) + ".ost", 2, round % 5));
            if (id % 3 == 0) server.notify("$/cancelRequest", {{"id", id}});
        }
    }
    std::map<int, int> endings;
    int answered = 0, cancelled = 0;
    const int total = kDocuments * kPerDocument;
    for (int seen = 0; seen < total; ++seen) {
        const auto reply = server.responseTo(101 + seen, 20s);
        ASSERT_TRUE(reply.has_value()) << "no reply to " << 101 + seen;
        ++endings[(*reply)["id"].get<int>()];
        (reply->contains("result") ? answered : cancelled) += 1;
    }
    EXPECT_EQ(static_cast<int>(endings.size()), total);
    for (const auto& [key, count] : endings)
        EXPECT_EQ(count, 1) << key;
    EXPECT_GT(answered, 0);
    EXPECT_GT(cancelled, 0);
    server.request(1, "shutdown");
    server.answer(1);
    while (const auto extra = server.receive(200ms)) {  // no second ending for anything
        EXPECT_TRUE(extra->contains("method")) << extra->dump();
    }
    server.notify("exit");
    EXPECT_EQ(server.waitForExit(10s), 0);
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
    EXPECT_TRUE(server.notified("textDocument/publishDiagnostics")["params"]["diagnostics"].empty());

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
        auto published = server.notified("textDocument/publishDiagnostics");
        const nlohmann::json& diagnostics = published["params"]["diagnostics"];
        EXPECT_EQ(static_cast<int>(diagnostics.size()), step.errors) << diagnostics.dump();
        EXPECT_EQ(published["params"]["version"], step.change["textDocument"]["version"]);
        if (step.errors > 0 && !diagnostics.empty()) {
            EXPECT_EQ(diagnostics[0]["severity"], 1);
            EXPECT_EQ(diagnostics[0]["range"]["start"],
                      (nlohmann::json{{"line", step.line}, {"character", step.character}}));
        }
    }
    server.notify("textDocument/didClose", {{"textDocument", {{"uri", kUri}}}});
    EXPECT_TRUE(server.notified("textDocument/publishDiagnostics")["params"]["diagnostics"].empty());
}

TEST(ServerDocuments, FormattingUsesTheClientsOptionsAndRange) {
    const std::string text = "if a\nx = 1;\nif b\ny = 2;\nend\nend\n";
    struct Case {
        const char* name;
        std::string text;
        std::string method;
        nlohmann::json params;
        std::string expected;
    };
    nlohmann::json ranged = formatting(kUri, 2, true);
    ranged["range"] = {{"start", {{"line", 2}, {"character", 0}}}, {"end", {{"line", 4}, {"character", 0}}}};
    const std::vector<Case> cases = {
        {"tabs", text, "textDocument/formatting", formatting(kUri, 4, false),
         "if a\n\tx = 1;\n\tif b\n\t\ty = 2;\n\tend\nend\n"},
        {"only lines 3 and 4", text, "textDocument/rangeFormatting", ranged,
         "if a\nx = 1;\n  if b\n    y = 2;\nend\nend\n"},
        // A file's last line needs no line end to be formatted.
        {"no final line end", "for k = 1:3\nif a\nx = k;\nend", "textDocument/formatting",
         formatting(kUri, 4, true), "for k = 1:3\n    if a\n        x = k;\n    end"},
    };
    ServerProcess server({});
    server.initialize();
    int id = 10;
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        server.open(kUri, c.text, id);
        server.request(++id, c.method, c.params);
        const auto reply = server.answer(id);
        ASSERT_TRUE(reply.contains("result")) << reply.dump();
        EXPECT_EQ(applyLineEdits(c.text, reply["result"]), c.expected);
        server.notify("textDocument/didClose", {{"textDocument", {{"uri", kUri}}}});
    }
    server.open(kUri, text);
    server.request(++id, "textDocument/formatting", formatting(kUri, 0, true));
    EXPECT_EQ(server.answer(id)["error"]["code"], -32602);
}

TEST(ServerDocuments, ClientSettingsReachTheFormatterAndTheModelButNeverTheKey) {
    const auto reply = testing_support::chatReply("```ostrel\nt = 1;\n```");
    testing_support::ModelServer trustedModel(reply), projectModel(reply);
    const testing_support::TempFolder folder;
    const std::string settingsFile = folder.write(
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

    server.request(2, "textDocument/formatting", formatting(kUri, 4, true));
    EXPECT_EQ(applyLineEdits(text, server.answer(2)["result"]), text);  // classic: body at the margin

    const nlohmann::json where = at(3, 0);
    server.request(3, "textDocument/completion", where);
    server.answer(3);
    ASSERT_EQ(trustedModel.headers("Authorization"), std::vector<std::string>{"Bearer secret-123"});

    // A project's settings point the client at another server and name another variable.
    server.notify(
        "workspace/didChangeConfiguration",
        {{"settings",
          {{"ostrel.ai", {{"Endpoint", projectModel.url()}, {"ApiKeyVariable", "HOME"}}},
           {"ostrel.editor.language.ostrel", {{"FunctionIndentingFormat", "AllFunctionIndent"}}}}}});
    EXPECT_THAT(server.notified("window/showMessage")["params"]["message"].dump(),
                testing::HasSubstr("ApiKeyVariable"));
    server.request(4, "textDocument/formatting", formatting(kUri, 4, true));
    EXPECT_EQ(applyLineEdits(text, server.answer(4)["result"]), "function f()\n    x = 1;\nend\n");
    server.request(5, "textDocument/completion", where);
    server.answer(5);
    EXPECT_EQ(projectModel.headers("Authorization"), std::vector<std::string>{""});

    // A settings object that does not fit is refused with a message, and the last good one stays.
    server.notify("workspace/didChangeConfiguration",
                  {{"settings", {{"ostrel.editor.tab", {{"TabSize", "wide"}}}}}});
    server.notified("window/showMessage");
    server.notify("textDocument/didChange", {{"textDocument", {{"uri", kUri}, {"version", 2}}},
                                             {"contentChanges", {{{"text", text + "\n"}}}}});
    server.request(6, "textDocument/completion", position(kUri, 4, 0));
    server.answer(6);
    EXPECT_EQ(projectModel.requests().size(), 2u);
    EXPECT_EQ(trustedModel.requests().size(), 1u);
}

}  // namespace
}  // namespace lsp_testing
