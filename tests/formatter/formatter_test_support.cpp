#include "formatter_test_support.hpp"

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <regex>
#include <sstream>
#include <stdexcept>

#include "ca/formatting/legacy/legacy_formatter.hpp"
#include "ca/lexer/token.hpp"
#include "fl/i18n.hpp"

namespace formatter_test {

using namespace ca::formatting::legacy;

fl::ustring format(const fl::ustring& text, const Settings& settings) {
    LegacyFormatter formatter(settings);
    return formatter.getFormattedText(formatter.indentCode(ca::lexer::lex(text)));
}

Settings settingsFor(FunctionIndentation style, BlankLines blanks) {
    return Settings{0, 10000000, true, 4, 4, style, blanks};
}

namespace {

std::string readFile(const std::filesystem::path& path) {
    std::ifstream in(path, std::ios::binary);
    if (!in) throw std::runtime_error("cannot read " + path.string());
    std::ostringstream text;
    text << in.rdbuf();
    return text.str();
}

}  // namespace

std::vector<Example> loadExamples() {
    const std::filesystem::path dir = std::filesystem::path(OSTREL_SOURCE_DIR) / "examples";
    const std::string readme = readFile(dir / "README.md");
    // Table rows: | file.ost | what it shows | style |
    const std::regex row(R"(\|\s*([\w/]+\.ost)\s*\|[^\n]*\|\s*([012])\s*\|)");
    std::vector<Example> examples;
    for (std::sregex_iterator it(readme.begin(), readme.end(), row), end; it != end; ++it) {
        Example example;
        example.name = (*it)[1];
        example.text = fl::i18n::to_ustring(readFile(dir / example.name));
        example.settings =
            settingsFor(static_cast<FunctionIndentation>(std::stoi((*it)[2])), BlankLines::RemoveWhitespace);
        examples.push_back(std::move(example));
    }
    if (examples.empty()) throw std::runtime_error("no examples listed in " + (dir / "README.md").string());
    return examples;
}

std::vector<Example> loadStyleExamples() {
    const std::filesystem::path dir = std::filesystem::path(OSTREL_SOURCE_DIR) / "tests" / "data" / "styles";
    if (!std::filesystem::exists(dir / "manifest.txt")) return {};
    std::istringstream manifest(readFile(dir / "manifest.txt"));
    // <file> indent=<2|3|4|tab> function=<Classic|Mixed|All>FunctionIndent consistent=<yes|no>
    const std::regex entry(
        R"(^\s*(\S+\.ost)\s+indent=(\d+|tab)\s+function=(Classic|Mixed|All)FunctionIndent\s+)"
        R"(consistent=(yes|no)\s*$)");
    std::vector<Example> examples;
    for (std::string line; std::getline(manifest, line);) {
        std::smatch m;
        if (line.find_first_not_of(" \t\r") == std::string::npos || line[0] == '#') continue;
        if (!std::regex_match(line, m, entry)) throw std::runtime_error("bad manifest line: " + line);
        Example example;
        example.name = m[1];
        example.text = fl::i18n::to_ustring(readFile(dir / example.name));
        const FunctionIndentation style = m[3] == "Classic" ? FunctionIndentation::Classic
                                          : m[3] == "Mixed" ? FunctionIndentation::Mixed
                                                            : FunctionIndentation::All;
        example.settings = settingsFor(style, BlankLines::Ignore);
        example.settings.insertSpaces = m[2] != "tab";
        example.settings.indentSize = m[2] == "tab" ? 4 : static_cast<std::uint32_t>(std::stoi(m[2]));
        example.consistent = m[4] == "yes";
        examples.push_back(std::move(example));
    }
    return examples;
}

std::string firstDifference(const fl::ustring& expected, const fl::ustring& actual) {
    const auto diverge = std::mismatch(expected.begin(), expected.end(), actual.begin(), actual.end());
    const std::size_t at = static_cast<std::size_t>(diverge.first - expected.begin());
    const std::size_t start = expected.rfind(u'\n', at == 0 ? 0 : at - 1) + 1;  // npos + 1 == 0
    const auto lineOf = [&](const fl::ustring& text) {
        return fl::i18n::to_string(text.substr(start, text.find(u'\n', start) - start));
    };
    return "line " + std::to_string(std::count(expected.begin(), expected.begin() + start, u'\n') + 1) +
           ":\n  expected |" + lineOf(expected) + "|\n  actual   |" + lineOf(actual) + "|";
}

}  // namespace formatter_test
