#include "qvai/corpus_index.hpp"

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <set>
#include <stdexcept>

#include "ca/lexer/token.hpp"
#include "fl/i18n.hpp"

namespace qvai {

namespace {

using ca::lexer::Token;
using ca::lexer::TokenKind;

constexpr std::uint32_t kSeparator = 0;
constexpr std::size_t kMaxMatch = 128;      // tokens compared backwards from the cursor
constexpr std::size_t kMaxCandidates = 64;  // places tried before giving up on the skip rule
constexpr std::size_t kMaxLines = 40;       // lines copied at most
constexpr std::size_t kSkipCompareTokens = 24;
constexpr std::size_t kMinRepeatTokens = 6;  // shorter code may well stand below the cursor by chance
constexpr std::uintmax_t kMaxFileBytes = 1024 * 1024;
constexpr std::size_t kNearLines = 8;  // lines below the cursor whose code is not offered again
constexpr int kMaxWorkspaceDepth = 4;
constexpr std::size_t kMaxWorkspaceFiles = 2000;
constexpr std::uintmax_t kMaxWorkspaceBytes = 16 * 1024 * 1024;
constexpr std::size_t kMaxWorkspaceEntries = 50000;  // folder entries looked at, .ost or not

bool isNoise(TokenKind kind) {
    return kind == TokenKind::Blank || kind == TokenKind::Comment || kind == TokenKind::BlockComment ||
           kind == TokenKind::Continuation;
}

// Code tokens only: blanks and comments go, a continuation swallows its line end, and a run of line
// ends (blank lines) counts as one.
std::vector<Token> codeTokens(const fl::ustring& text) {
    std::vector<Token> out;
    bool afterContinuation = false;
    for (auto& token : ca::lexer::lex(text)) {
        if (token.kind == TokenKind::Continuation) afterContinuation = true;
        if (isNoise(token.kind)) continue;
        if (token.kind == TokenKind::LineEnd) {
            if (afterContinuation || out.empty() || out.back().kind == TokenKind::LineEnd) {
                afterContinuation = false;
                continue;
            }
        }
        afterContinuation = false;
        out.push_back(std::move(token));
    }
    return out;
}

// Line ends compare equal whatever their form (LF or CR LF).
fl::ustring keyOf(const Token& token) {
    return token.kind == TokenKind::LineEnd ? u"\n" : token.text;
}

bool isWordLike(TokenKind kind) {
    return kind == TokenKind::Identifier || kind == TokenKind::Keyword || kind == TokenKind::Number ||
           kind == TokenKind::CommandWord;
}

bool opensBlock(const fl::ustring& word) {
    static const std::set<fl::ustring> openers{
        u"if",   u"for",      u"parfor",     u"while",   u"switch", u"try",         u"function",
        u"spmd", u"classdef", u"properties", u"methods", u"events", u"enumeration", u"arguments"};
    return openers.count(word) != 0;
}

bool continuesEnclosingBlock(const fl::ustring& word) {
    return word == u"end" || word == u"else" || word == u"elseif" || word == u"case" ||
           word == u"otherwise" || word == u"catch";
}

bool isBlankLine(std::u16string_view line) {
    return std::all_of(line.begin(), line.end(),
                       [](char16_t c) { return c == u' ' || c == u'\t' || c == u'\r'; });
}

// From `start` in `text`: the rest of that line, then whole lines until the block begun in them is
// closed, a blank line, a line that belongs to an enclosing block, or the line limit.
fl::ustring continuationFrom(const fl::ustring& text, std::size_t start) {
    // At a line start, blank lines in the corpus before the next code are not part of the offer.
    while (start < text.size() && (start == 0 || text[start - 1] == u'\n')) {
        const std::size_t next = text.find(u'\n', start);
        if (next == fl::ustring::npos || !isBlankLine(std::u16string_view(text).substr(start, next - start)))
            break;
        start = next + 1;
    }
    std::size_t lineEnd = text.find(u'\n', start);
    if (lineEnd == fl::ustring::npos) lineEnd = text.size();
    int depth = 0;
    bool opened = false;
    std::size_t end = lineEnd;
    // The first line is lexed whole, so that a keyword the cursor is inside still opens its block.
    std::size_t lineStart = start == 0 ? 0 : text.rfind(u'\n', start - 1) + 1;
    for (std::size_t line = 0; line < kMaxLines && lineStart <= text.size(); ++line) {
        if (line > 0) {
            lineEnd = text.find(u'\n', lineStart);
            if (lineEnd == fl::ustring::npos) lineEnd = text.size();
        }
        const std::u16string_view lineText(text.data() + lineStart, lineEnd - lineStart);
        if (line > 0 && isBlankLine(lineText)) break;
        const auto tokens = ca::lexer::lex(fl::ustring(lineText));
        int brackets = 0;
        bool first = true;
        bool stopBefore = false;
        const std::size_t skipBefore = line == 0 ? start - lineStart : 0;
        for (const auto& token : tokens) {
            if (isNoise(token.kind) || token.kind == TokenKind::LineEnd) continue;
            if (token.offset + token.text.size() <= skipBefore) continue;  // typed already
            if (token.kind == TokenKind::Punctuation) {
                if (token.text == u"(" || token.text == u"[" || token.text == u"{") ++brackets;
                if ((token.text == u")" || token.text == u"]" || token.text == u"}") && brackets > 0)
                    --brackets;
            }
            if (token.kind == TokenKind::Keyword || (token.kind == TokenKind::Identifier && first)) {
                // A closing word where the copy starts on a line of its own closes a block the
                // cursor is not in: nothing to offer.
                const bool atLineStart = line > 0 || start == lineStart;
                if (first && atLineStart && depth == 0 && continuesEnclosingBlock(token.text)) {
                    stopBefore = true;
                    break;
                }
                if (first && line > 0 && depth == 0 && token.text == u"function" && opened) {
                    stopBefore = true;
                    break;
                }
                if (brackets == 0 && token.kind == TokenKind::Keyword && opensBlock(token.text)) {
                    ++depth;
                    opened = true;
                } else if (brackets == 0 && token.kind == TokenKind::Identifier && first &&
                           opensBlock(token.text) && depth > 0) {
                    ++depth;  // properties/methods/... blocks inside a class
                } else if (brackets == 0 && token.text == u"end" && token.kind == TokenKind::Keyword) {
                    if (depth == 0) {
                        stopBefore = line > 0;
                        break;
                    }
                    --depth;
                }
            }
            first = false;
        }
        if (stopBefore) {
            if (line == 0) end = start;
            break;
        }
        end = lineEnd;
        if (opened && depth <= 0) break;
        if (lineEnd >= text.size()) break;
        lineStart = lineEnd + 1;
    }
    fl::ustring out = text.substr(start, end - start);
    while (!out.empty() &&
           (out.back() == u' ' || out.back() == u'\t' || out.back() == u'\r' || out.back() == u'\n'))
        out.pop_back();
    return out;
}

std::vector<fl::ustring> keysOf(const std::vector<Token>& tokens) {
    std::vector<fl::ustring> keys;
    keys.reserve(tokens.size());
    for (const auto& token : tokens)
        keys.push_back(keyOf(token));
    return keys;
}

// True when the code of `continuation` is already there after the cursor, token for token: right at
// the cursor, or (when it is long enough to tell) at the start of one of the next few lines, since
// offering lines the user has just below is no help either. Code further down may be offered: a file
// often repeats its own patterns.
bool suffixAlreadyHas(const fl::ustring& continuation, const std::vector<fl::ustring>& present) {
    const auto wanted = keysOf(codeTokens(continuation));
    if (wanted.empty()) return true;  // nothing to add
    const std::size_t count = std::min(wanted.size(), kSkipCompareTokens);
    const auto matchesAt = [&](std::size_t at) {
        return at + count <= present.size() &&
               std::equal(wanted.begin(), wanted.begin() + count, present.begin() + at);
    };
    if (matchesAt(0)) return true;
    if (count < kMinRepeatTokens) return false;
    std::size_t lines = 0;
    for (std::size_t at = 1; at < present.size() && lines < kNearLines; ++at) {
        if (present[at - 1] != u"\n") continue;
        ++lines;
        if (matchesAt(at)) return true;
    }
    return false;
}

std::vector<CorpusIndex::File> readFiles(std::vector<std::filesystem::path> paths);

}  // namespace

CorpusIndex::CorpusIndex(std::vector<File> files) : files_(std::move(files)) {
    texts_.push_back(u"");  // kSeparator
    positions_.emplace_back();
    for (std::uint32_t f = 0; f < files_.size(); ++f) {
        for (const auto& token : codeTokens(files_[f].text)) {
            const auto id = intern(keyOf(token));
            positions_[id].push_back(static_cast<std::uint32_t>(tokens_.size()));
            tokens_.push_back({id, f, static_cast<std::uint32_t>(token.offset),
                               static_cast<std::uint32_t>(token.offset + token.text.size())});
        }
        tokens_.push_back({kSeparator, f, 0, 0});
    }
}

std::uint32_t CorpusIndex::intern(const fl::ustring& text) {
    auto [it, inserted] = ids_.emplace(text, static_cast<std::uint32_t>(texts_.size()));
    if (inserted) {
        texts_.push_back(text);
        positions_.emplace_back();
    }
    return it->second;
}

std::optional<std::uint32_t> CorpusIndex::lookUp(const fl::ustring& text) const {
    const auto found = ids_.find(text);
    if (found == ids_.end()) return std::nullopt;
    return found->second;
}

std::vector<CorpusIndex::Candidate> CorpusIndex::candidates(const fl::ustring& prefix) const {
    const auto query = codeTokens(prefix);
    if (query.empty()) return {};
    const Token& last = query.back();
    // A word running up to the cursor may be unfinished: corpus words it begins also match it.
    const bool partial = isWordLike(last.kind) && last.offset + last.text.size() == prefix.size();

    std::vector<std::pair<std::uint32_t, std::uint32_t>> ends;  // (token id, code units of it typed)
    if (partial) {
        for (std::uint32_t id = 1; id < texts_.size(); ++id)
            if (texts_[id].starts_with(last.text))
                ends.emplace_back(id, static_cast<std::uint32_t>(last.text.size()));
    } else if (auto id = lookUp(keyOf(last))) {
        ends.emplace_back(*id, 0);
    }

    std::vector<std::optional<std::uint32_t>> queryIds;  // the rest of the query, last token first
    for (std::size_t i = 1; i < query.size() && i < kMaxMatch; ++i)
        queryIds.push_back(lookUp(keyOf(query[query.size() - 1 - i])));

    std::vector<Candidate> found;
    for (const auto& [id, typed] : ends) {
        for (const std::uint32_t position : positions_[id]) {
            std::size_t length = 1;
            while (length - 1 < queryIds.size() && position >= length) {
                const auto& wanted = queryIds[length - 1];
                const auto& have = tokens_[position - length];
                if (!wanted || have.id == kSeparator || have.id != *wanted) break;
                ++length;
            }
            // A lone matching token (an operator, say) is no evidence of a like place.
            if (length < 2 && !queryIds.empty()) continue;
            const auto& token = tokens_[position];
            found.push_back({position, length, typed ? token.begin + typed : token.end});
        }
    }
    std::sort(found.begin(), found.end(), [](const Candidate& a, const Candidate& b) {
        return a.length != b.length ? a.length > b.length : a.position < b.position;
    });
    return found;
}

std::optional<fl::ustring> CorpusIndex::complete(const fl::ustring& prefix, const fl::ustring& suffix) const {
    auto found = offers(prefix, suffix, 1);
    if (found.empty()) return std::nullopt;
    return std::move(found.front().code);
}

std::vector<CorpusIndex::Offer> CorpusIndex::offers(const fl::ustring& prefix, const fl::ustring& suffix,
                                                    std::size_t maxOffers) const {
    std::vector<Offer> out;
    const bool afterBlank = !prefix.empty() && (prefix.back() == u' ' || prefix.back() == u'\t');
    const auto all = candidates(prefix);
    // Only the first few tokens after the cursor are compared, so only the start of the suffix is lexed.
    const auto present = keysOf(codeTokens(suffix.substr(0, 2000)));
    for (std::size_t i = 0; i < all.size() && i < kMaxCandidates; ++i) {
        const auto& candidate = all[i];
        fl::ustring continuation =
            continuationFrom(files_[tokens_[candidate.position].file].text, candidate.start);
        if (afterBlank) {
            const auto first = continuation.find_first_not_of(u" \t");
            continuation.erase(0, first == fl::ustring::npos ? continuation.size() : first);
        }
        if (suffixAlreadyHas(continuation, present)) continue;
        if (std::any_of(out.begin(), out.end(), [&](const Offer& o) { return o.code == continuation; }))
            continue;
        out.push_back({std::move(continuation), candidate.length});
        if (out.size() >= maxOffers) break;
    }
    return out;
}

std::vector<CorpusIndex::File> readCorpusFiles(const std::vector<std::string>& folders) {
    namespace fs = std::filesystem;
    std::vector<fs::path> paths;
    for (const auto& folder : folders) {
        std::error_code error;
        if (!fs::is_directory(folder, error))
            throw std::invalid_argument("corpus folder " + folder + " does not exist or is not a folder");
        fs::recursive_directory_iterator it(folder, fs::directory_options::skip_permission_denied, error),
            end;
        for (; !error && it != end; it.increment(error)) {
            if (it->is_regular_file(error) && it->path().extension() == ".ost" &&
                it->file_size(error) <= kMaxFileBytes)
                paths.push_back(it->path());
        }
    }
    return readFiles(std::move(paths));
}

std::vector<CorpusIndex::File> readWorkspaceFiles(const std::vector<std::string>& folders) {
    namespace fs = std::filesystem;
    std::vector<fs::path> paths;
    std::uintmax_t bytes = 0;
    for (const auto& folder : folders) {
        std::error_code error;
        if (!fs::is_directory(folder, error)) continue;
        fs::recursive_directory_iterator it(folder, fs::directory_options::skip_permission_denied, error),
            end;
        for (std::size_t seen = 0;
             !error && it != end && paths.size() < kMaxWorkspaceFiles && seen < kMaxWorkspaceEntries;
             it.increment(error), ++seen) {
            std::error_code entryError;  // one odd entry must not end the walk
            const auto name = it->path().filename().string();
            if (it->is_directory(entryError)) {
                if (name.starts_with(".") || it.depth() >= kMaxWorkspaceDepth) it.disable_recursion_pending();
                continue;
            }
            if (!it->is_regular_file(entryError) || it->path().extension() != ".ost") continue;
            const auto size = it->file_size(entryError);
            if (entryError || size > kMaxFileBytes || bytes + size > kMaxWorkspaceBytes) continue;
            bytes += size;
            paths.push_back(it->path());
        }
    }
    return readFiles(std::move(paths));
}

namespace {

std::vector<CorpusIndex::File> readFiles(std::vector<std::filesystem::path> paths) {
    std::sort(paths.begin(), paths.end());
    paths.erase(std::unique(paths.begin(), paths.end()), paths.end());
    std::vector<CorpusIndex::File> files;
    for (const auto& path : paths) {
        std::ifstream in(path, std::ios::binary);
        std::string bytes((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
        if (in.bad()) continue;  // unreadable now: the rest of the corpus still serves
        files.push_back({path.string(), fl::i18n::to_ustring(bytes)});
    }
    return files;
}

}  // namespace

}  // namespace qvai
