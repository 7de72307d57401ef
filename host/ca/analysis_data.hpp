#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <unordered_map>
#include <unordered_set>
#include <vector>

#include "ca/astapi/node.hpp"
#include "ca/lexer/name_hash.hpp"
#include "ca/lexer/scan.hpp"
#include "fl/ustring.hpp"

namespace ca::detail {

enum class Severity : std::uint8_t { Error, Warning };

struct Diagnostic {
    std::uint32_t offset;
    std::uint32_t line;
    std::uint32_t column;
    Severity severity;
    std::string identifier;
    std::string text;  // UTF-8
};

// What the parser learnt about an identifier token, resolved to a completion classification later.
enum class Role : std::uint8_t {
    Use,           // a name whose meaning depends on the scope's variables and the text's functions
    FunctionName,  // the name defined by a function line
    Variable,      // assigned, loop variable, argument, global, persistent, catch identifier
    Field,         // after a dot
    Other,         // class names, property names, attribute names
    HandleTarget,  // @name
    DottedHead,    // first part of pkg.fn / s.field; `dottedEnd` holds the chain's last token
    BlockWord,     // properties, methods, events, enumeration, arguments opening their block
};

struct FunctionInfo {
    bool nested = false;
};

// Everything one analysis found; the text is owned here and every view points into it.
struct AnalysisData {
    fl::ustring text;
    std::vector<lexer::ScanToken> tokens;
    ca::astapi::SyntaxTree tree;
    std::vector<ca::astapi::Comment> comments;
    std::vector<Diagnostic> diagnostics;  // source order
    std::vector<std::uint32_t> lineStarts;
    std::vector<std::uint8_t> lineContent;  // per line (index 1..), bits of Analysis::LineContent
    // Per line (index 1..): 1 starts a statement, 2 a clause (else, case, ...), 3 an `end`, 4 a function.
    std::vector<std::uint8_t> lineRoles;
    std::vector<Role> roles;            // per token
    std::vector<std::uint32_t> scopes;  // per token: scope of a Use
    std::unordered_map<std::uint32_t, std::uint32_t> dottedEnd;
    std::vector<std::unordered_set<std::u16string_view, lexer::NameHash>> scopeVariables;
    std::vector<std::int32_t> scopeParent;
    std::unordered_map<std::u16string_view, FunctionInfo, lexer::NameHash> functions;
    bool parseErrors = false;
};

}  // namespace ca::detail
