// The server's pieces on their own: the line index under incremental edits, the cache's rule for typing
// into a shown completion, and the key's trust rule.
#include <gtest/gtest.h>

#include <random>

#include "completion_cache.hpp"
#include "document_store.hpp"
#include "file_uri.hpp"
#include "fl/i18n.hpp"
#include "settings_layers.hpp"

namespace ostrel_lsp {
namespace {

TEST(DocumentStore, IncrementalEditsKeepTextAndLineIndexRight) {
    // Random edits over texts full of "\r", "\n" and surrogate pairs, checked against a plain model.
    const std::vector<fl::ustring> pieces = {u"a", u"\n", u"\r", u"\r\n", u"xy", u"\U0001F600", u""};
    std::mt19937 random(7);
    Document document;
    document.text = std::make_shared<const fl::ustring>(u"start\r\nline\rtwo\n");
    document.lineStarts = lineStartsOf(*document.text);
    fl::ustring model = *document.text;
    for (int round = 0; round < 3000; ++round) {
        const auto starts = lineStartsOf(model);
        const auto pick = [&](std::size_t n) { return static_cast<std::int64_t>(random() % (n + 2)); };
        Position a{pick(starts.size()), pick(12)};
        Position b{pick(starts.size()), pick(12)};
        const std::size_t from = offsetOf(model, starts, a), to = offsetOf(model, starts, b);
        if (from > to) std::swap(a, b);
        fl::ustring inserted;
        for (int k = static_cast<int>(random() % 3); k > 0; --k)
            inserted += pieces[random() % pieces.size()];
        applyChange(document, TextChange{std::pair{a, b}, inserted});
        model.replace(std::min(from, to), std::max(from, to) - std::min(from, to), inserted);
        ASSERT_EQ(*document.text, model) << "round " << round;
        ASSERT_EQ(document.lineStarts, lineStartsOf(model)) << "round " << round;
    }
}

TEST(TextPositions, OffsetsAndPositionsAgree) {
    const fl::ustring text = u"ab\r\n\U0001F600c\rd\n";
    const auto starts = lineStartsOf(text);
    struct Case {
        Position position;
        std::size_t offset;
    };
    const std::vector<Case> cases = {
        {{0, 0}, 0}, {{0, 2}, 2}, {{0, 9}, 2},  // past the line's end: before its "\r\n"
        {{1, 2}, 6}, {{1, 3}, 7}, {{1, 4}, 7}, {{2, 1}, 9}, {{3, 0}, 10}, {{7, 3}, 10},
    };
    for (const Case& c : cases) {
        EXPECT_EQ(offsetOf(text, starts, c.position), c.offset)
            << c.position.line << ":" << c.position.character;
    }
    for (std::size_t offset = 0; offset <= text.size(); ++offset) {
        EXPECT_EQ(positionOf(text, starts, offset), positionOf(text, offset)) << offset;
    }
}

TEST(CompletionCache, TypingIntoAShownCompletionContinuesIt) {
    const auto text = std::make_shared<const fl::ustring>(u"x = 1;\n)\n");
    // Shown at offset 7 (start of line 2), replacing the ")" after the cursor.
    const ShownCompletion shown{text, 7, fit::Edit{7, 8, u"y = f(x)"}};
    struct Case {
        const char* name;
        fl::ustring now;
        std::size_t cursor;
        std::optional<fit::Edit> expected;
    };
    const std::vector<Case> cases = {
        {"nothing typed", u"x = 1;\n)\n", 7, fit::Edit{7, 8, u"y = f(x)"}},
        {"the first characters", u"x = 1;\ny = )\n", 11, fit::Edit{11, 12, u"f(x)"}},
        {"all but one", u"x = 1;\ny = f(x)\n", 14, fit::Edit{14, 15, u")"}},
        {"all of it", u"x = 1;\ny = f(x))\n", 15, std::nullopt},
        {"something else", u"x = 1;\nz)\n", 8, std::nullopt},
        {"the right characters elsewhere", u"x = 2;\ny)\n", 8, std::nullopt},
        {"a change after the cursor", u"x = 1;\ny)\n\n", 8, std::nullopt},
        {"the cursor moved back", u"x = 1;\n)\n", 6, std::nullopt},
        {"a cursor past the text", u"x", 5, std::nullopt},
    };
    const auto described = [](const std::optional<fit::Edit>& edit) {
        using Shown = std::tuple<std::size_t, std::size_t, fl::ustring>;
        return edit ? Shown{edit->start, edit->end, edit->text} : Shown{0, 0, u"nothing"};
    };
    for (const Case& c : cases)
        EXPECT_EQ(described(continueShown(shown, c.now, c.cursor)), described(c.expected)) << c.name;
}

TEST(SettingsTrust, TheKeyGoesOnlyToTheServerTheUserNamed) {
    qvai::ClientOptions trusted;
    trusted.Backend = "openai";
    trusted.Endpoint = "https://models.example";
    trusted.ApiKeyVariable = "MY_KEY";
    struct Case {
        const char* name;
        std::string backend, endpoint, variable;
        std::string expected;
    };
    const std::vector<Case> cases = {
        {"the user's own server", "openai", "https://models.example", "MY_KEY", "MY_KEY"},
        {"another variable named by a project", "openai", "https://models.example", "AWS_SECRET", "MY_KEY"},
        {"another endpoint", "openai", "https://attacker.example", "MY_KEY", ""},
        {"another backend", "infill", "https://models.example", "MY_KEY", ""},
    };
    for (const Case& c : cases) {
        qvai::ClientOptions effective = trusted;
        effective.Backend = c.backend;
        effective.Endpoint = c.endpoint;
        effective.ApiKeyVariable = c.variable;
        EXPECT_EQ(withTrustedKey(effective, trusted).ApiKeyVariable, c.expected) << c.name;
    }
}

TEST(FileUri, LocalPathsOnly) {
    const std::vector<std::pair<std::string, std::optional<std::string>>> cases = {
        {"file:///home/me/proj", "/home/me/proj"}, {"file:///home/a%20b/%C3%A9", "/home/a b/\xC3\xA9"},
        {"file://localhost/srv", "/srv"},          {"file://server/share", std::nullopt},
        {"https://example.com/x", std::nullopt},   {"file:///bad%2", std::nullopt},
        {"file:///nul%00byte", std::nullopt},
    };
    for (const auto& [uri, path] : cases)
        EXPECT_EQ(pathOfFileUri(uri), path) << uri;
}

}  // namespace
}  // namespace ostrel_lsp
