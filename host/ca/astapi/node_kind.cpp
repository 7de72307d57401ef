#include "ca/astapi/node_kind.hpp"

#include <array>
#include <ostream>

namespace lf::astapi {

namespace {

constexpr std::array<std::string_view, 67> kNames = {
    "Unknown",
    "File",
    "Identifier",
    "ExpressionStatement",
    "Function",
    "Assignment",
    "MultiAssignment",
    "Number",
    "BinaryOp",
    "UnaryOp",
    "CharArray",
    "Postfix",
    "Index",
    "CellIndex",
    "Field",
    "If",
    "String",
    "ElseIf",
    "Else",
    "ColonAll",
    "EndIndex",
    "Break",
    "Matrix",
    "Row",
    "Cell",
    "Range",
    "Continue",
    "Return",
    "For",
    "AnonymousFunction",
    "FunctionHandle",
    "While",
    "Command",
    "CommandWord",
    "ClassDef",
    "Switch",
    "Case",
    "Ignored",
    "Properties",
    "MetaclassQuery",
    "Otherwise",
    "InputArgument",
    "Catch",
    "Global",
    "Methods",
    "Try",
    "Persistent",
    "DynamicField",
    "DottedName",
    "OutputList",
    "InputList",
    "PropertyDefinition",
    "Events",
    "Attributes",
    "Superclasses",
    "Script",
    "Parfor",
    "EnumerationMember",
    "EventName",
    "ArgumentDeclaration",
    "Enumeration",
    "Parenthesized",
    "Arguments",
    "Spmd",
    "ValidatorList",
    "ArgumentList",
    "MethodDefinition",
};

}  // namespace

std::string_view nodeKindName(NodeKind kind) {
    auto value = static_cast<std::size_t>(kind);
    return value < kNames.size() ? kNames[value] : kNames[0];
}

std::ostream& operator<<(std::ostream& out, NodeKind kind) {
    auto value = static_cast<unsigned>(kind);
    if (value == 0 || value >= kNames.size()) return out << "NodeKind(" << value << ")";
    return out << kNames[value];
}

}  // namespace lf::astapi
