#include "ca/token/auto_completion_token_info.hpp"

#include <unordered_map>

#include "ca/analysis_data.hpp"
#include "quorvanta/function_registry.hpp"

namespace ca::token {

namespace {

using detail::AnalysisData;
using detail::Role;
using lexer::TokenKind;

const fl::ustring& kindText(TokenKind kind) {
    static const fl::ustring identifier = u"Identifier", keyword = u"Keyword", number = u"Number",
                             charArray = u"CharArray", string = u"String", op = u"Operator",
                             punctuation = u"Punctuation", comment = u"Comment", command = u"CommandWord";
    switch (kind) {
        case TokenKind::Keyword:
            return keyword;
        case TokenKind::Number:
            return number;
        case TokenKind::CharArray:
            return charArray;
        case TokenKind::String:
            return string;
        case TokenKind::Operator:
            return op;
        case TokenKind::Punctuation:
            return punctuation;
        case TokenKind::Comment:
        case TokenKind::BlockComment:
        case TokenKind::Continuation:
            return comment;
        case TokenKind::CommandWord:
            return command;
        default:
            return identifier;
    }
}

bool isVariable(const AnalysisData& d, std::uint32_t scope, std::u16string_view name) {
    for (std::int32_t s = static_cast<std::int32_t>(scope); s >= 0; s = d.scopeParent[s]) {
        if (d.scopeVariables[s].count(name) != 0) return true;
    }
    return false;
}

using OriginCache = std::unordered_map<std::u16string_view, Quorvanta::FunctionOrigin>;

// Names repeat within a text; the registry is asked once per name.
void setOrigin(AutoCompletionToken& record, std::u16string_view name, OriginCache& cache) {
    auto [it, inserted] = cache.try_emplace(name, Quorvanta::FunctionOrigin::Unknown);
    if (inserted) it->second = Quorvanta::functionRegistry::lookup(name);
    const auto origin = it->second;
    record.originFlagA = origin == Quorvanta::FunctionOrigin::BuiltIn;
    record.originFlagB = origin == Quorvanta::FunctionOrigin::Library;
}

std::uint32_t classifyUse(const AnalysisData& d, std::uint32_t scope, std::u16string_view name) {
    if (isVariable(d, scope, name)) return kVariable;
    auto function = d.functions.find(name);
    if (function != d.functions.end()) return function->second.nested ? kNestedFunction : kLocalFunction;
    return kOutsideFunction;
}

}  // namespace

AutoCompletionTokenInfo getAutoCompletionTokenInfo(std::shared_ptr<Analysis> analysis) {
    const AnalysisData& d = analysis->data();
    const std::u16string_view text(d.text);
    OriginCache origins;
    std::vector<AutoCompletionToken> records;
    records.reserve(d.tokens.size() / 2);
    for (std::uint32_t k = 0; k < d.tokens.size(); ++k) {
        const lexer::ScanToken& t = d.tokens[k];
        if (t.kind == TokenKind::Blank || t.kind == TokenKind::LineEnd || t.kind == TokenKind::Invalid)
            continue;
        AutoCompletionToken record;
        record.kind = kindText(t.kind);
        record.position = t.offset;
        record.line = t.line;
        record.column = t.offset - (t.line <= d.lineStarts.size() ? d.lineStarts[t.line - 1] : 0) + 1;
        std::uint32_t end = t.offset + t.length;
        if (t.kind == TokenKind::Identifier) {
            const std::u16string_view name = text.substr(t.offset, t.length);
            switch (d.roles[k]) {
                case Role::FunctionName:
                    record.classification = kDefinedFunction;
                    break;
                case Role::Variable:
                    record.classification = kVariable;
                    break;
                case Role::Field:
                    record.classification = kFieldName;
                    break;
                case Role::Other:
                    record.classification = kOther;
                    break;
                case Role::BlockWord:
                    record.kind = kindText(TokenKind::Keyword);
                    record.classification = kOther;
                    break;
                case Role::HandleTarget: {
                    auto function = d.functions.find(name);
                    record.classification =
                        function != d.functions.end() ? kHandleToTextFunction : kOutsideFunction;
                    break;
                }
                case Role::DottedHead: {
                    auto chain = d.dottedEnd.find(k);
                    if (chain != d.dottedEnd.end() && !isVariable(d, d.scopes[k], name)) {
                        const lexer::ScanToken& last = d.tokens[chain->second];
                        end = last.offset + last.length;
                        record.kind = u"DottedIdentifier";
                        record.classification = kDottedOutsideFunction;
                        k = chain->second;
                    } else {
                        record.classification = classifyUse(d, d.scopes[k], name);
                    }
                    break;
                }
                case Role::Use:
                    record.classification = classifyUse(d, d.scopes[k], name);
                    break;
            }
        }
        record.text = d.text.substr(t.offset, end - t.offset);
        if (record.classification == kOutsideFunction || record.classification == kDottedOutsideFunction) {
            setOrigin(record, text.substr(t.offset, end - t.offset), origins);
        }
        records.push_back(std::move(record));
    }
    return AutoCompletionTokenInfo(std::move(records));
}

}  // namespace ca::token
