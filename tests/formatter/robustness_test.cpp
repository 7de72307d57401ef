#include <gtest/gtest.h>

#include <random>

#include "ca/messages/single_file_messages.hpp"
#include "ca/token/auto_completion_token_info.hpp"
#include "fl/i18n.hpp"
#include "formatter_test_support.hpp"
#include "support/repeat.hpp"

namespace {

using namespace formatter_test;
using ca::formatting::legacy::BlankLines;
using ca::formatting::legacy::FunctionIndentation;
using ca::formatting::legacy::Settings;
using testing_support::repeat;

// The text's lines without their leading blanks; lines of blanks only are empty.
std::vector<fl::ustring> linesWithoutIndentation(const fl::ustring& text) {
    constexpr auto npos = fl::ustring::npos;
    std::vector<fl::ustring> lines;
    for (std::size_t start = 0, end = 0; end != npos; start = end + 1) {
        end = text.find(u'\n', start);
        const fl::ustring line = text.substr(start, end == npos ? npos : end - start);
        const std::size_t code = line.find_first_not_of(u" \t\f\v\r");
        lines.push_back(code == npos ? fl::ustring() : line.substr(code));
    }
    return lines;
}

// Everything an analysis of the text offers, so that every part of the analyser is exercised; the
// whole-file reading too. Every node lies within its parent and is never of kind 0; children come in
// source order.
std::size_t useFully(const std::u16string& text) {
    auto analysis = ca::testing::analyse(text);
    std::size_t count =
        analysis->getComments().size() + ca::analyzeWholeFile(text)->data().diagnostics.size();
    count += ca::token::getAutoCompletionTokenInfo(analysis).getTokens().size();
    count += ca::messages::messagesOf(*analysis, ca::messages::MessageOptions{}).size();
    std::vector<lf::astapi::Node<ca::astapi::CA>> stack{analysis->getRootNode()};
    while (!stack.empty()) {
        auto node = stack.back();
        stack.pop_back();
        count += analysis->getLineOfPosition(node.getClosingPosition());
        EXPECT_NE(node.getKind(), lf::astapi::NodeKind::Unknown);
        std::size_t previous = node.getStartPosition();
        for (auto child : node.getChildren()) {
            EXPECT_GE(child.getStartPosition(), previous) << node.getKind();
            EXPECT_LE(child.getClosingPosition(), node.getClosingPosition()) << node.getKind();
            previous = child.getStartPosition();
            stack.push_back(child);
        }
    }
    return count;
}

// Formats `text` and checks what must hold for any text and any settings: only indentation changes, and
// formatting the result again changes nothing; and the analyser reads it without failing.
void checkInvariants(const fl::ustring& text, const Settings& s, const std::string& label) {
    const std::string what = label + " settings " + std::to_string(s.tabSize) + "/" +
                             std::to_string(s.indentSize) + "/" + std::to_string(s.insertSpaces) + "/" +
                             std::to_string(static_cast<int>(s.functionIndentation)) + "/" +
                             std::to_string(static_cast<int>(s.blankLines)) + " lines " +
                             std::to_string(s.startLine) + "-" + std::to_string(s.endLine);
    fl::ustring once, twice;
    ASSERT_NO_THROW(useFully(text)) << what;
    ASSERT_NO_THROW(once = format(text, s)) << what;
    ASSERT_EQ(linesWithoutIndentation(once), linesWithoutIndentation(text)) << what;
    // With a partial line range, lines inside it move while the lines around them, whose indentation
    // the formatter reads where the structure is unknown, stay; idempotence holds for whole texts.
    if (s.startLine > 1 || s.endLine < 10000000) return;
    ASSERT_NO_THROW(twice = format(once, s)) << what;
    ASSERT_EQ(twice, once) << what << " " << firstDifference(once, twice);
}

Settings randomSettings(std::mt19937& random) {
    Settings settings;
    const std::uint32_t sizes[] = {0, 1, 2, 3, 4, 8, 5000};
    settings.tabSize = sizes[random() % 7];
    settings.indentSize = sizes[random() % 7];
    settings.insertSpaces = random() % 2;
    settings.functionIndentation = static_cast<FunctionIndentation>(random() % 3);
    settings.blankLines = static_cast<BlankLines>(random() % 3);
    settings.startLine = random() % 4 == 0 ? static_cast<std::uint32_t>(random() % 40) : 0;
    settings.endLine = random() % 4 == 0 ? static_cast<std::uint32_t>(random() % 80) : 10000000;
    return settings;
}

// Lines and pieces that stress the formatter: block openers and closers, brackets, literals, continuations,
// block comment markers, odd blanks and code units that are not valid text.
// clang-format off
const std::u16string_view kPieces[] = {
    u"if a", u"end", u"else", u"elseif b", u"for k = 1:3", u"while c", u"switch v", u"case 1", u"otherwise",
    u"try", u"catch e", u"function f(x)", u"function y = g", u"function n = end(o, k, m)", u"classdef C",
    u"properties", u"methods", u"arguments", u"spmd", u"parfor (k = 1:2, 3)", u"x = 1;", u"y = [1 2 ...",
    u"3 4];", u"z = f(a, ...", u"b);", u"w = {", u"'a'", u"}", u")]}", u"if x, y = 1; end", u"disp hello ...",
    u"% comment", u"%% section", u"%{", u"%}", u"...", u"'", u"\"", u"", u"\r", u"\f", u"\u00e9", u"\xd800",
    u"\0", u"a(end)", u"r = area@Shape(s)", u"plot(x, N=2)", u"o.?C", u"!ls", u"_", u"@(a) a'", u"hold on",
    u"[a, ~] = f(1, ...", u"if x, y = 1; else, z; end", u"end)", u"x = a +", u"b = c ..."};
// clang-format on

// A short program of random lines at random indentation: where formatting reads a line's own indentation
// (cut edges, a class block whose class is out of sight), the first formatting must not change what the
// second decides.
fl::ustring randomProgram(std::mt19937& random) {
    fl::ustring text;
    const int count = 1 + static_cast<int>(random() % 7);
    for (int l = 0; l < count; ++l) {
        const int blanks = static_cast<int>(random() % 4);
        text += blanks == 3 ? fl::ustring(u"\t") : fl::ustring(static_cast<std::size_t>(blanks * 2), u' ');
        text += kPieces[random() % std::size(kPieces)];
        if (l + 1 < count || random() % 2) text += random() % 8 ? u"\n" : u"\r\n";
    }
    return text;
}

// A piece of a longer program with a range moved elsewhere and a piece inserted.
fl::ustring mutate(fl::ustring text, std::mt19937& random) {
    const std::size_t at = random() % (text.size() + 1);
    const fl::ustring moved = text.substr(at, random() % 200);
    text.erase(at, moved.size());
    text.insert(random() % (text.size() + 1),
                random() % 2 ? moved : fl::ustring(moved.substr(0, moved.size() / 2)));
    text.insert(random() % (text.size() + 1), kPieces[random() % std::size(kPieces)]);
    return text;
}

TEST(FormatterRobustness, EveryTextUnderEverySettingKeepsItsCodeFormatsIdempotentlyAndAnalyses) {
    std::mt19937 random(7);
    const auto corpus = ca::testing::loadAllExamples();
    for (const auto& example : corpus)
        for (int n = 0; n < 6; ++n)
            checkInvariants(example.text, randomSettings(random), example.name);
    for (int n = 0; n < 2500 && !HasFatalFailure(); ++n) {
        const auto& example = corpus[random() % corpus.size()];
        const fl::ustring base =
            n % 2 ? example.text : example.text.substr(random() % (example.text.size() / 2 + 1), 1500);
        checkInvariants(mutate(base, random), randomSettings(random),
                        example.name + " mutation " + std::to_string(n));
    }
    for (int n = 0; n < 15000 && !HasFatalFailure(); ++n) {
        Settings settings = randomSettings(random);
        if (n % 4) {
            settings.startLine = 0;
            settings.endLine = 10000000;
        }
        checkInvariants(randomProgram(random), settings, "random program " + std::to_string(n));
    }
}

// Output stays within 8 times the input plus 65536 code units, whatever the nesting and indent size; a
// text that would grow more is left as it is. Real nesting is far from the bound.
TEST(FormatterRobustness, OutputIsBoundedByTheInput) {
    Settings wide = settingsFor(FunctionIndentation::All);
    wide.indentSize = 1024;
    for (const auto& [text, settings] :
         {std::pair{u"%\n" + repeat(u"if a\n", 20000), settingsFor(FunctionIndentation::All)},
          std::pair{u"%\nif a\n" + repeat(u"x\n", 100000), wide},
          std::pair{u"%\nif a\n" + repeat(u"\t", 1 << 20) + u"x\nend\n", wide}}) {
        const fl::ustring formatted = format(text, settings);
        EXPECT_LE(formatted.size(), 8 * text.size() + 65536);
        EXPECT_EQ(linesWithoutIndentation(formatted), linesWithoutIndentation(text));
    }
    const fl::ustring nested = u"%\n" + repeat(u"if a\n", 30) + u"x\n" + repeat(u"end\n", 30);
    EXPECT_NE(format(nested, settingsFor(FunctionIndentation::All)).find(fl::ustring(120, u' ') + u"x\n"),
              fl::ustring::npos);
}

}  // namespace
