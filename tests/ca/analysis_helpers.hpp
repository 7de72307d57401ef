#pragma once

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <sstream>
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

struct ExampleText {
    std::string name;
    std::u16string text;
};

// Every Ostrel example of the repository.
// The .ost files under `folder` of the source tree (the demo corpus by default; tests/data/styles holds
// programs in real users' layouts).
inline std::vector<ExampleText> loadExamples(const char* folder = "examples") {
    std::vector<ExampleText> out;
    const std::filesystem::path root = std::filesystem::path(OSTREL_SOURCE_DIR) / folder;
    if (!std::filesystem::exists(root)) return out;
    for (const auto& entry : std::filesystem::recursive_directory_iterator(root)) {
        if (!entry.is_regular_file() || entry.path().extension() != ".ost") continue;
        std::ifstream in(entry.path(), std::ios::binary);
        std::stringstream buffer;
        buffer << in.rdbuf();
        out.push_back({(std::filesystem::path(folder) / entry.path().lexically_relative(root)).string(),
                       fl::i18n::to_ustring(buffer.str())});
    }
    std::sort(out.begin(), out.end(),
              [](const ExampleText& a, const ExampleText& b) { return a.name < b.name; });
    return out;
}

// The demo corpus and the programs in real users' layouts.
inline std::vector<ExampleText> loadAllExamples() {
    auto all = loadExamples();
    auto styles = loadExamples("tests/data/styles");
    all.insert(all.end(), styles.begin(), styles.end());
    return all;
}

}  // namespace ca::testing
