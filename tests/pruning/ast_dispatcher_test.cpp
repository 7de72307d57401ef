#include "mtcc/postprocessing/ast_dispatcher.hpp"

#include <gtest/gtest.h>

#include <sstream>
#include <stdexcept>

#include "ca/single_file_analyzer.hpp"

using mtcc::postprocessing::AstDispatcher;
using mtcc::postprocessing::CommentLines;

namespace {

// A tree the parser never builds: one node of the given kind, with optional children kinds.
ca::astapi::SyntaxTree treeOf(lf::astapi::NodeKind kind, std::vector<lf::astapi::NodeKind> children = {}) {
    ca::astapi::SyntaxTree tree;
    tree.nodes.push_back({1, 0, 0, 0, static_cast<std::uint32_t>(children.size()), kind});
    for (std::uint32_t i = 0; i < children.size(); ++i) {
        tree.nodes.push_back({1, 0, 0, 0, 0, children[i]});
        tree.children.push_back(i + 1);
    }
    return tree;
}

std::string dispatchError(const ca::astapi::SyntaxTree& tree) {
    AstDispatcher dispatcher(ca::createSingleFileAnalyzer()->analyze(u"x = 1;\n"), CommentLines{});
    try {
        dispatcher.dispatch(lf::astapi::Node<ca::astapi::CA>(tree, 0));
    } catch (const std::logic_error& e) {
        return e.what();
    }
    return "no error";
}

}  // namespace

TEST(AstDispatcher, UnknownKindsAndBareInputArgumentsFailLoudly) {
    std::ostringstream firstKind;
    firstKind << static_cast<lf::astapi::NodeKind>(0);
    EXPECT_EQ(dispatchError(treeOf(static_cast<lf::astapi::NodeKind>(0))),
              "Unhandled node kind \"" + firstKind.str() + "\" encountered in AstDispatcher.");
    EXPECT_EQ(dispatchError(treeOf(static_cast<lf::astapi::NodeKind>(200))),
              "Unhandled node kind encountered in AstDispatcher");
    EXPECT_EQ(dispatchError(treeOf(lf::astapi::NodeKind::InputArgument)),
              "InputArgument has neither an Identifier nor an Ignored");
    EXPECT_EQ(dispatchError(treeOf(lf::astapi::NodeKind::InputArgument, {lf::astapi::NodeKind::Ignored})),
              "no error");
}
