// The final check never lets through an edit that adds an error to a whole file: every example, at
// cursors all over it, with replies taken from other examples and replies made to break things.
#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <map>
#include <random>
#include <sstream>

#include "ca/messages/single_file_messages.hpp"
#include "ca/single_file_analyzer.hpp"
#include "fit/completion_edit.hpp"
#include "fit/final_check.hpp"
#include "fit/text_lines.hpp"
#include "fl/i18n.hpp"

namespace {

struct Example {
    std::string name;
    fl::ustring text;
};

std::map<std::string, int> errorCounts(const fl::ustring& text) {
    std::map<std::string, int> counts;
    const auto analysis = ca::analyzeWholeFile(text);
    for (const auto& message : ca::messages::messagesOf(*analysis, {true, false, true}))
        ++counts[message.getIdentifier()];
    return counts;
}

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
    // In the order of their names, so that the long files below are the same on every machine.
    std::sort(files.begin(), files.end(), [](const Example& a, const Example& b) { return a.name < b.name; });
    // Files too long to be read whole, where the check reads a window around the edit: the scripts' code
    // one after another, twice, with their local functions after it, and the function files' functions
    // in one file; each part taken while the whole still reads without errors.
    fl::ustring scriptCode, localFunctions;
    std::vector<fl::ustring> functionFiles;  // files of one form each: functions closed by `end`, or not
    for (int pass = 0; pass < 2; ++pass)
        for (const Example& example : files) {
            const std::size_t code = example.text.find_first_not_of(u" \t\r\n");
            if (code != fl::ustring::npos && example.text.compare(code, 9, u"function ") == 0) {
                if (pass > 0) continue;
                const auto joins =
                    std::find_if(functionFiles.begin(), functionFiles.end(), [&](const fl::ustring& whole) {
                        return errorCounts(whole + example.text + u"\n").empty();
                    });
                if (joins != functionFiles.end())
                    *joins += example.text + u"\n";
                else
                    functionFiles.push_back(example.text + u"\n");
                continue;
            }
            const std::size_t split = std::min(example.text.find(u"\nfunction "), example.text.size());
            const fl::ustring ownCode = example.text.substr(0, split) + u"\n";
            const fl::ustring ownFunctions = pass == 0 ? example.text.substr(split) + u"\n" : u"";
            if (errorCounts(scriptCode + ownCode + localFunctions + ownFunctions).empty()) {
                scriptCode += ownCode;
                localFunctions += ownFunctions;
            }
        }
    files.push_back({"the scripts in one file", scriptCode + localFunctions});
    files.push_back(
        {"the function files in one file",
         *std::max_element(functionFiles.begin(), functionFiles.end(),
                           [](const fl::ustring& a, const fl::ustring& b) { return a.size() < b.size(); })});
    return files;
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
    // The two long ones are read through windows (a file of up to 16,000 code units is read whole).
    ASSERT_GT(files[files.size() - 2].text.size(), 16000u);
    ASSERT_GT(files.back().text.size(), 16000u);
    std::mt19937 random(20261122);
    std::size_t edits = 0, refused = 0;
    for (std::size_t f = 0; f < files.size(); ++f) {
        const fl::ustring& file = files[f].text;
        const std::map<std::string, int> before = errorCounts(file);
        const std::vector<fl::ustring> otherLines = fit::text::splitLines(files[(f + 1) % files.size()].text);
        // The long files cost a whole-file reading a round; fewer rounds keep the test quick.
        const int rounds = file.size() > 16000 ? 24 : 60;
        for (int round = 0; round < rounds; ++round) {
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

// Edits whose harm lies beyond the window a long file is read through: a window may end inside a
// function whose nested functions stand at the margin, a function left without `end` reaches past it
// to the functions that set the file's form, and a script's variables may be assigned above it.
TEST(FinalCheckProperty, LongFilesAreCheckedBeyondTheirWindows) {
    const std::vector<Example> files = exampleFiles();
    struct Case {
        const Example& file;
        const char* before;  // the edit goes at the start of the last line that starts so
        const char* text;
    };
    const Case cases[] = {
        {files.back(), "    err = norm(next - fourthOrder, Inf);", "end\n"},
        {files[files.size() - 2], "%% Meeting schedule", "function name = label(x)\n    name = x;\n"},
        // A command whose name the script assigns far above: a variable there, so no command.
        {files[files.size() - 2], "%% Disk usage report", "groups on\n"},
    };
    for (const Case& c : cases) {
        const std::size_t at = c.file.text.rfind(fl::i18n::to_ustring(c.before));
        ASSERT_NE(at, fl::ustring::npos) << c.before;
        const fit::Edit edit{at, at, fl::i18n::to_ustring(c.text)};
        fl::ustring edited = c.file.text;
        edited.insert(at, edit.text);
        ASSERT_NE(errorCounts(edited), errorCounts(c.file.text)) << c.text;  // the edit does harm
        EXPECT_FALSE(fit::checkEdit(c.file.text, edit).passed) << c.file.name << ": " << c.text;
    }
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
