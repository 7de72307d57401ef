// Completions over the protocol: what the inline and the standard request return, the cache that serves
// typing into a shown completion, the debounce, and the ways a pending request ends early.
#include <gtest/gtest.h>

#include <set>

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
    return {{"textDocument", {{"uri", kUri}}},
            {"position", {{"line", line}, {"character", character}}},
            {"context", {{"triggerKind", triggerKind}}}};
}

nlohmann::json change(int version, int line, int character, const std::string& text) {
    const nlohmann::json position = {{"line", line}, {"character", character}};
    return {{"textDocument", {{"uri", kUri}, {"version", version}}},
            {"contentChanges", {{{"range", {{"start", position}, {"end", position}}}, {"text", text}}}}};
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
    folder.write("reply.txt", qvai::ostrelFence(kReply));
    ServerProcess server({"--backend", "reply-file", "--reply-file", (folder.path() / "reply.txt").string()});
    server.initialize();
    // A line with a character outside the basic plane: positions count UTF-16 code units.
    server.open(kUri, "function r = stats(A)\n    % \xF0\x9F\x98\x80 stats\n    ");
    server.request(2, "textDocument/inlineCompletion", at(2, 4));
    const auto inlined = server.responseTo(2);
    ASSERT_TRUE(inlined.has_value());
    const nlohmann::json& item = (*inlined)["result"]["items"].at(0);
    EXPECT_EQ(item["insertText"], kReply);
    EXPECT_EQ(item["range"]["start"], (nlohmann::json{{"line", 2}, {"character", 4}}));

    server.request(3, "textDocument/completion", at(2, 4));
    const auto listed = server.responseTo(3);
    ASSERT_TRUE(listed.has_value());
    const nlohmann::json& entry = (*listed)["result"]["items"].at(0);
    EXPECT_EQ(entry["textEdit"]["newText"], kReply);
    EXPECT_EQ(entry["label"], kReply);

    // A cursor past the end of a line means the line's end (the emoji counts two units).
    server.request(4, "textDocument/inlineCompletion", at(1, 400));
    const auto clamped = server.responseTo(4);
    ASSERT_TRUE(clamped.has_value());
    for (const auto& found : (*clamped)["result"]["items"]) {
        EXPECT_EQ(found["range"]["start"], (nlohmann::json{{"line", 1}, {"character", 14}}));
    }
}

TEST(ServerCompletion, TypingTheStartOfAShownCompletionIsServedFromTheCache) {
    auto model = fencedModel();
    ServerProcess server(modelArgs(model));
    server.initialize();
    server.open(kUri, kDraft + "    ");
    server.request(2, "textDocument/inlineCompletion", at(2, 4));
    ASSERT_EQ((*server.responseTo(2))["result"]["items"].at(0)["insertText"], kReply);

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
        const auto reply = server.responseTo(id);
        ASSERT_TRUE(reply.has_value());
        if (!step.remaining.empty()) {
            EXPECT_EQ((*reply)["result"]["items"].at(0)["insertText"], step.remaining);
        }
        EXPECT_EQ(model.requests().size(), step.modelRequests);
    }
}

// An automatic request waits for a pause in typing, and typing on ends it before the model is asked. An
// invoked request goes at once; a cancellation or a newer version ends it while the model still holds it,
// and its late answer is dropped.
TEST(ServerCompletion, TypingCancellationAndNewerVersionsEndPendingRequestsAtOnce) {
    auto model = fencedModel(/*held=*/true);
    ServerProcess server(modelArgs(model, /*debounceMs=*/10000));
    server.initialize();
    server.open(kUri, kDraft);
    server.request(1, "textDocument/inlineCompletion", at(2, 0, /*triggerKind=*/2));
    server.notify("textDocument/didChange", change(2, 2, 0, "r"));
    const auto typedOn = server.responseTo(1);
    ASSERT_TRUE(typedOn.has_value());
    EXPECT_EQ((*typedOn)["error"]["code"], -32801);
    EXPECT_EQ(model.requests().size(), 0u);

    server.request(2, "textDocument/inlineCompletion", at(2, 1));
    ASSERT_TRUE(model.awaitRequests(1));  // long before the pause would be over
    server.notify("$/cancelRequest", {{"id", 2}});
    const auto cancelled = server.responseTo(2, 2s);
    ASSERT_TRUE(cancelled.has_value());
    EXPECT_EQ((*cancelled)["error"]["code"], -32800);

    server.request(3, "textDocument/completion", at(2, 1));
    ASSERT_TRUE(model.awaitRequests(2));
    server.notify("textDocument/didChange", change(3, 2, 1, "x"));
    const auto modified = server.responseTo(3, 2s);
    ASSERT_TRUE(modified.has_value());
    EXPECT_EQ((*modified)["error"]["code"], -32801);

    model.release();
    server.request(4, "shutdown");
    ASSERT_TRUE(server.responseTo(4).has_value());
    EXPECT_FALSE(server.responseTo(2, 200ms).has_value());
    EXPECT_FALSE(server.responseTo(3, 200ms).has_value());
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
                           {{"textDocument", {{"uri", "file:///work/doc" + std::to_string(d) + ".ost"}}},
                            {"position", {{"line", 2}, {"character", round % 5}}}});
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
    ASSERT_TRUE(server.responseTo(1).has_value());
    while (const auto extra = server.receive(200ms)) {  // no second ending for anything
        EXPECT_TRUE(extra->contains("method")) << extra->dump();
    }
    server.notify("exit");
    EXPECT_EQ(server.waitForExit(10s), 0);
}

}  // namespace
}  // namespace lsp_testing
