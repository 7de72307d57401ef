#pragma once

#include <string>
#include <vector>

#include "ca/analysis.hpp"
#include "ca/analysis_data.hpp"
#include "ca/single_file_analyzer.hpp"
#include "fl/i18n.hpp"

namespace ca::testing {

inline std::shared_ptr<Analysis> analyse(const std::u16string& text) {
    return createSingleFileAnalyzer()->analyze(text);
}

inline std::shared_ptr<Analysis> analyse(const std::string& utf8) {
    return analyse(fl::i18n::to_ustring(utf8));
}

// Kind:firstLine-closingLine(children), leaves without the lines when they sit on one line.
inline void printTree(const Analysis& a, const lf::astapi::Node<astapi::CA>& node, std::string& out) {
    out += std::string(lf::astapi::nodeKindName(node.getKind()));
    const auto last = a.getLineOfPosition(node.getClosingPosition());
    if (node.getChildCount() > 0 || last != node.getLine()) {
        out += ":" + std::to_string(node.getLine());
        if (last != node.getLine()) out += "-" + std::to_string(last);
    }
    if (node.getChildCount() == 0) return;
    out += "(";
    bool first = true;
    for (auto child : node.getChildren()) {
        if (!first) out += " ";
        first = false;
        printTree(a, child, out);
    }
    out += ")";
}

inline std::string printTree(const Analysis& a) {
    std::string out;
    printTree(a, a.getRootNode(), out);
    return out;
}

// "line:identifier" of every error.
inline std::vector<std::string> errors(const Analysis& a) {
    std::vector<std::string> out;
    for (const auto& d : a.data().diagnostics) {
        if (d.severity == detail::Severity::Error) out.push_back(std::to_string(d.line) + ":" + d.identifier);
    }
    return out;
}

inline std::string describeErrors(const Analysis& a) {
    std::string out;
    for (const auto& d : a.data().diagnostics)
        out += std::to_string(d.line) + ":" + d.identifier + " " + d.text + "\n";
    return out;
}

}  // namespace ca::testing
