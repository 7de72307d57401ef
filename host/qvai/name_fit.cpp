#include "qvai/name_fit.hpp"

#include <algorithm>
#include <vector>

#include "ca/lexer/token.hpp"
#include "quorvanta/function_registry.hpp"

namespace qvai {

namespace {

using ca::lexer::Token;
using ca::lexer::TokenKind;

bool isCode(const Token& token) {
    return token.kind != TokenKind::Blank && token.kind != TokenKind::Comment &&
           token.kind != TokenKind::BlockComment && token.kind != TokenKind::Continuation;
}

bool endsStatement(const Token& token) {
    return token.kind == TokenKind::LineEnd || token.text == u";" || token.text == u",";
}

bool isAssignment(const Token& token) {
    return token.kind == TokenKind::Operator && token.text == u"=";
}

// The names a statement defines before anything reads them: `x = ...`, `[a, b] = ...`, `for k = ...`,
// `catch e`, a function line, and an anonymous function's parameters are handled where they stand.
std::vector<std::size_t> definedAtStatementStart(const std::vector<Token>& tokens, std::size_t start) {
    std::vector<std::size_t> defined;
    if (start >= tokens.size()) return defined;
    const Token& first = tokens[start];
    // `x = ...`, and `x(k) = ...`, `x.f = ...`, `x{k}.f(2) = ...`, which make x when it is not there.
    if (first.kind == TokenKind::Identifier) {
        int depth = 0;
        for (std::size_t i = start + 1; i < tokens.size() && !(depth == 0 && endsStatement(tokens[i])); ++i) {
            const auto& text = tokens[i].text;
            if (text == u"(" || text == u"{" || text == u"[") ++depth;
            if ((text == u")" || text == u"}" || text == u"]") && depth > 0) --depth;
            if (depth == 0 && isAssignment(tokens[i])) {
                defined.push_back(start);
                break;
            }
            const bool selector =
                text == u"." || text == u"(" || text == u"{" || text == u")" || text == u"}";
            if (depth == 0 && !selector && !(i > start + 1 && tokens[i - 1].text == u".")) break;
        }
    }
    if (first.kind == TokenKind::Keyword &&
        (first.text == u"for" || first.text == u"parfor" || first.text == u"catch" ||
         first.text == u"global" || first.text == u"persistent")) {
        for (std::size_t i = start + 1; i < tokens.size() && !endsStatement(tokens[i]); ++i) {
            if (tokens[i].kind == TokenKind::Identifier || tokens[i].kind == TokenKind::CommandWord)
                defined.push_back(i);
            if (first.text != u"global" && first.text != u"persistent") break;
        }
    }
    if (first.text == u"[") {
        std::size_t i = start + 1;
        std::vector<std::size_t> targets;
        for (; i < tokens.size() && tokens[i].text != u"]" && tokens[i].kind != TokenKind::LineEnd; ++i)
            if (tokens[i].kind == TokenKind::Identifier) targets.push_back(i);
        if (i + 1 < tokens.size() && tokens[i].text == u"]" && isAssignment(tokens[i + 1]))
            defined.insert(defined.end(), targets.begin(), targets.end());
    }
    return defined;
}

bool isKnown(const fl::ustring& name, const std::set<fl::ustring>& known) {
    return known.count(name) != 0 ||
           Quorvanta::functionRegistry::lookup(name) != Quorvanta::FunctionOrigin::Unknown;
}

}  // namespace

NameFit nameFit(const fl::ustring& code, const std::set<fl::ustring>& known) {
    static const std::set<fl::ustring> contextualWords{u"arguments", u"properties", u"methods", u"events",
                                                       u"enumeration"};
    std::vector<Token> tokens;
    for (auto& token : ca::lexer::lex(code))
        if (isCode(token)) tokens.push_back(std::move(token));

    std::set<fl::ustring> own;  // defined by the code itself
    std::set<fl::ustring> used, unknown;
    std::vector<std::size_t> defining;  // of the current statement: known once it ends, not before
    bool statementStart = true;
    bool functionLine = false;
    bool anonymousParameters = false;  // inside the parentheses of @( ... )
    int depth = 0;                     // brackets: a comma inside them separates arguments, not statements
    for (std::size_t i = 0; i < tokens.size(); ++i) {
        const Token& token = tokens[i];
        if (token.text == u"(" || token.text == u"[" || token.text == u"{") ++depth;
        if ((token.text == u")" || token.text == u"]" || token.text == u"}") && depth > 0) --depth;
        if (token.kind == TokenKind::LineEnd) depth = 0;
        if (statementStart) {
            functionLine = token.kind == TokenKind::Keyword && token.text == u"function";
            defining = definedAtStatementStart(tokens, i);
        }
        statementStart = endsStatement(token) && depth == 0;
        if (statementStart) {
            for (const std::size_t at : defining)
                own.insert(tokens[at].text);
            defining.clear();
        }
        if (token.kind == TokenKind::LineEnd) functionLine = false;
        if (token.text == u"(" && i > 0 && tokens[i - 1].text == u"@") anonymousParameters = true;
        if (token.text == u")") anonymousParameters = false;
        if (token.kind != TokenKind::Identifier || contextualWords.count(token.text) != 0) continue;
        if (functionLine || anonymousParameters) {
            own.insert(token.text);
            continue;
        }
        if (std::find(defining.begin(), defining.end(), i) != defining.end()) continue;
        if (i > 0 && tokens[i - 1].text == u".") continue;  // a field
        if (own.count(token.text) != 0) continue;
        used.insert(token.text);
        if (!isKnown(token.text, known)) unknown.insert(token.text);
    }
    return {used.size(), unknown.size()};
}

void collectNames(const fl::ustring& text, std::set<fl::ustring>& names) {
    for (const auto& token : ca::lexer::lex(text))
        if (token.kind == TokenKind::Identifier) names.insert(token.text);
}

void collectListedNames(const fl::ustring& list, std::set<fl::ustring>& names) {
    std::size_t start = 0;
    while (start <= list.size()) {
        std::size_t end = list.find(u',', start);
        if (end == fl::ustring::npos) end = list.size();
        std::size_t first = start, last = end;
        while (first < last && (list[first] == u' ' || list[first] == u'"'))
            ++first;
        while (last > first && (list[last - 1] == u' ' || list[last - 1] == u'"'))
            --last;
        if (last > first) names.insert(list.substr(first, last - first));
        start = end + 1;
    }
}

}  // namespace qvai
