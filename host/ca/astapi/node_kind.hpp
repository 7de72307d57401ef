#pragma once

#include <cstdint>
#include <iosfwd>
#include <string_view>

namespace lf::astapi {

// Kind values are stable: block builders switch on them.
enum class NodeKind : std::uint8_t {
    Unknown = 0,
    File = 1,
    Identifier = 2,
    ExpressionStatement = 3,
    Function = 4,
    Assignment = 5,
    MultiAssignment = 6,
    Number = 7,
    BinaryOp = 8,
    UnaryOp = 9,
    CharArray = 10,
    Postfix = 11,
    Index = 12,
    CellIndex = 13,
    Field = 14,
    If = 15,
    String = 16,
    ElseIf = 17,
    Else = 18,
    ColonAll = 19,
    EndIndex = 20,
    Break = 21,
    Matrix = 22,
    Row = 23,
    Cell = 24,
    Range = 25,
    Continue = 26,
    Return = 27,
    For = 28,
    AnonymousFunction = 29,
    FunctionHandle = 30,
    While = 31,
    Command = 32,
    CommandWord = 33,
    ClassDef = 34,
    Switch = 35,
    Case = 36,
    Ignored = 37,
    Properties = 38,
    MetaclassQuery = 39,
    Otherwise = 40,
    InputArgument = 41,
    Catch = 42,
    Global = 43,
    Methods = 44,
    Try = 45,
    Persistent = 46,
    DynamicField = 47,
    DottedName = 48,
    OutputList = 49,
    InputList = 50,
    PropertyDefinition = 51,
    Events = 52,
    Attributes = 53,
    Superclasses = 54,
    Script = 55,
    Parfor = 56,
    EnumerationMember = 57,
    EventName = 58,
    ArgumentDeclaration = 59,
    Enumeration = 60,
    Parenthesized = 61,
    Arguments = 62,
    Spmd = 63,
    ValidatorList = 64,
    ArgumentList = 65,
    MethodDefinition = 66,
};

// The kind's name ("Identifier"), or "Unknown" for a value outside 1..66.
std::string_view nodeKindName(NodeKind kind);

// Prints the name, or "NodeKind(<value>)" for an unknown value.
std::ostream& operator<<(std::ostream& out, NodeKind kind);

}  // namespace lf::astapi
