// Inputs that once crashed a program or broke a promise, each kept as a small table of cases: texts far
// deeper than any real file, a missing settings record, filters nested tens of thousands deep (line ends
// made of several CRs: LineSplitter.SplitsAtLineFeedsOnly).
#include <gtest/gtest.h>

#include <stdexcept>
#include <string>

#include "ca/single_file_analyzer.hpp"
#include "cppmicroservices/ldap_filter.hpp"
#include "fl/i18n.hpp"
#include "guarded_completion.hpp"
#include "mtcc/autocompletion/auto_completion.hpp"
#include "mtcc/cache/settings_values.hpp"
#include "mtcc/postprocessing/code_pruner.hpp"
#include "support/repeat.hpp"
#include "targets/in_process_client.hpp"

using mtcc::postprocessing::CodeBlock;
using testing_support::repeat;

namespace {

// "1 + 1 + ... + 1" with `terms` terms: the parser makes a left-deep chain of that many operators.
std::string plusChain(std::size_t terms) {
    return "1" + repeat(" + 1", terms - 1);
}

// The block forest of a text as "start-end[children]" items, built the way pruning builds it.
std::string blockForest(const std::string& utf8) {
    const auto analysis = ca::createSingleFileAnalyzer()->analyze(fl::i18n::to_ustring(utf8));
    // Blocks nest only as deep as the constructs of these small texts.
    std::string out;
    const auto render = [&out](const auto& self, const std::vector<CodeBlock>& blocks) -> void {
        for (const auto& block : blocks) {
            out += std::to_string(block.startLine) + "-" + std::to_string(block.endLine);
            if (!block.children.empty()) {
                out += "[";
                self(self, block.children);
                out += "]";
            }
            out += " ";
        }
    };
    render(render, mtcc::postprocessing::topLevelBlocks(analysis));
    return out;
}

TEST(DeepTrees, BuildTheSameBlocksAsShallowOnes) {
    struct Case {
        std::string name;
        std::string (*text)(const std::string& chain);
        std::string blocks;  // with a chain of three terms; 20,000 terms must give the same
    };
    const std::vector<Case> cases{
        {"a chain in a script", [](const std::string& c) { return "x = " + c + ";\ny = 2;\n\nz = 3;\n"; },
         "1-2 4-4 "},
        {"a chain in a loop body",
         [](const std::string& c) { return "for k = 1:3\n  x = " + c + ";\n\n  y = 2;\nend\nz = 1;\n"; },
         "1-6[2-2 4-4 ] "},
        {"a chain in a function's argument list",
         [](const std::string& c) { return "function r = f(a)\n  r = g(" + c + ");\nend\n"; }, "1-3 "},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        EXPECT_EQ(blockForest(c.text(plusChain(3))), c.blocks);
        EXPECT_EQ(blockForest(c.text(plusChain(20000))), c.blocks);
    }
}

// The library keeps the first model client it finds for the life of the process: these tests answer
// through the same in-process client as the replayed fuzz inputs, whichever runs first.
TEST(DeepInputsThroughGetInfo, EndInACompletionOrInAnErrorTheHostCanShow) {
    struct Case {
        std::string name;
        std::string reply;
        std::string prefix;
        std::string pruned;  // expected, when `error` is empty
        std::string error;   // a part of the expected error message
    };
    // 16,000 terms: about as long as a reply the client lets through (64 Ki code units).
    const std::string longLine = "y = " + plusChain(16000) + ";";
    const std::vector<Case> cases{
        {"a reply of 16,000 terms", "```ostrel\n" + longLine + "\n```", "x = 1;\n", longLine, ""},
        {"a prefix line of 2,000 terms", "```ostrel\nz = 2;\n```", "x = " + plusChain(2000) + ";\n", "z = 2;",
         ""},
        {"a prefix of 600 open brackets", "```ostrel\nz = 2;\n```", "x = " + repeat("(", 600), "", "512"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        ostrel_fuzz::answerWith(fl::i18n::to_ustring(c.reply));
        const fl::ustring code = fl::i18n::to_ustring(c.prefix);
        const auto result =
            ostrel_apps::completeGuarded(code, code.size(), std::make_shared<mtcc::cache::SettingsValues>());
        if (c.error.empty()) {
            EXPECT_EQ(result.error, "");
            // Pruning is where the block tree is built; compare without printing 80,000 characters.
            const std::string pruned = fl::i18n::to_string(result.stages.pruned);
            EXPECT_TRUE(pruned == c.pruned)
                << pruned.size() << " characters pruned, not the expected " << c.pruned.size();
        } else {
            EXPECT_NE(result.error.find(c.error), std::string::npos) << result.error;
            EXPECT_TRUE(result.stages.completion.empty());
        }
    }
}

TEST(DeepInputsThroughGetInfo, AMissingSettingsRecordIsAClearError) {
    ostrel_fuzz::answerWith(u"```ostrel\nz = 2;\n```");
    try {
        mtcc::AutoCompletion::GetInfo(u"", u"x = 1;\n", 7, nullptr);
        ADD_FAILURE() << "no error for a null settings record";
    } catch (const std::invalid_argument& e) {
        EXPECT_NE(std::string(e.what()).find("settings"), std::string::npos) << e.what();
    }
}

TEST(LdapFilter, NestingIsBoundedWithAClearError) {
    struct Case {
        std::size_t depth;
        bool valid;
    };
    for (const Case c : {Case{1, true}, Case{256, true}, Case{257, false}, Case{35000, false}}) {
        SCOPED_TRACE(c.depth);
        const std::string filter = repeat("(!", c.depth - 1) + "(name=x)" + repeat(")", c.depth - 1);
        try {
            const cppmicroservices::LDAPFilter parsed(filter);
            EXPECT_TRUE(c.valid);
            EXPECT_EQ(parsed.Match({{"name", "x"}}), c.depth % 2 == 1);
        } catch (const std::invalid_argument& e) {
            EXPECT_FALSE(c.valid);
            EXPECT_NE(std::string(e.what()).find("nested deeper than 256 levels"), std::string::npos)
                << e.what();
            EXPECT_LT(std::string(e.what()).size(), 300u);
        }
    }
}

}  // namespace
