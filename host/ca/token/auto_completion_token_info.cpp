#include "ca/token/auto_completion_token_info.hpp"

#include <algorithm>
#include <string_view>
#include <vector>

#include "ca/analysis_data.hpp"
#include "quorvanta/function_registry.hpp"

namespace ca::token {

namespace {

using namespace std::string_view_literals;
using detail::AnalysisData;
using detail::Role;
using lexer::TokenKind;

std::u16string_view kindText(TokenKind kind) {
    switch (kind) {
        case TokenKind::Keyword:
            return u"Keyword"sv;
        case TokenKind::Number:
            return u"Number"sv;
        case TokenKind::CharArray:
            return u"CharArray"sv;
        case TokenKind::String:
            return u"String"sv;
        case TokenKind::Operator:
            return u"Operator"sv;
        case TokenKind::Punctuation:
            return u"Punctuation"sv;
        case TokenKind::Comment:
        case TokenKind::BlockComment:
        case TokenKind::Continuation:
            return u"Comment"sv;
        case TokenKind::CommandWord:
            return u"CommandWord"sv;
        default:
            return u"Identifier"sv;
    }
}

bool isVariable(const AnalysisData& d, std::uint32_t scope, std::u16string_view name) {
    for (std::int32_t s = static_cast<std::int32_t>(scope); s >= 0; s = d.scopeParent[s]) {
        if (d.scopeVariables[s].contains(name)) return true;
    }
    return false;
}

bool hasRecord(const lexer::ScanToken& t) {
    return t.kind != TokenKind::Blank && t.kind != TokenKind::LineEnd && t.kind != TokenKind::Invalid;
}

// Names repeat within a text; the registry is asked once per name. The answers stand in one flat table
// of views into the text, so that a name costs no allocation of its own.
class OriginCache {
  public:
    Quorvanta::FunctionOrigin originOf(std::u16string_view name) {
        if ((size_ + 1) * 2 > slots_.size()) grow();
        Slot& slot = slots_[indexFor(name)];
        if (slot.name.empty()) {
            slot.name = name;
            slot.origin = Quorvanta::functionRegistry::lookup(name);
            ++size_;
        }
        return slot.origin;
    }

  private:
    struct Slot {
        std::u16string_view name;  // never empty once taken: names are at least one code unit long
        Quorvanta::FunctionOrigin origin = Quorvanta::FunctionOrigin::Unknown;
    };
    std::size_t indexFor(std::u16string_view name) const {
        const std::size_t mask = slots_.size() - 1;
        std::size_t i = lexer::NameHash{}(name)&mask;
        while (!slots_[i].name.empty() && slots_[i].name != name)
            i = (i + 1) & mask;
        return i;
    }
    void grow() {
        std::vector<Slot> old(slots_.empty() ? 64 : slots_.size() * 2);
        old.swap(slots_);
        for (const Slot& slot : old)
            if (!slot.name.empty()) slots_[indexFor(slot.name)] = slot;
    }

    std::vector<Slot> slots_;
    std::size_t size_ = 0;
};

std::uint32_t classifyUse(const AnalysisData& d, std::uint32_t scope, std::u16string_view name) {
    if (isVariable(d, scope, name)) return kVariable;
    auto function = d.functions.find(name);
    if (function != d.functions.end()) return function->second.nested ? kNestedFunction : kLocalFunction;
    return kOutsideFunction;
}

// What one record says of the token at `k`; a dotted call takes in the tokens up to `last`.
struct Reading {
    std::u16string_view kind;
    std::uint32_t classification = kOther;
    std::uint32_t last;
};

Reading readIdentifier(const AnalysisData& d, std::uint32_t k) {
    const lexer::ScanToken& t = d.tokens[k];
    const std::u16string_view name = std::u16string_view(d.text).substr(t.offset, t.length);
    Reading r{kindText(TokenKind::Identifier), kOther, k};
    switch (d.roles[k]) {
        case Role::FunctionName:
            r.classification = kDefinedFunction;
            break;
        case Role::Variable:
            r.classification = kVariable;
            break;
        case Role::Field:
            r.classification = kFieldName;
            break;
        case Role::Other:
            break;
        case Role::BlockWord:
            r.kind = kindText(TokenKind::Keyword);
            break;
        case Role::HandleTarget:
            r.classification = d.functions.count(name) != 0 ? kHandleToTextFunction : kOutsideFunction;
            break;
        case Role::DottedHead: {
            const std::uint32_t chainEnd = d.dottedEnd[k];
            if (chainEnd != 0 && !isVariable(d, d.scopes[k], name)) {
                r.kind = u"DottedIdentifier"sv;
                r.classification = kDottedOutsideFunction;
                r.last = chainEnd;
            } else {
                r.classification = classifyUse(d, d.scopes[k], name);
            }
            break;
        }
        case Role::Use:
            r.classification = classifyUse(d, d.scopes[k], name);
            break;
    }
    return r;
}

}  // namespace

AutoCompletionTokenInfo getAutoCompletionTokenInfo(std::shared_ptr<Analysis> analysis) {
    const AnalysisData& d = analysis->data();
    const std::u16string_view text(d.text);
    OriginCache origins;
    std::vector<AutoCompletionToken> records;
    // Records are large; an exact reserve keeps the vector from doubling past what it needs.
    records.reserve(static_cast<std::size_t>(std::count_if(d.tokens.begin(), d.tokens.end(), hasRecord)));
    for (std::uint32_t k = 0; k < d.tokens.size(); ++k) {
        const lexer::ScanToken& t = d.tokens[k];
        if (!hasRecord(t)) continue;
        const Reading r =
            t.kind == TokenKind::Identifier ? readIdentifier(d, k) : Reading{kindText(t.kind), kOther, k};
        const lexer::ScanToken& last = d.tokens[r.last];
        const std::u16string_view recordText = text.substr(t.offset, last.offset + last.length - t.offset);
        auto origin = Quorvanta::FunctionOrigin::Unknown;
        if (r.classification == kOutsideFunction || r.classification == kDottedOutsideFunction)
            origin = origins.originOf(recordText);
        const std::uint32_t column =
            t.offset - (t.line <= d.lineStarts.size() ? d.lineStarts[t.line - 1] : 0) + 1;
        records.push_back(AutoCompletionToken{
            fl::ustring(r.kind), fl::ustring(recordText), t.offset, r.classification, t.line, column,
            origin == Quorvanta::FunctionOrigin::BuiltIn, origin == Quorvanta::FunctionOrigin::Library});
        k = r.last;
    }
    return AutoCompletionTokenInfo(std::move(records));
}

}  // namespace ca::token
