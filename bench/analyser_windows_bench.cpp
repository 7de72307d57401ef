// How the analyser and the formatter fare on the windows the completion library cuts out of real files:
// whole files read as whole files, windows of 4,000 code units before the cursor (and of 1,000, which
// cut more often) alone and with the suffix, each in every layout the formatter can give the file, and
// the lines the formatter changes in the consistently indented files. The figures are counters; the
// time is that of the whole sweep. OSTREL_WINDOWS_FOLDERS (colon-separated, relative to the source tree)
// picks the corpus, OSTREL_WINDOWS_STRIDE the distance between cursors, OSTREL_WINDOWS_VERBOSE=1 prints
// every window that reports an error.
#include <benchmark/benchmark.h>

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <regex>
#include <sstream>
#include <string>
#include <vector>

#include "ca/analysis.hpp"
#include "ca/analysis_data.hpp"
#include "ca/formatting/legacy/legacy_formatter.hpp"
#include "ca/lexer/token.hpp"
#include "ca/single_file_analyzer.hpp"
#include "fl/i18n.hpp"

namespace {

using ca::formatting::legacy::BlankLines;
using ca::formatting::legacy::FunctionIndentation;
using ca::formatting::legacy::Settings;

struct CorpusFile {
    std::string name;
    fl::ustring text;
    Settings settings;
    bool consistent = false;
};

std::string readFile(const std::filesystem::path& path) {
    std::ifstream in(path, std::ios::binary);
    std::ostringstream bytes;
    bytes << in.rdbuf();
    return bytes.str();
}

Settings settingsOf(const std::string& unit, int functionStyle) {
    Settings s{0,
               10000000,
               unit != "tab",
               4,
               unit == "tab" ? 4u : static_cast<std::uint32_t>(std::stoi(unit)),
               static_cast<FunctionIndentation>(functionStyle),
               BlankLines::Ignore};
    return s;
}

// A folder with manifest.txt (indent, function style, consistent) or the demo folder with its README table.
std::vector<CorpusFile> loadFolder(const std::string& folder) {
    const std::filesystem::path dir = std::filesystem::path(OSTREL_SOURCE_DIR) / folder;
    std::vector<CorpusFile> files;
    const std::string manifest = readFile(dir / "manifest.txt");
    if (!manifest.empty()) {
        const std::regex entry(
            R"((\S+\.ost)\s+indent=(\w+)\s+function=(\w+)FunctionIndent\s+consistent=(\w+))");
        for (std::sregex_iterator it(manifest.begin(), manifest.end(), entry), end; it != end; ++it) {
            const std::string style = (*it)[3];
            files.push_back({folder + "/" + std::string((*it)[1]),
                             fl::i18n::to_ustring(readFile(dir / std::string((*it)[1]))),
                             settingsOf((*it)[2], style == "Classic" ? 0
                                                  : style == "Mixed" ? 1
                                                                     : 2),
                             (*it)[4] == "yes"});
        }
        return files;
    }
    const std::string readme = readFile(dir / "README.md");
    const std::regex row(R"(\|\s*([\w/]+\.ost)\s*\|[^\n]*\|\s*([012])\s*\|)");
    for (std::sregex_iterator it(readme.begin(), readme.end(), row), end; it != end; ++it) {
        Settings s = settingsOf("4", std::stoi((*it)[2]));
        s.blankLines = BlankLines::RemoveWhitespace;
        files.push_back({folder + "/" + std::string((*it)[1]),
                         fl::i18n::to_ustring(readFile(dir / std::string((*it)[1]))), s, true});
    }
    return files;
}

std::vector<CorpusFile> loadCorpus() {
    const char* env = std::getenv("OSTREL_WINDOWS_FOLDERS");
    std::stringstream folders(env != nullptr ? env
                                             : "examples:tests/data/styles:tests/data/fresh:tests/data/"
                                               "heldout:tests/data/heldout2:tests/data/heldout3");
    std::vector<CorpusFile> all;
    for (std::string folder; std::getline(folders, folder, ':');) {
        auto files = loadFolder(folder);
        all.insert(all.end(), files.begin(), files.end());
    }
    return all;
}

fl::ustring format(const fl::ustring& text, const Settings& settings) {
    const ca::formatting::legacy::LegacyFormatter formatter(settings);
    return formatter.getFormattedText(formatter.indentCode(ca::lexer::lex(text)));
}

std::vector<fl::ustring> linesOf(const fl::ustring& text) {
    std::vector<fl::ustring> lines;
    std::size_t start = 0;
    while (start < text.size()) {
        const std::size_t end = std::min(text.find(u'\n', start), text.size());
        lines.push_back(text.substr(start, end - start));
        start = end + 1;
    }
    return lines;
}

// The file as written and as the formatter lays it out in each function style, with spaces and tabs.
std::vector<fl::ustring> layoutsOf(const CorpusFile& file) {
    std::vector<fl::ustring> layouts{file.text};
    for (int style = 0; style < 3; ++style) {
        for (bool spaces : {true, false}) {
            Settings s = file.settings;
            s.functionIndentation = static_cast<FunctionIndentation>(style);
            s.insertSpaces = spaces;
            s.indentSize = spaces ? 2u + static_cast<std::uint32_t>(style) : 4u;
            // The formatter keeps a text's first line and the level of its first code line (the text may be
            // a window); a comment line put above lets it lay out the whole file.
            fl::ustring text = format(u"%\n" + file.text, s).substr(2);
            if (!ca::analyzeWholeFile(text)->hasParseErrors()) layouts.push_back(std::move(text));
        }
    }
    return layouts;
}

struct Tally {
    long whole = 0, wholeErrors = 0;
    long windows[2][2] = {};       // [1,000 | 4,000][prefix | prefix + suffix]
    long windowErrors[2][2] = {};  // of those, windows that report an error
    long consistentLines = 0, changedLines = 0, formattedWindows = 0, changedWindows = 0;
};

void report(const char* what, const std::string& name, std::size_t a, std::size_t b, const fl::ustring& text,
            const ca::Analysis* analysis = nullptr) {
    if (std::getenv("OSTREL_WINDOWS_VERBOSE") == nullptr) return;
    if (analysis != nullptr) {
        for (const auto& d : analysis->data().diagnostics)
            if (d.severity == ca::detail::Severity::Error)
                std::fprintf(stderr, "== error %s line %u: %s\n", name.c_str(), d.line, d.text.c_str());
    }
    std::fprintf(stderr, "== %s %s [%zu, %zu)\n%s\n", what, name.c_str(), a, b,
                 fl::i18n::to_string(text.substr(a, b - a)).c_str());
}

void measureFile(const CorpusFile& file, std::size_t stride, Tally& t) {
    ++t.whole;
    if (ca::analyzeWholeFile(file.text)->hasParseErrors()) {
        ++t.wholeErrors;
        report("whole", file.name, 0, file.text.size(), file.text);
        return;
    }
    const auto analyser = ca::createSingleFileAnalyzer();
    for (const fl::ustring& text : layoutsOf(file)) {
        for (std::size_t cursor = stride / 2; cursor < text.size(); cursor += stride) {
            for (int size = 0; size < 2; ++size) {
                const std::size_t reach = size == 0 ? 1000 : 4000;
                const std::size_t a = cursor > reach ? cursor - reach : 0;
                const std::size_t ends[2] = {cursor, std::min(text.size(), cursor + reach)};
                for (int kind = 0; kind < 2; ++kind) {
                    ++t.windows[size][kind];
                    const auto analysis = analyser->analyze(text.substr(a, ends[kind] - a));
                    if (!analysis->hasParseErrors()) continue;
                    ++t.windowErrors[size][kind];
                    report(kind == 0 ? "prefix" : "prefix+suffix", file.name, a, ends[kind], text,
                           analysis.get());
                }
            }
        }
    }
    if (!file.consistent) return;
    const auto before = linesOf(file.text), after = linesOf(format(file.text, file.settings));
    t.consistentLines += static_cast<long>(before.size());
    for (std::size_t i = 0; i < before.size(); ++i)
        if (i >= after.size() || after[i] != before[i]) {
            ++t.changedLines;
            if (std::getenv("OSTREL_WINDOWS_VERBOSE") != nullptr)
                std::fprintf(stderr, "== line %s:%zu\n|%s|\n|%s|\n", file.name.c_str(), i + 1,
                             fl::i18n::to_string(before[i]).c_str(),
                             i < after.size() ? fl::i18n::to_string(after[i]).c_str() : "");
        }
    for (std::size_t cursor = stride / 2; cursor < file.text.size(); cursor += stride) {
        const std::size_t a = cursor > 1000 ? cursor - 1000 : 0,
                          b = std::min(file.text.size(), cursor + 1000);
        const fl::ustring window = file.text.substr(a, b - a);
        ++t.formattedWindows;
        if (format(window, file.settings) == window) continue;
        ++t.changedWindows;
        report("formatter", file.name, a, b, file.text);
    }
}

double percent(long part, long whole) {
    return whole == 0 ? 0.0 : 100.0 * static_cast<double>(part) / static_cast<double>(whole);
}

void BM_WindowsOfTheCorpus(benchmark::State& state) {
    const auto corpus = loadCorpus();
    const char* strideText = std::getenv("OSTREL_WINDOWS_STRIDE");
    const std::size_t stride =
        strideText != nullptr ? std::max(1ul, std::strtoul(strideText, nullptr, 10)) : 97;
    Tally t;
    for (auto _ : state) {
        t = Tally{};
        for (const auto& file : corpus)
            measureFile(file, stride, t);
    }
    state.counters["files"] = static_cast<double>(t.whole);
    state.counters["whole_err_pct"] = percent(t.wholeErrors, t.whole);
    state.counters["windows"] = static_cast<double>(t.windows[1][0]);
    state.counters["p4000_err_pct"] = percent(t.windowErrors[1][0], t.windows[1][0]);
    state.counters["ps4000_err_pct"] = percent(t.windowErrors[1][1], t.windows[1][1]);
    state.counters["p1000_err_pct"] = percent(t.windowErrors[0][0], t.windows[0][0]);
    state.counters["ps1000_err_pct"] = percent(t.windowErrors[0][1], t.windows[0][1]);
    state.counters["fmt_lines_pct"] = percent(t.changedLines, t.consistentLines);
    state.counters["fmt_windows_pct"] = percent(t.changedWindows, t.formattedWindows);
}
BENCHMARK(BM_WindowsOfTheCorpus)->Unit(benchmark::kMillisecond)->Iterations(1);

}  // namespace
