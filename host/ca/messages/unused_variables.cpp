#include "ca/messages/unused_variables.hpp"

#include <string>
#include <string_view>

#include "ca/lexer/name_set.hpp"
#include "fl/i18n.hpp"

namespace ca::messages {

namespace {

using detail::AnalysisData;
using detail::Role;
using lexer::TokenKind;

// Functions that reach variables by their names in text.
bool readsByName(std::u16string_view name) {
    for (std::u16string_view f : {u"eval", u"evalin", u"evalc", u"assignin", u"save", u"exist", u"who",
                                  u"whos", u"inputname", u"clear"}) {
        if (name == f) return true;
    }
    return false;
}

std::u16string_view textOf(const AnalysisData& d, std::uint32_t token) {
    return std::u16string_view(d.text).substr(d.tokens[token].offset, d.tokens[token].length);
}

// `cleanup = onCleanup(...)`: the value does its work when it goes away.
bool keptForItsEnd(const AnalysisData& d, std::uint32_t target) {
    std::uint32_t k = target + 1;
    while (k < d.tokens.size() && d.tokens[k].op != lexer::Op::Assign &&
           d.tokens[k].kind != TokenKind::LineEnd)
        ++k;
    do {
        ++k;
    } while (k < d.tokens.size() && d.tokens[k].kind == TokenKind::Blank);
    return k < d.tokens.size() && textOf(d, k) == u"onCleanup";
}

}  // namespace

std::vector<detail::Diagnostic> unusedVariables(const AnalysisData& d) {
    std::vector<detail::Diagnostic> out;
    if (d.parseErrors || d.assignments.empty()) return out;
    const std::size_t scopes = d.scopeVariables.size();
    // A name read in a nested function is read in the functions around it.
    std::vector<lexer::NameSet> read(scopes);
    std::vector<bool> byName(scopes, false);
    for (std::uint32_t k = 0; k < d.tokens.size(); ++k) {
        const TokenKind kind = d.tokens[k].kind;
        const bool use =
            kind == TokenKind::Identifier && (d.roles[k] == Role::Use || d.roles[k] == Role::DottedHead);
        if (!use && kind != TokenKind::CommandWord) continue;
        const std::u16string_view name = textOf(d, k);
        for (std::int32_t s = static_cast<std::int32_t>(d.scopes[k]); s >= 0; s = d.scopeParent[s]) {
            read[s].insert(name);
            byName[s] = byName[s] || (use && readsByName(name));
        }
    }
    // Shared variables belong to the outermost function that has them.
    auto owner = [&](const detail::Assignment& a, std::u16string_view name) {
        std::uint32_t found = a.scope;
        for (std::int32_t s = d.scopeParent[a.scope]; s >= 0; s = d.scopeParent[s]) {
            if (d.scopeVariables[s].contains(name)) found = static_cast<std::uint32_t>(s);
        }
        return found;
    };
    std::vector<lexer::NameSet> exempt(scopes), reported(scopes);
    for (const detail::Assignment& a : d.assignments) {
        if (a.kind != detail::AssignmentKind::Value) exempt[a.scope].insert(textOf(d, a.token));
    }
    for (const detail::Assignment& a : d.assignments) {
        const std::u16string_view name = textOf(d, a.token);
        if (a.kind != detail::AssignmentKind::Value || keptForItsEnd(d, a.token)) continue;
        const std::uint32_t s = owner(a, name);
        if (!d.scopeComplete[s] || byName[s] || read[s].contains(name) || exempt[s].contains(name) ||
            exempt[a.scope].contains(name) || !reported[s].insert(name)) {
            continue;
        }
        const lexer::ScanToken& t = d.tokens[a.token];
        out.push_back(detail::Diagnostic{t.offset, t.line, t.offset - d.lineStarts[t.line - 1] + 1,
                                         detail::Severity::Warning, "UnusedVariable",
                                         "The value assigned to '" + fl::i18n::to_string(name) +
                                             "' at line " + std::to_string(t.line) + " is never used."});
    }
    return out;
}

}  // namespace ca::messages
