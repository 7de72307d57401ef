#include "qvai/reply_normalisation.hpp"

#include <algorithm>
#include <cctype>
#include <iterator>
#include <string_view>
#include <utility>

#include "foundation/log/diagnostic_logger.hpp"

namespace qvai {
namespace {

constexpr std::string_view kFence = "```";
constexpr std::string_view kOstrelFence = "```ostrel";

// Tags of code blocks in other languages (and their usual short names): such a block stays as it is.
constexpr std::string_view kOtherLanguages[] = {
    "bash",   "c",          "c++",        "cc",      "clojure", "cmake",  "console",  "cpp",
    "cs",     "csharp",     "css",        "cxx",     "dart",    "diff",   "docker",   "dockerfile",
    "elixir", "erlang",     "f90",        "fortran", "fs",      "fsharp", "go",       "golang",
    "groovy", "h",          "haskell",    "hpp",     "html",    "ini",    "java",     "javascript",
    "js",     "json",       "jsx",        "kotlin",  "latex",   "lua",    "makefile", "perl",
    "php",    "powershell", "ps1",        "py",      "python",  "r",      "rb",       "ruby",
    "rust",   "rs",         "scala",      "sh",      "shell",   "sql",    "swift",    "tex",
    "ts",     "tsx",        "typescript", "toml",    "xml",     "yaml",   "yml",      "zsh"};

std::string lowerCase(std::string_view text) {
    std::string out(text);
    std::transform(out.begin(), out.end(), out.begin(), [](unsigned char c) { return std::tolower(c); });
    return out;
}

bool namesOtherLanguage(std::string_view tag) {
    const std::string lower = lowerCase(tag);
    return std::find(std::begin(kOtherLanguages), std::end(kOtherLanguages), lower) !=
           std::end(kOtherLanguages);
}

bool isTagChar(char c) {
    return c != ' ' && c != '\t' && c != '\r' && c != '\n' && c != '{' && c != ',';
}

// Tags the first fence "```ostrel" when the reply has no ostrel block and that fence's tag names no
// other language.
void tagFirstFence(std::string& reply, std::vector<std::string>* notes) {
    if (reply.find(kOstrelFence) != std::string::npos) return;
    const std::size_t open = reply.find(kFence);
    if (open == std::string::npos) return;
    const std::size_t infoStart = open + kFence.size();
    std::size_t lineEnd = reply.find('\n', infoStart);
    if (lineEnd == std::string::npos) lineEnd = reply.size();
    std::size_t tagStart = infoStart;
    while (tagStart < lineEnd && (reply[tagStart] == ' ' || reply[tagStart] == '\t'))
        ++tagStart;
    std::size_t tagEnd = tagStart;
    while (tagEnd < lineEnd && isTagChar(reply[tagEnd]) && reply[tagEnd] != '`')
        ++tagEnd;
    const std::string tag = reply.substr(tagStart, tagEnd - tagStart);
    if (namesOtherLanguage(tag)) return;
    std::size_t infoEnd = lineEnd;
    if (infoEnd > infoStart && reply[infoEnd - 1] == '\r') --infoEnd;
    // A fence line that holds code after the tag ("```x = 1;") keeps it on a line of its own.
    const std::string rest =
        tagEnd < infoEnd && tag.empty() ? reply.substr(tagStart, infoEnd - tagStart) : "";
    reply.replace(infoStart, infoEnd - infoStart, rest.empty() ? "ostrel" : "ostrel\n" + rest);
    if (notes)
        notes->push_back(tag.empty() ? "tagged the reply's untagged code block ostrel"
                                     : "read the reply's code block tagged \"" + tag + "\" as ostrel");
}

// Reasoning models write their thoughts, drafts in fences included, before the answer, between <think>
// and </think>. Chat templates that open the block themselves leave only the closing tag in the reply;
// it is then taken only on a line of its own, so that code quoting it stays. A reply cut inside its
// thoughts has no answer yet.
void dropReasoning(std::string& reply, std::vector<std::string>* notes) {
    constexpr std::string_view kOpen = "<think>", kClose = "</think>";
    const std::size_t start = reply.find_first_not_of(" \t\r\n");
    const bool opened = start != std::string::npos && reply.compare(start, kOpen.size(), kOpen) == 0;
    std::size_t close = reply.find(kClose);
    if (!opened) {
        while (close != std::string::npos) {
            const std::size_t lineStart = reply.find_last_of('\n', close);
            const std::size_t from = lineStart == std::string::npos ? 0 : lineStart + 1;
            if (reply.find_first_not_of(" \t", from) == close) break;
            close = reply.find(kClose, close + kClose.size());
        }
        if (close == std::string::npos) return;
    }
    if (close == std::string::npos) {
        reply.clear();
        if (notes)
            notes->push_back("the reply ends inside its reasoning (cut at the token limit?): no answer");
        return;
    }
    const std::size_t answer = reply.find_first_not_of("\r\n", close + kClose.size());
    reply.erase(0, answer == std::string::npos ? reply.size() : answer);
    if (notes) notes->push_back("dropped the reasoning before the answer");
}

// Closes an ostrel block that the reply ends inside.
void closeCutBlock(std::string& reply, std::vector<std::string>* notes) {
    const std::size_t open = reply.find(kOstrelFence);
    if (open == std::string::npos || reply.find(kFence, open + kOstrelFence.size()) != std::string::npos)
        return;
    if (!reply.empty() && reply.back() != '\n') reply += '\n';
    reply += kFence;
    if (notes)
        notes->push_back("closed the ostrel code block the reply ends inside (cut at the token limit?)");
}

// A run of three backticks that code in the ostrel block writes inside a line (`if startsWith(s, "```")`)
// is not the block's closing fence, which stands at the start of its line, but the library's extraction
// would end the block there: its backticks get a stand-in. A run that ends the line stays, a closing fence
// written after the code.
void keepInnerBackticks(std::string& reply, std::vector<std::string>* notes) {
    const std::size_t open = reply.find(kOstrelFence);
    if (open == std::string::npos) return;
    std::vector<std::pair<std::size_t, std::size_t>> runs;  // offset, length
    for (std::size_t lineStart = reply.find('\n', open); lineStart != std::string::npos;
         lineStart = reply.find('\n', lineStart)) {
        ++lineStart;
        const std::size_t lineEnd = std::min(reply.size(), reply.find('\n', lineStart));
        const std::size_t code = reply.find_first_not_of(" \t", lineStart);
        if (code != std::string::npos && reply.compare(code, kFence.size(), kFence) == 0) break;
        for (std::size_t at = reply.find(kFence, lineStart); at < lineEnd; at = reply.find(kFence, at)) {
            const std::size_t runEnd = std::min(lineEnd, reply.find_first_not_of('`', at));
            if (reply.find_first_not_of(" \t\r", runEnd) >= lineEnd) break;
            runs.emplace_back(at, runEnd - at);
            at = runEnd;
        }
    }
    // The reply is UTF-8 here; the stand-in lies in U+0800..U+FFFF, three bytes.
    static_assert(kInnerBacktick >= 0x800 && (kInnerBacktick < 0xD800 || kInnerBacktick > 0xDFFF));
    constexpr char kStandIn[] = {static_cast<char>(0xE0 | (kInnerBacktick >> 12)),
                                 static_cast<char>(0x80 | ((kInnerBacktick >> 6) & 0x3F)),
                                 static_cast<char>(0x80 | (kInnerBacktick & 0x3F))};
    for (auto run = runs.rbegin(); run != runs.rend(); ++run) {
        std::string standIns;
        for (std::size_t i = 0; i < run->second; ++i)
            standIns.append(kStandIn, sizeof kStandIn);
        reply.replace(run->first, run->second, standIns);
    }
    if (!runs.empty() && notes)
        notes->push_back("kept backticks written inside a line of the ostrel code block");
}

}  // namespace

void restoreInnerBackticks(std::u16string& text) {
    std::replace(text.begin(), text.end(), kInnerBacktick, u'`');
}

std::string normaliseReply(std::string reply, std::vector<std::string>* notes) {
    std::vector<std::string> changes;
    dropReasoning(reply, &changes);
    tagFirstFence(reply, &changes);
    keepInnerBackticks(reply, &changes);
    closeCutBlock(reply, &changes);
    const foundation::log::diagnostic_logger logger("qvai::ReplyNormalisation");
    if (logger.is_enabled(foundation::log::kSeverityValue))
        for (const std::string& change : changes)
            logger.record(foundation::log::kSeverityValue) << change;
    if (notes) notes->insert(notes->end(), changes.begin(), changes.end());
    return reply;
}

}  // namespace qvai
