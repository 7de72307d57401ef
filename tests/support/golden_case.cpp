#include "support/golden_case.hpp"

#include <algorithm>
#include <charconv>
#include <fstream>
#include <functional>
#include <limits>
#include <map>
#include <optional>
#include <sstream>
#include <stdexcept>
#include <string_view>
#include <utility>

#include "fl/i18n.hpp"

namespace testing_support {
namespace {

constexpr std::string_view kCursor = "<|>";
constexpr std::string_view kFinalLineEnd = "<NL>";
constexpr std::string_view kSettingsKey = "# settings:";
constexpr std::string_view kLineEndsKey = "# line-ends:";
constexpr std::string_view kMarkers[] = {"=== file", "=== reply", "=== expected", "=== end"};

struct Line {
    std::string_view text;
    std::size_t number;  // 1-based
};

// Throws the error of one line of the case named `origin`.
struct Failure {
    const std::string& origin;
    [[noreturn]] void operator()(std::size_t line, const std::string& message) const {
        throw std::runtime_error(origin + ":" + std::to_string(line) + ": " + message);
    }
};

std::string_view trimBlanks(std::string_view s) {
    const auto first = s.find_first_not_of(" \t");
    if (first == std::string_view::npos) return {};
    return s.substr(first, s.find_last_not_of(" \t") - first + 1);
}

void applySettings(std::string_view list, GoldenCase& result, const Failure& fail, std::size_t line) {
    std::istringstream words{std::string(list)};
    for (std::string word; words >> word;) {
        const auto equals = word.find('=');
        if (equals == std::string::npos || equals == 0)
            fail(line, "setting '" + word + "' is not written as key=value");
        const std::string key = word.substr(0, equals), value = word.substr(equals + 1);
        const auto number = [&](auto max) {
            unsigned long long parsed = 0;
            const auto [end, error] = std::from_chars(value.data(), value.data() + value.size(), parsed);
            if (value.empty() || error != std::errc() || end != value.data() + value.size() || parsed > max)
                fail(line, "setting '" + key + "' needs an unsigned number in range, got '" + value + "'");
            return static_cast<decltype(max)>(parsed);
        };
        const std::map<std::string, std::function<void()>> setters = {
            {"tab", [&] { result.tabSize = number(std::numeric_limits<std::uint16_t>::max()); }},
            {"indent", [&] { result.indentSize = number(std::numeric_limits<std::uint16_t>::max()); }},
            {"start", [&] { result.startLine = number(std::numeric_limits<std::uint32_t>::max()); }},
            {"end", [&] { result.endLine = number(std::numeric_limits<std::uint32_t>::max()); }},
            {"function", [&] { result.functionIndentingFormat = fl::i18n::to_ustring(value); }},
            {"blank", [&] { result.blankLineSetting = fl::i18n::to_ustring(value); }},
            {"spaces",
             [&] {
                 if (value != "true" && value != "false")
                     fail(line, "setting 'spaces' must be true or false, got '" + value + "'");
                 result.insertSpaces = value == "true";
             }},
        };
        const auto setter = setters.find(key);
        if (setter == setters.end())
            fail(line,
                 "unknown setting '" + key + "' (known: tab, indent, spaces, function, blank, start, end)");
        setter->second();
    }
}

GoldenLineEnds parseLineEnds(std::string_view value, const Failure& fail, std::size_t line) {
    static const std::map<std::string_view, GoldenLineEnds> kModes = {
        {"lf", GoldenLineEnds::lf},
        {"crlf", GoldenLineEnds::crlf},
        {"crlf-input", GoldenLineEnds::crlfInput}};
    const auto mode = kModes.find(value);
    if (mode == kModes.end())
        fail(line, "line-ends must be lf, crlf or crlf-input, got '" + std::string(value) + "'");
    return mode->second;
}

// Joins the lines of a section. A last line "<NL>" stands for a final line end; an empty last line
// is refused because it would be invisible in the case file.
std::string sectionText(const std::vector<Line>& lines, const Failure& fail) {
    std::string text;
    for (std::size_t i = 0; i < lines.size(); ++i) {
        const bool last = i + 1 == lines.size();
        if (lines[i].text == kFinalLineEnd) {
            if (!last) fail(lines[i].number, "<NL> may only stand as the last line of a section");
            return text + '\n';
        }
        if (last && lines[i].text.empty())
            fail(lines[i].number,
                 "a section must not end with an empty line; write <NL> for a final line end");
        if (i > 0) text += '\n';
        text += lines[i].text;
    }
    return text;
}

fl::ustring withCrLf(const fl::ustring& text) {
    fl::ustring out;
    for (const char16_t c : text) {
        if (c == u'\n') out += u'\r';
        out += c;
    }
    return out;
}

// Parses the UTF-8 text of one case; `origin` names it in error messages.
GoldenCase parseGoldenCase(std::string_view text, const std::string& origin) {
    const Failure fail{origin};
    GoldenCase result;
    std::optional<GoldenLineEnds> lineEnds;
    bool settingsSeen = false;
    std::vector<Line> sections[3];
    std::size_t markerLines[4] = {}, number = 0, cursors = 0;
    int current = -1;  // -1: header; 0..2: a section; 3: after "=== end"
    for (std::size_t start = 0; start < text.size();) {
        const std::size_t stop = std::min(text.find('\n', start), text.size());
        const Line line{text.substr(start, stop - start), ++number};
        start = stop + 1;
        if (line.text.find('\r') != std::string_view::npos)
            fail(line.number,
                 "carriage return in a case file; write the text with LF and use '# line-ends: crlf'");
        if (fl::i18n::to_string(fl::i18n::to_ustring(line.text)) != line.text)
            fail(line.number, "text is not valid UTF-8");

        const auto marker = std::find(std::begin(kMarkers), std::end(kMarkers), line.text);
        if (marker != std::end(kMarkers)) {
            const int index = static_cast<int>(marker - std::begin(kMarkers));
            if (index != current + 1) {
                const std::string expected = current + 1 < 4 ? std::string(kMarkers[current + 1]) : "nothing";
                fail(line.number,
                     "found '" + std::string(line.text) + "' where '" + expected + "' was expected");
            }
            markerLines[index] = line.number;
            current = index;
        } else if (current == 3) {
            if (!line.text.empty()) fail(line.number, "text after '=== end'");
        } else if (current >= 0) {
            sections[current].push_back(line);
            for (auto at = line.text.find(kCursor); current == 0 && at != std::string_view::npos;
                 at = line.text.find(kCursor, at + 1))
                if (++cursors == 2) fail(line.number, "a second cursor marker <|>");
        } else if (!line.text.empty() && line.text.front() != '#') {
            fail(line.number, "text before '=== file' must be comment lines starting with #");
        } else if (line.text.starts_with(kSettingsKey)) {
            if (std::exchange(settingsSeen, true)) fail(line.number, "a second settings line");
            applySettings(line.text.substr(kSettingsKey.size()), result, fail, line.number);
        } else if (line.text.starts_with(kLineEndsKey)) {
            if (lineEnds) fail(line.number, "a second line-ends line");
            lineEnds = parseLineEnds(trimBlanks(line.text.substr(kLineEndsKey.size())), fail, line.number);
        } else if (!line.text.empty()) {
            result.description += (result.description.empty() ? "" : "\n");
            result.description += trimBlanks(line.text.substr(1));
        }
    }
    if (current < 3)
        fail(std::max<std::size_t>(number, 1), "missing '" + std::string(kMarkers[current + 1]) + "'");
    if (result.description.empty()) fail(1, "the case needs a description: comment lines before '=== file'");
    if (cursors == 0) fail(markerLines[0], "the file section has no cursor marker <|>");

    result.lineEnds = lineEnds.value_or(GoldenLineEnds::lf);
    fl::ustring file = fl::i18n::to_ustring(sectionText(sections[0], fail));
    result.reply = fl::i18n::to_ustring(sectionText(sections[1], fail));
    result.expected = fl::i18n::to_ustring(sectionText(sections[2], fail));
    if (result.lineEnds != GoldenLineEnds::lf) {
        file = withCrLf(file);
        result.reply = withCrLf(result.reply);
        if (result.lineEnds == GoldenLineEnds::crlf) result.expected = withCrLf(result.expected);
    }
    const fl::ustring marker = fl::i18n::to_ustring(kCursor);
    result.cursor = file.find(marker);
    file.erase(result.cursor, marker.size());
    result.file = std::move(file);
    return result;
}

GoldenCase loadGoldenCase(const std::filesystem::path& file) {
    std::ifstream in(file, std::ios::binary);
    if (!in) throw std::runtime_error(file.string() + ":1: cannot be opened");
    std::ostringstream content;
    content << in.rdbuf();
    GoldenCase result = parseGoldenCase(content.str(), file.string());
    result.name = file.stem().string();
    return result;
}

}  // namespace

std::vector<GoldenCase> loadGoldenCases(const std::filesystem::path& folder) {
    std::error_code error;
    if (!std::filesystem::is_directory(folder, error))
        throw std::runtime_error(folder.string() + ": not a folder of golden cases");
    std::vector<std::filesystem::path> files;
    for (const auto& entry : std::filesystem::directory_iterator(folder))
        if (entry.is_regular_file() && entry.path().extension() == ".case") files.push_back(entry.path());
    std::sort(files.begin(), files.end());
    std::vector<GoldenCase> cases;
    for (const auto& file : files)
        cases.push_back(loadGoldenCase(file));
    return cases;
}

}  // namespace testing_support
