#include "support/golden_case.hpp"

#include <algorithm>
#include <charconv>
#include <fstream>
#include <limits>
#include <optional>
#include <sstream>

#include "fl/i18n.hpp"

namespace testing_support {
namespace {

constexpr std::string_view kCursorMarker = "<|>";
constexpr std::string_view kFinalLineEnd = "<NL>";
constexpr std::string_view kSettingsKey = "# settings:";
constexpr std::string_view kLineEndsKey = "# line-ends:";

struct Line {
    std::string_view text;
    std::size_t number;  // 1-based
};

class Reporter {
  public:
    explicit Reporter(const std::string& origin) : origin_(origin) {}
    [[noreturn]] void fail(std::size_t line, const std::string& message) const {
        throw GoldenCaseError(origin_ + ":" + std::to_string(line) + ": " + message);
    }

  private:
    const std::string& origin_;
};

std::vector<Line> splitLines(std::string_view text) {
    std::vector<Line> lines;
    std::size_t start = 0;
    while (start < text.size()) {
        const std::size_t end = text.find('\n', start);
        const std::size_t stop = end == std::string_view::npos ? text.size() : end;
        lines.push_back({text.substr(start, stop - start), lines.size() + 1});
        start = stop + 1;
    }
    return lines;
}

bool isValidUtf8(std::string_view text) {
    return fl::i18n::to_string(fl::i18n::to_ustring(text)) == text;
}

std::string_view trimBlanks(std::string_view s) {
    const auto first = s.find_first_not_of(" \t");
    if (first == std::string_view::npos) return {};
    return s.substr(first, s.find_last_not_of(" \t") - first + 1);
}

template <typename Number>
Number parseNumber(std::string_view value, const Reporter& report, std::size_t line, std::string_view key) {
    unsigned long long parsed = 0;
    const auto [end, error] = std::from_chars(value.data(), value.data() + value.size(), parsed);
    if (error != std::errc() || end != value.data() + value.size() || value.empty() ||
        parsed > std::numeric_limits<Number>::max())
        report.fail(line, "setting '" + std::string(key) + "' needs an unsigned number in range, got '" +
                              std::string(value) + "'");
    return static_cast<Number>(parsed);
}

void applySettings(std::string_view list, GoldenCase& result, const Reporter& report, std::size_t line) {
    std::istringstream words{std::string(list)};
    std::string word;
    while (words >> word) {
        const auto equals = word.find('=');
        if (equals == std::string::npos || equals == 0)
            report.fail(line, "setting '" + word + "' is not written as key=value");
        const std::string key = word.substr(0, equals);
        const std::string value = word.substr(equals + 1);
        if (key == "tab") {
            result.tabSize = parseNumber<std::uint16_t>(value, report, line, key);
        } else if (key == "indent") {
            result.indentSize = parseNumber<std::uint16_t>(value, report, line, key);
        } else if (key == "start") {
            result.startLine = parseNumber<std::uint32_t>(value, report, line, key);
        } else if (key == "end") {
            result.endLine = parseNumber<std::uint32_t>(value, report, line, key);
        } else if (key == "spaces") {
            if (value != "true" && value != "false")
                report.fail(line, "setting 'spaces' must be true or false, got '" + value + "'");
            result.insertSpaces = value == "true";
        } else if (key == "function") {
            result.functionIndentingFormat = fl::i18n::to_ustring(value);
        } else if (key == "blank") {
            result.blankLineSetting = fl::i18n::to_ustring(value);
        } else {
            report.fail(line, "unknown setting '" + key +
                                  "' (known: tab, indent, spaces, function, blank, start, end)");
        }
    }
}

GoldenLineEnds parseLineEnds(std::string_view value, const Reporter& report, std::size_t line) {
    if (value == "lf") return GoldenLineEnds::lf;
    if (value == "crlf") return GoldenLineEnds::crlf;
    if (value == "crlf-input") return GoldenLineEnds::crlfInput;
    report.fail(line, "line-ends must be lf, crlf or crlf-input, got '" + std::string(value) + "'");
}

// Joins the lines of a section. A last line "<NL>" stands for a final line end; an empty last line
// is refused because it would be invisible in the case file.
std::string sectionText(const std::vector<Line>& lines, const Reporter& report) {
    std::string text;
    for (std::size_t i = 0; i < lines.size(); ++i) {
        const bool last = i + 1 == lines.size();
        if (lines[i].text == kFinalLineEnd) {
            if (!last) report.fail(lines[i].number, "<NL> may only stand as the last line of a section");
            text += '\n';
            return text;
        }
        if (last && lines[i].text.empty())
            report.fail(lines[i].number,
                        "a section must not end with an empty line; write <NL> for a final line end");
        if (i > 0) text += '\n';
        text += lines[i].text;
    }
    return text;
}

fl::ustring withCrLf(const fl::ustring& text) {
    fl::ustring out;
    out.reserve(text.size() + text.size() / 8);
    for (const char16_t c : text) {
        if (c == u'\n') out += u'\r';
        out += c;
    }
    return out;
}

}  // namespace

GoldenCase parseGoldenCase(std::string_view text, const std::string& origin) {
    const Reporter report(origin);
    const std::vector<Line> lines = splitLines(text);
    for (const Line& line : lines) {
        if (line.text.find('\r') != std::string_view::npos)
            report.fail(line.number,
                        "carriage return in a case file; write the text with LF and use "
                        "'# line-ends: crlf'");
        if (!isValidUtf8(line.text)) report.fail(line.number, "text is not valid UTF-8");
    }

    GoldenCase result;
    std::optional<GoldenLineEnds> lineEnds;
    bool settingsSeen = false;
    std::vector<std::string> descriptionLines;

    static constexpr std::string_view kMarkers[] = {"=== file", "=== reply", "=== expected", "=== end"};
    std::vector<Line> sections[3];
    std::size_t markerLines[4] = {0, 0, 0, 0};
    int current = -1;  // -1: header; 0..2: a section; 3: after "=== end"

    for (const Line& line : lines) {
        const auto marker = std::find(std::begin(kMarkers), std::end(kMarkers), line.text);
        if (marker != std::end(kMarkers)) {
            const int index = static_cast<int>(marker - std::begin(kMarkers));
            if (index != current + 1) {
                const std::string expected =
                    current + 1 < 4 ? std::string(kMarkers[current + 1]) : std::string("nothing");
                report.fail(line.number,
                            "found '" + std::string(line.text) + "' where '" + expected + "' was expected");
            }
            markerLines[index] = line.number;
            current = index;
            continue;
        }
        if (current == -1) {
            if (line.text.empty()) continue;
            if (line.text.front() != '#')
                report.fail(line.number, "text before '=== file' must be comment lines starting with #");
            if (line.text.starts_with(kSettingsKey)) {
                if (settingsSeen) report.fail(line.number, "a second settings line");
                settingsSeen = true;
                applySettings(line.text.substr(kSettingsKey.size()), result, report, line.number);
            } else if (line.text.starts_with(kLineEndsKey)) {
                if (lineEnds) report.fail(line.number, "a second line-ends line");
                lineEnds =
                    parseLineEnds(trimBlanks(line.text.substr(kLineEndsKey.size())), report, line.number);
            } else {
                descriptionLines.emplace_back(trimBlanks(line.text.substr(1)));
            }
        } else if (current < 3) {
            sections[current].push_back(line);
        } else if (!line.text.empty()) {
            report.fail(line.number, "text after '=== end'");
        }
    }
    if (current < 3) {
        const std::size_t last = lines.empty() ? 1 : lines.back().number;
        report.fail(last, "missing '" + std::string(kMarkers[current + 1]) + "'");
    }
    if (descriptionLines.empty())
        report.fail(1, "the case needs a description: comment lines before '=== file'");

    for (const auto& line : descriptionLines) {
        if (!result.description.empty()) result.description += '\n';
        result.description += line;
    }
    result.lineEnds = lineEnds.value_or(GoldenLineEnds::lf);

    const std::string fileText = sectionText(sections[0], report);
    const std::size_t firstCursor = fileText.find(kCursorMarker);
    if (firstCursor == std::string::npos)
        report.fail(markerLines[0], "the file section has no cursor marker <|>");
    if (fileText.find(kCursorMarker, firstCursor + 1) != std::string::npos) {
        std::size_t seen = 0;
        for (const Line& line : sections[0]) {
            for (auto at = line.text.find(kCursorMarker); at != std::string_view::npos;
                 at = line.text.find(kCursorMarker, at + 1))
                if (++seen == 2) report.fail(line.number, "a second cursor marker <|>");
        }
    }

    fl::ustring file = fl::i18n::to_ustring(fileText);
    result.reply = fl::i18n::to_ustring(sectionText(sections[1], report));
    result.expected = fl::i18n::to_ustring(sectionText(sections[2], report));
    if (result.lineEnds != GoldenLineEnds::lf) {
        file = withCrLf(file);
        result.reply = withCrLf(result.reply);
        if (result.lineEnds == GoldenLineEnds::crlf) result.expected = withCrLf(result.expected);
    }
    const fl::ustring marker = fl::i18n::to_ustring(kCursorMarker);
    result.cursor = file.find(marker);
    file.erase(result.cursor, marker.size());
    result.file = std::move(file);
    return result;
}

GoldenCase loadGoldenCase(const std::filesystem::path& file) {
    std::ifstream in(file, std::ios::binary);
    if (!in) throw GoldenCaseError(file.string() + ":1: cannot be opened");
    std::ostringstream content;
    content << in.rdbuf();
    GoldenCase result = parseGoldenCase(content.str(), file.string());
    result.name = file.stem().string();
    return result;
}

std::vector<GoldenCase> loadGoldenCases(const std::filesystem::path& folder) {
    std::error_code error;
    if (!std::filesystem::is_directory(folder, error))
        throw GoldenCaseError(folder.string() + ": not a folder of golden cases");
    std::vector<std::filesystem::path> files;
    for (const auto& entry : std::filesystem::directory_iterator(folder))
        if (entry.is_regular_file() && entry.path().extension() == ".case") files.push_back(entry.path());
    std::sort(files.begin(), files.end());
    std::vector<GoldenCase> cases;
    cases.reserve(files.size());
    for (const auto& file : files)
        cases.push_back(loadGoldenCase(file));
    return cases;
}

}  // namespace testing_support
