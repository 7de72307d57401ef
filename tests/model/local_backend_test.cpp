#include "qvai/local_backend.hpp"

#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <filesystem>
#include <set>

#include "client_test_support.hpp"
#include "fl/i18n.hpp"
#include "qvai/ai_client.hpp"
#include "qvai/corpus_index.hpp"
#include "qvai/name_fit.hpp"
#include "support/temp_folder.hpp"

namespace fs = std::filesystem;
using qvai::CorpusIndex;
using namespace model_test;

namespace {

const char16_t* const kLoops =
    u"total = 0;\n"
    u"for i = 1:n\n"
    u"    % running sum\n"
    u"    total = total + x(i);\n"
    u"end\n"
    u"disp(total)\n"
    u"\n"
    u"if total > limit\n"
    u"    warning('over the limit');\n"
    u"    total = limit;\n"
    u"end\n"
    u"result = total;\n";

std::vector<CorpusIndex::File> exampleFiles(const std::string& leaveOut = {}) {
    std::vector<std::string> folders{std::string(OSTREL_SOURCE_DIR) + "/examples"};
    auto files = qvai::readCorpusFiles(folders);
    std::erase_if(files, [&](const CorpusIndex::File& f) { return !leaveOut.empty() && f.path == leaveOut; });
    return files;
}

// The cursor at the start of the line in the middle of the file, skipping blank lines.
std::size_t middleLineStart(const fl::ustring& text) {
    std::size_t at = text.find(u'\n', text.size() / 2);
    while (at != fl::ustring::npos && at + 1 < text.size() && text[at + 1] == u'\n')
        at = text.find(u'\n', at + 1);
    return at == fl::ustring::npos ? text.size() : at + 1;
}

TEST(CorpusIndexTest, ContinuesFromTheLongestMatch) {
    CorpusIndex index({{"loops.ost", kLoops}});
    const std::pair<const char16_t*, std::optional<fl::ustring>> cases[] = {
        // Spacing and comments in the query do not matter; the copy stops before the enclosing block's end.
        {u"s = 0;\nfor   i = 1 : n   % each one\n", u"    % running sum\n    total = total + x(i);"},
        // A block opened in the continuation is copied through its end.
        {u"disp(total)\n", u"if total > limit\n    warning('over the limit');\n    total = limit;\nend"},
        {u"x = 1;\ntotal = total + x(i);\nend\n", u"disp(total)"},  // a blank line ends the copy
        // An unfinished word, and the rest of a line.
        {u"y = 2;\nfo", u"r i = 1:n\n    % running sum\n    total = total + x(i);\nend"},
        {u"for i = 1:n\n    total = ", u"total + x(i);"},
        {u"zzz_unknown = ", std::nullopt},
        {u"", std::nullopt}};
    for (const auto& [prefix, reply] : cases)
        EXPECT_EQ(index.complete(prefix, u""), reply) << fl::i18n::to_string(prefix);
}

TEST(CorpusIndexTest, PassesOverAPlaceWhoseContinuationIsAlreadyAfterTheCursor) {
    const fl::ustring text = kLoops;
    const auto cut = text.find(u"disp(total)");
    CorpusIndex alone({{"loops.ost", text}});
    // Its own copy matches best, but what follows there is already after the cursor: the next best
    // place (after the other "end") is offered instead.
    auto own = alone.complete(text.substr(0, cut), text.substr(cut));
    ASSERT_TRUE(own.has_value());
    EXPECT_EQ(*own, u"result = total;");

    CorpusIndex two(
        {{"a.ost", text}, {"b.ost", u"for i = 1:n\n    total = total + x(i);\nend\nplot(total)\n"}});
    auto reply = two.complete(text.substr(0, cut), text.substr(cut));
    ASSERT_TRUE(reply.has_value());
    EXPECT_EQ(*reply, u"plot(total)");

    // Code standing a few lines further down is passed over when it is long enough to tell; a short
    // line may repeat below by chance and is still offered.
    EXPECT_EQ(two.complete(text.substr(0, cut), u"\nx = 1;\ndisp(total)\n"), u"disp(total)");
    EXPECT_EQ(alone.complete(u"for i = 1:n\n", u"\ny = 2;\n    total = total + x(i);\nend\n"), std::nullopt);
}

TEST(CorpusIndexTest, HostileTextNeverBreaksIt) {
    CorpusIndex index({{"odd.ost", u"%{\nunclosed block comment\n'unterminated\n\"x\n\xD800 ... \n"},
                       {"empty.ost", u""},
                       {"loops.ost", kLoops}});
    for (const fl::ustring& prefix : {fl::ustring(u"'"), fl::ustring(u"%{"), fl::ustring(1, u'\xDC00'),
                                      fl::ustring(5000, u'('), fl::ustring(u"end\nend\nend\n")}) {
        EXPECT_NO_THROW(index.complete(prefix, prefix));
    }
}

// The code a completion would offer, and how many of the names it reads the file lacks.
TEST(NameFitTest, CountsTheNamesCodeReadsThatTheFileLacks) {
    const std::set<fl::ustring> known{u"data", u"n"};
    struct Case {
        const char16_t* code;
        std::size_t used, unknown;
    };
    const Case cases[] = {
        {u"total = total + x(k);", 3, 3},
        {u"total = sum(data);", 3, 1},  // sum is a library function
        {u"for k = 1:n\n    y(k) = data(k);\nend", 4, 2},
        {u"s.count = numel(data.items);", 3, 1},  // fields are no names
        {u"f = @(v) v.^2 + n;  % x y z\nz = f(3);", 4, 3},
        {u"function r = helper(a, b)\nproperties = 1;", 4, 4},  // a contextual word is no name
        {u"disp('total x'); \"data\"", 1, 0},
        {u"", 0, 0},
    };
    for (const auto& [code, used, unknown] : cases) {
        const auto fit = qvai::nameFit(code, known);
        EXPECT_EQ(fit.used, used) << fl::i18n::to_string(code);
        EXPECT_EQ(fit.unknown, unknown) << fl::i18n::to_string(code);
    }
}

std::optional<std::string> localReply(qvai::LocalBackend& backend, const std::string& prefix,
                                      const std::string& suffix) {
    qvai::BackendRequest request;
    request.input = qvai::TemplateInput{prefix, suffix, "", "", ""};
    try {
        return backend.complete(request, std::atomic<bool>(false));
    } catch (const std::runtime_error&) {
        return std::nullopt;
    }
}

std::string filler(int lines) {
    std::string out;
    for (int i = 0; i < lines; ++i)
        out += "q" + std::to_string(i) + " = " + std::to_string(i) + ";\n";
    return out;
}

// Where the local backend takes its code from: the file itself, the workspace, the corpus; and that it
// offers nothing rather than code reading names the file does not have.
TEST(LocalBackendTest, DrawsOnTheUsersCodeAndOffersOnlyCodeWhoseNamesTheFileHas) {
    const CorpusIndex::File totals{"totals.ost", u"for i = 1:n\n    total = total + x(i);\nend\n"};
    const CorpusIndex::File counts{"counts.ost", u"for i = 1:n\n    count = count + weights(i);\nend\n"};
    const CorpusIndex::File loops{"loops.ost", kLoops};
    struct Case {
        const char* name;
        std::string prefix;
        std::optional<std::string> code;
        std::vector<CorpusIndex::File> corpus;
        std::string suffix = "";
        std::vector<CorpusIndex::File> workspace = {};
    };
    const std::string countsPrefix = "count = 0;\nweights = load();\nfor i = 1:n\n";
    // clang-format off
    const Case cases[] = {
        {"a file unlike the corpus gets nothing", "frobs = load_frobs();\nfor i = 1:n\n", std::nullopt,
         {loops, totals}},
        {"of equal matches, the one whose names the file has", countsPrefix,
         "    count = count + weights(i);", {totals, counts}},
        {"the workspace before the corpus", countsPrefix, "    count = count + 2*weights(i);", {counts}, "",
         {{"mine.ost", u"for i = 1:n\n    count = count + 2*weights(i);\n"}}},
        {"the file's own code above the cursor",
         "for k = 1:numel(frobs)\n    frobs(k) = scale(frobs(k));\nend\nfor k = 1:numel(frobs)\n",
         "    frobs(k) = scale(frobs(k));", {loops}},
        {"the file's own code further below", "function r = outer(v)\nr = v;\nfor k = 1:numel(v)\n",
         "    w = w + v(k)^2;", {loops},
         "\nend\n" + filler(9) +
             "function w = inner(v)\nw = 0;\nfor k = 1:numel(v)\n    w = w + v(k)^2;\nend\nend\n"},
        {"but not code standing just below", "for k = 1:numel(v)\n", std::nullopt, {},
         "    w = w + v(k)^2;\nend\nfor k = 1:numel(v)\n    w = w + v(k)^2;\nend\n"},
        {"a match of a semicolon and a line end is no evidence", "zz = 3;\n", std::nullopt, {loops}}};
    // clang-format on
    for (const auto& c : cases) {
        qvai::LocalBackend backend(c.corpus, c.workspace);
        const auto reply = localReply(backend, c.prefix, c.suffix);
        EXPECT_EQ(reply, c.code ? std::optional(qvai::ostrelFence(*c.code)) : std::nullopt) << c.name;
    }
}

TEST(LocalBackendTest, CompletesExamplesQuicklyAndFromTheOtherExamplesWhenLeftOut) {
    const auto all = exampleFiles();
    ASSERT_GE(all.size(), 10u) << "the examples folder is missing";
    const CorpusIndex full(all);
    std::size_t answered = 0;
    std::vector<std::chrono::nanoseconds> times;
    for (const auto& file : all) {
        // Timed against the whole corpus, where each file meets its own copy.
        for (const double where : {0.25, 0.5, 0.75, 1.0}) {
            const auto cut = static_cast<std::size_t>(static_cast<double>(file.text.size()) * where);
            const auto start = std::chrono::steady_clock::now();
            (void)full.complete(file.text.substr(0, cut), file.text.substr(cut));
            times.push_back(std::chrono::steady_clock::now() - start);
        }
        const CorpusIndex others(exampleFiles(file.path));
        const auto cut = middleLineStart(file.text);
        const auto reply = others.complete(file.text.substr(0, cut), file.text.substr(cut));
        if (!reply) continue;
        ++answered;
        EXPECT_FALSE(reply->empty()) << file.path;
        EXPECT_EQ(reply->find(u"\n\n"), fl::ustring::npos) << file.path;  // never crosses a blank line
        EXPECT_EQ(others.complete(file.text.substr(0, cut), file.text.substr(cut)), reply) << file.path;
    }
    EXPECT_GE(answered * 2, all.size()) << "most cut-off examples should get a completion";
    // The median, since a busy machine may preempt any single reply.
    std::nth_element(times.begin(), times.begin() + times.size() / 2, times.end());
    const auto median = times[times.size() / 2];
    EXPECT_LT(median, std::chrono::milliseconds(10))
        << "median reply took " << std::chrono::duration<double, std::milli>(median).count() << " ms";
}

TEST(LocalBackendTest, ThroughTheClientIndexIsBuiltOnceAndRepliesAreFenced) {
    const testing_support::TempFolder corpus;
    fs::create_directories(corpus.path() / "nested");
    corpus.write("nested/loops.ost", fl::i18n::to_string(kLoops));
    qvai::ClientOptions options;
    options.UseBuiltinCorpus = false;
    options.CorpusFolders = {corpus.path().string()};
    qvai::AiClient client(options);
    const auto request = completionRequest("s = 0;\\nfor i = 1:n\\n", "\\nend");
    const std::string fenced = "```ostrel\n    % running sum\n    total = total + x(i);\n```";
    EXPECT_EQ(answer(client, request), fenced);
    fs::remove_all(corpus.path() / "nested");  // the index was built at start-up and does not read again
    EXPECT_EQ(answer(client, request), fenced);
    EXPECT_EQ(answer(client, completionRequest("qqq_nowhere(", "")), kFailed);

    // A workspace folder is read once too; one that does not exist is passed over.
    fs::create_directories(corpus.path() / ".hidden");
    corpus.write("mine.ost", "for i = 1:n\n    total = total + 2*x(i);\nend\n");
    corpus.write(".hidden/old.ost", "for i = 1:n\n    total = total + 3*x(i);\nend\n");
    options.CorpusFolders.clear();
    options.WorkspaceFolders = {corpus.path().string(), (corpus.path() / "gone").string()};
    qvai::AiClient workspaceClient(options);
    EXPECT_EQ(answer(workspaceClient, completionRequest("total = 0;\\nfor i = 1:n\\n", "")),
              "```ostrel\n    total = total + 2*x(i);\n```");
}

}  // namespace
