#pragma once

#include <filesystem>
#include <fstream>
#include <regex>
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

// A program of the corpus with the layout it is written in.
struct ExampleText {
    std::string name;  // relative to the source tree
    std::u16string text;
    int functionStyle = 2;     // 0 classic, 1 mixed, 2 all function bodies indented
    std::uint32_t indent = 4;  // columns per level
    bool tabs = false;
    bool consistent = true;  // indented exactly as the formatter indents it
};

inline std::string readSourceFile(const std::filesystem::path& path) {
    std::ifstream in(std::filesystem::path(OSTREL_SOURCE_DIR) / path, std::ios::binary);
    std::stringstream buffer;
    buffer << in.rdbuf();
    return buffer.str();
}

// The programs listed under `folder`: the demo corpus (a table row of its README.md per file, "| file.ost |
// what it shows | style |") or tests/data/styles, fresh and heldout, whose manifest.txt gives each
// program's layout ("file.ost indent=<n|tab> function=<Classic|Mixed|All>FunctionIndent
// consistent=<yes|no>"), in real users' styles.
inline std::vector<ExampleText> loadExamples(const std::string& folder = "examples") {
    const std::filesystem::path dir(folder);
    const std::string manifest = readSourceFile(dir / "manifest.txt");
    const std::string list = manifest.empty() ? readSourceFile(dir / "README.md") : manifest;
    const std::regex row(
        manifest.empty()
            ? R"(\|\s*([\w/]+\.ost)\s*\|[^\n]*\|\s*()()([012])\s*\|)"
            : R"((\S+\.ost)\s+indent=((\d+)|tab)\s+function=(\w+)FunctionIndent\s+consistent=(\w+))");
    std::vector<ExampleText> out;
    for (std::sregex_iterator it(list.begin(), list.end(), row), end; it != end; ++it) {
        const auto& m = *it;
        ExampleText e{(dir / m[1].str()).string(), fl::i18n::to_ustring(readSourceFile(dir / m[1].str()))};
        const std::string style = m[4];
        e.functionStyle = style == "Classic" || style == "0" ? 0 : style == "Mixed" || style == "1" ? 1 : 2;
        e.tabs = m[2] == "tab";
        if (m[3].matched && m[3].length() > 0) e.indent = static_cast<std::uint32_t>(std::stoul(m[3]));
        e.consistent = !manifest.empty() ? m[5] == "yes" : true;
        out.push_back(std::move(e));
    }
    return out;
}

// The demo corpus and the programs in real users' layouts (styles/, fresh/ and the heldout folders).
inline std::vector<ExampleText> loadAllExamples() {
    auto all = loadExamples();
    for (const char* folder : {"tests/data/styles", "tests/data/fresh", "tests/data/heldout",
                               "tests/data/heldout2", "tests/data/heldout3"}) {
        auto more = loadExamples(folder);
        all.insert(all.end(), more.begin(), more.end());
    }
    return all;
}

}  // namespace ca::testing
