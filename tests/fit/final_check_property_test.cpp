// The final check never lets through an edit that adds an error to a whole file: every example, at
// cursors all over it, with replies taken from other examples and replies made to break things.
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <map>
#include <random>
#include <sstream>

#include "ca/messages/single_file_messages.hpp"
#include "ca/single_file_analyzer.hpp"
#include "fit/completion_edit.hpp"
#include "fit/text_lines.hpp"
#include "fl/i18n.hpp"

namespace {

struct Example {
    std::string name;
    fl::ustring text;
};

std::vector<Example> exampleFiles() {
    std::vector<Example> files;
    for (const auto& entry :
         std::filesystem::directory_iterator(std::string(OSTREL_SOURCE_DIR) + "/examples")) {
        if (entry.path().extension() != ".ost") continue;
        std::ifstream in(entry.path(), std::ios::binary);
        std::stringstream text;
        text << in.rdbuf();
        files.push_back({entry.path().filename().string(), fl::i18n::to_ustring(text.str())});
    }
    return files;
}

std::map<std::string, int> errorCounts(const fl::ustring& text) {
    std::map<std::string, int> counts;
    const auto analysis = ca::analyzeWholeFile(text);
    for (const auto& message : ca::messages::messagesOf(*analysis, {true, false, true}))
        ++counts[message.getIdentifier()];
    return counts;
}

const char* const kAdversarial[] = {
    "end",
    "end\nend",
    "if x > 0",
    "if x > 0\n    y = 1;",
    "for k = 1:3\n    z = k;",
    "function g()\n    h = 1;\nend",
    "x = (1 + ",
    "s = 'unterminated",
    "%{\nopen block comment",
    "]",
    "else\n    q = 2;",
    "case 1",
    "otherwise",
    "catch err",
    "while true\nbreak\nend\nend",
    "x = 1;\n\n\ny = 2;",
    "\t\t\t",
    "x = [1, 2\n3, 4",
    "y = x';\nz = \"s\";",
    "a.b(3).c = {1, 'x'};",
    "\xC3\xA9 = 1;",
    "@@@",
    "```",
    "classdef C\nend",
};

TEST(FinalCheckProperty, NoEditAddsAnErrorToAWholeFile) {
    const std::vector<Example> files = exampleFiles();
    ASSERT_GE(files.size(), 10u);
    std::mt19937 random(20261122);
    std::size_t edits = 0, refused = 0;
    for (std::size_t f = 0; f < files.size(); ++f) {
        const fl::ustring& file = files[f].text;
        const std::map<std::string, int> before = errorCounts(file);
        const std::vector<fl::ustring> otherLines = fit::text::splitLines(files[(f + 1) % files.size()].text);
        for (int round = 0; round < 60; ++round) {
            const std::size_t cursor = std::uniform_int_distribution<std::size_t>(0, file.size())(random);
            fl::ustring reply;
            if (round % 2 == 0) {
                reply = fl::i18n::to_ustring(kAdversarial[random() % std::size(kAdversarial)]);
            } else {
                const std::size_t from = random() % otherLines.size();
                const std::size_t count = 1 + random() % 6;
                for (std::size_t i = from; i < std::min(otherLines.size(), from + count); ++i)
                    reply += (i > from ? u"\n" : u"") + otherLines[i];
            }
            if (fit::text::isBlankText(reply)) continue;
            const fit::StageTexts stages{
                u"```ostrel\n" + reply + u"\n```", reply, reply, reply, reply, reply};
            const fit::Fitted fitted = fit::fitCompletion(file, cursor, stages, fit::IndentSettings{});
            if (!fitted.edit) {
                ++refused;
                EXPECT_FALSE(fitted.reason.empty());
                continue;
            }
            ++edits;
            ASSERT_LE(fitted.edit->start, fitted.edit->end);
            ASSERT_LE(fitted.edit->end, file.size());
            fl::ustring edited = file;
            edited.replace(fitted.edit->start, fitted.edit->end - fitted.edit->start, fitted.edit->text);
            for (const auto& [identifier, count] : errorCounts(edited)) {
                const auto known = before.find(identifier);
                EXPECT_LE(count, known == before.end() ? 0 : known->second)
                    << identifier << " added to " << files[f].name << " at " << cursor << " by\n"
                    << fl::i18n::to_string(reply) << "\nedit: " << fl::i18n::to_string(fitted.edit->text);
            }
        }
    }
    // Both outcomes occur: the check is neither always passing nor always refusing.
    EXPECT_GT(edits, 20u);
    EXPECT_GT(refused, 20u);
}

// Hostile files, cursors and completions: an answer every time, never a crash or a hang.
TEST(FinalCheckProperty, HostileInputsGetAnAnswer) {
    const fl::ustring deep = fl::ustring(3000, u'(') + u"1" + fl::ustring(3000, u')');
    fl::ustring nestedIfs;
    for (int i = 0; i < 700; ++i)
        nestedIfs += u"if x\n";
    const fl::ustring longLine = u"x = " + fl::ustring(200000, u'1') + u";";
    struct Case {
        fl::ustring file;
        std::size_t cursor;
        fl::ustring completion;
    };
    const Case cases[] = {
        {u"", 0, u"x = 1;"},
        {u"x = 1;", 99, u"y = 2;"},
        {u"x = 1;\n", 7, deep},
        {u"x = 1;\n", 7, nestedIfs},
        {u"x = 1;\n", 7, longLine},
        {u"a\rb\r\r", 2, u"c\rd"},
        {fl::ustring(u"x = 1;\0\n", 8), 8, fl::ustring(u"\0y", 2)},
        {u"\n\n\n", 1, u"\n\nend\n\n"},
        {u"end\nend\nend\n", 4, u"end"},
    };
    for (const Case& c : cases) {
        const fit::StageTexts stages{u"```ostrel\n" + c.completion + u"\n```",
                                     c.completion,
                                     c.completion,
                                     c.completion,
                                     c.completion,
                                     c.completion};
        const fit::Fitted fitted = fit::fitCompletion(c.file, c.cursor, stages, fit::IndentSettings{});
        if (fitted.edit) {
            EXPECT_LE(fitted.edit->start, fitted.edit->end);
            EXPECT_LE(fitted.edit->end, c.file.size());
        } else {
            EXPECT_FALSE(fitted.emptyStage.empty());
            EXPECT_FALSE(fitted.reason.empty()) << fitted.emptyStage;
        }
    }
}

}  // namespace
