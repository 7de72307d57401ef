// What the server does with input a well-behaved client would not send, and with its lifecycle: every
// case ends in a clear error reply or a clean exit, and the server keeps serving afterwards.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <fstream>
#include <thread>

#include "server_process.hpp"
#include "support/temp_folder.hpp"

namespace lsp_testing {
namespace {

struct BadInput {
    const char* name;
    std::string bytes;
    int expectedCode;
    nlohmann::json expectedId;
};

TEST(ServerRobustness, BadInputGetsAnErrorAndTheServerGoesOn) {
    const std::string deep = std::string(100, '[') + std::string(100, ']');
    const std::vector<BadInput> cases = {
        {"not JSON", framed("{\"jsonrpc\":\"2.0\",\"id\":"), -32700, nullptr},
        {"nested too deep", framed(deep), -32700, nullptr},
        {"not an object", framed("[1,2,3]"), -32600, nullptr},
        {"no method", framed(R"({"jsonrpc":"2.0","id":7,"params":{}})"), -32600, 7},
        {"id of a wrong type", framed(R"({"jsonrpc":"2.0","id":[1],"method":"shutdown"})"), -32600, nullptr},
        {"Content-Length not a number", "Content-Length: ten\r\n\r\n", -32700, nullptr},
        {"Content-Length out of range", "Content-Length: 99999999999999999999999\r\n\r\n", -32700, nullptr},
        {"no Content-Length", "Content-Type: x\r\n\r\n", -32700, nullptr},
        {"garbage header line", "hello there\r\n\r\n", -32700, nullptr},
        {"over the size limit", framed("{\"x\":\"" + std::string(5000, 'a') + "\"}"), -32600, nullptr},
        {"unknown method", framed(R"({"jsonrpc":"2.0","id":8,"method":"textDocument/teleport"})"), -32601, 8},
        {"params of wrong types",
         framed(R"({"jsonrpc":"2.0","id":9,"method":"textDocument/completion","params":{"textDocument":3}})"),
         -32602, 9},
        {"a negative position",
         framed(
             R"({"jsonrpc":"2.0","id":10,"method":"textDocument/completion","params":{"textDocument":{"uri":"file:///a.ost"},"position":{"line":-1,"character":0}}})"),
         -32602, 10},
        {"a document that is not open",
         framed(
             R"({"jsonrpc":"2.0","id":11,"method":"textDocument/formatting","params":{"textDocument":{"uri":"file:///none.ost"},"options":{"tabSize":4,"insertSpaces":true}}})"),
         -32602, 11},
        {"initialize twice", framed(R"({"jsonrpc":"2.0","id":12,"method":"initialize","params":{}})"), -32600,
         12},
        {"a header with no end", std::string(20000, 'h'), -32700, nullptr},
    };
    ServerProcess server({"--max-message-bytes", "4096"});
    server.initialize();
    for (const BadInput& input : cases) {
        SCOPED_TRACE(input.name);
        server.sendRaw(input.bytes);
        const auto reply = server.receive();
        ASSERT_TRUE(reply.has_value());
        EXPECT_EQ((*reply)["error"]["code"], input.expectedCode) << reply->dump();
        EXPECT_EQ((*reply)["id"], input.expectedId);
        EXPECT_FALSE((*reply)["error"]["message"].get<std::string>().empty());
    }
    // Still serving: a body that ran into the next header is recovered from, and a header that comes in
    // pieces, with bare line feeds and other fields, is read whole.
    const std::string shutdown = R"({"jsonrpc":"2.0","id":2,"method":"shutdown"})";
    server.sendRaw("{\"half\":Content-Len");
    std::this_thread::sleep_for(20ms);
    server.sendRaw("gth: " + std::to_string(shutdown.size()) + "\nContent-Type: x\n\n" + shutdown);
    const auto recovered = server.answer(2);
    EXPECT_TRUE(recovered.contains("result") && recovered["result"].is_null()) << recovered.dump();
    server.notify("exit");
    EXPECT_EQ(server.waitForExit(), 0);
}

TEST(ServerRobustness, RequestsBeforeInitializeAndAfterShutdownAreRefused) {
    ServerProcess server({});
    server.request(1, "textDocument/formatting", {});
    EXPECT_EQ(server.answer(1)["error"]["code"], -32002);
    server.open("file:///early.ost", "x = 1\n");  // a notification before initialize is dropped
    server.initialize();
    server.request(2, "textDocument/formatting", formatting("file:///early.ost", 4, true));
    EXPECT_EQ(server.answer(2)["error"]["code"], -32602);
    server.request(3, "shutdown");
    EXPECT_TRUE(server.answer(3).contains("result"));
    server.request(4, "textDocument/formatting", {});
    EXPECT_EQ(server.answer(4)["error"]["code"], -32600);
    server.notify("exit");
    EXPECT_EQ(server.waitForExit(), 0);
}

// Settings that cannot be used leave the defaults (or the last good ones) in force: the user is shown why,
// once, where an editor would only file a log message.
TEST(ServerRobustness, UnusableSettingsAreShownOnce) {
    const testing_support::TempFolder folder;
    const std::string good = folder.write("good.json", "{}");
    struct Case {
        std::string settingsFile;
        nlohmann::json clientSettings;
        std::string reason;
    };
    const std::vector<Case> cases = {
        {folder.write("settings.json", "{ \"ostrel.ai\": "), nullptr, "not valid JSON"},
        {folder.path().string(), nullptr, "not a regular file"},
        {good, {{"ostrel.ai", {{"Backend", "opneai"}}}}, "unknown AI backend"},
        {good, {{"ostrel.editor.tab", {{"TabSize", "wide"}}}}, "must be an integer"},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.reason);
        ServerProcess server({"--settings", c.settingsFile});
        server.initialize(c.clientSettings);
        EXPECT_THAT(server.shownMessages(), testing::ElementsAre(testing::HasSubstr(c.reason)));
    }

    // A file that goes bad while the server runs is told at the next completions, once.
    const std::string edited = folder.write("edited.json", "{}");
    ServerProcess server({"--settings", edited, "--backend", "reply-file", "--reply-file",
                          folder.write("reply.txt", "```ostrel\nx = 1;\n```\n")});
    server.initialize();
    server.open("file:///a.ost", "y = 2;\n");
    folder.write("edited.json", "{ \"ostrel.ai\": ");
    std::this_thread::sleep_for(500ms);  // the store looks at the file every 150 ms
    for (int id = 2; id < 4; ++id) {
        server.request(id, "textDocument/completion", position("file:///a.ost", 1, 0));
        server.answer(id);
    }
    EXPECT_THAT(server.shownMessages(),
                testing::ElementsAre(testing::HasSubstr("its last good settings stay")));
}

struct Ending {
    const char* name;
    bool shutdownFirst;
    std::string lastBytes;  // sent before the client closes its end
    int status;
};

TEST(ServerRobustness, ExitStatusTellsWhetherTheEndWasOrderly) {
    const std::vector<Ending> endings = {
        {"shutdown then exit", true, framed(R"({"jsonrpc":"2.0","method":"exit"})"), 0},
        {"exit without shutdown", false, framed(R"({"jsonrpc":"2.0","method":"exit"})"), 1},
        {"client vanishes", false, "", 1},
        {"client vanishes after shutdown", true, "", 1},
        {"client vanishes in the middle of a message", false, "Content-Length: 500\r\n\r\n{\"jsonrpc\":", 1},
    };
    for (const Ending& ending : endings) {
        SCOPED_TRACE(ending.name);
        ServerProcess server({});
        server.initialize();
        server.open("file:///a.ost", "x = 1\n");
        if (ending.shutdownFirst) {
            server.request(5, "shutdown");
            server.answer(5);
        }
        server.sendRaw(ending.lastBytes);
        server.closeInput();
        EXPECT_EQ(server.waitForExit(), ending.status);
    }
}

// The server's resident memory in KiB, or 0 where /proc cannot tell it.
long residentKiB(pid_t pid) {
    std::ifstream status("/proc/" + std::to_string(pid) + "/status");
    for (std::string line; std::getline(status, line);) {
        if (line.starts_with("VmRSS:")) return std::stol(line.substr(6));
    }
    return 0;
}

// A large file checked, completed and formatted takes a hundred megabytes or so while it is worked on;
// once it is closed, the server holds about what it held before it was opened.
TEST(ServerRobustness, ALargeFileGivesItsMemoryBackWhenClosed) {
    ServerProcess server({"--diagnostics-delay-ms", "0"});
    server.initialize();
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
    GTEST_SKIP() << "a sanitizer's allocator keeps memory by its own rules";
#endif
    const long before = residentKiB(server.pid());
    if (before == 0) GTEST_SKIP() << "no /proc";
    std::string text;
    for (int f = 0; f < 10000; ++f) {
        const std::string n = std::to_string(f);
        text += "function r = f" + n + "(A)\n    if A > " + n + "\n        r = A;\n    end\nend\n";
    }
    server.open("file:///big.ost", text);
    server.notified("textDocument/publishDiagnostics", 20s);
    server.request(2, "textDocument/completion", position("file:///big.ost", 100, 4));
    server.answer(2, 20s);
    server.request(3, "textDocument/formatting", formatting("file:///big.ost", 2, true));
    server.answer(3, 20s);
    const long working = residentKiB(server.pid());
    server.notify("textDocument/didClose", {{"textDocument", {{"uri", "file:///big.ost"}}}});
    server.request(4, "shutdown");  // answered after the close is done
    server.answer(4);
    EXPECT_GT(working, before + 50'000) << "the file no longer costs memory: the test needs a larger one";
    EXPECT_LT(residentKiB(server.pid()), before + 20'000)
        << residentKiB(server.pid()) << " KiB; before " << before << " KiB, open " << working;
    server.notify("exit");
    EXPECT_EQ(server.waitForExit(), 0);
}

}  // namespace
}  // namespace lsp_testing
