#include "qvai/name_fit.hpp"

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

bool isKnown(const fl::ustring& name, const std::set<fl::ustring>& known) {
    return known.count(name) != 0 ||
           Quorvanta::functionRegistry::lookup(name) != Quorvanta::FunctionOrigin::Unknown;
}

}  // namespace

NameFit nameFit(const fl::ustring& code, const std::set<fl::ustring>& known) {
    static const std::set<fl::ustring> contextualWords{u"arguments", u"properties", u"methods", u"events",
                                                       u"enumeration"};
    std::set<fl::ustring> names, unknown;
    const Token* previous = nullptr;
    for (const auto& token : ca::lexer::lex(code)) {
        if (!isCode(token)) continue;
        const bool field = previous && previous->text == u".";
        previous = &token;
        if (token.kind != TokenKind::Identifier || field || contextualWords.count(token.text) != 0) continue;
        names.insert(token.text);
        if (!isKnown(token.text, known)) unknown.insert(token.text);
    }
    return {names.size(), unknown.size()};
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
