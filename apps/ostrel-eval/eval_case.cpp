#include "eval_case.hpp"

#include <algorithm>
#include <stdexcept>
#include <string>

#include "text_lines.hpp"

namespace ostrel_eval {

std::string_view kindName(CursorKind kind) {
    switch (kind) {
        case CursorKind::LineStart:
            return "line-start";
        case CursorKind::BlankLine:
            return "blank-line";
        case CursorKind::MidLine:
            return "mid-line";
        case CursorKind::LineEnd:
            return "line-end";
    }
    return "?";
}

CursorKind kindFromName(std::string_view name) {
    for (const CursorKind kind : kAllKinds)
        if (kindName(kind) == name) return kind;
    throw std::invalid_argument("unknown cursor kind '" + std::string(name) +
                                "' (line-start, blank-line, mid-line, line-end)");
}

EvalCase cutOut(const fl::ustring& file, std::size_t cursor, std::size_t truthLength) {
    if (cursor > file.size() || truthLength > file.size() - cursor)
        throw std::out_of_range("the cut lies outside the file");
    EvalCase out;
    out.cursor = cursor;
    out.truth = file.substr(cursor, truthLength);
    return withCut(std::move(out), file);
}

EvalCase cutOutAfterIndent(const fl::ustring& file, std::size_t truthStart, std::size_t truthLength,
                           const fl::ustring& typedIndent) {
    if (truthStart > file.size() || truthLength > file.size() - truthStart)
        throw std::out_of_range("the cut lies outside the file");
    std::size_t lineStart = truthStart;
    while (lineStart > 0 && (file[lineStart - 1] == u' ' || file[lineStart - 1] == u'\t'))
        --lineStart;
    EvalCase out;
    out.ownIndent = file.substr(lineStart, truthStart - lineStart);
    out.typedIndent = typedIndent;
    out.cursor = lineStart + typedIndent.size();
    out.truth = file.substr(truthStart, truthLength);
    return withCut(std::move(out), file);
}

std::size_t truthStart(const EvalCase& evalCase) {
    return evalCase.cursor - std::min(evalCase.cursor, evalCase.typedIndent.size()) +
           evalCase.ownIndent.size();
}

fl::ustring reassemble(const EvalCase& evalCase) {
    const std::size_t cursor = std::min(evalCase.cursor, evalCase.cut.size());
    const std::size_t lineStart = cursor - std::min(cursor, evalCase.typedIndent.size());
    return evalCase.cut.substr(0, lineStart) + evalCase.ownIndent + evalCase.truth +
           evalCase.cut.substr(cursor);
}

EvalCase withCut(EvalCase evalCase, const fl::ustring& file) {
    const std::size_t start = std::min(truthStart(evalCase), file.size());
    const std::size_t lineStart = start - std::min(start, evalCase.ownIndent.size());
    const std::size_t after = std::min(file.size(), start + evalCase.truth.size());
    evalCase.cut = file.substr(0, lineStart) + evalCase.typedIndent + file.substr(after);
    const std::size_t cursor = std::min(evalCase.cursor, evalCase.cut.size());
    const std::size_t previousFeed = cursor == 0 ? fl::ustring::npos : evalCase.cut.rfind(u'\n', cursor - 1);
    evalCase.column = previousFeed == fl::ustring::npos ? cursor + 1 : cursor - previousFeed;
    evalCase.line =
        1 + static_cast<std::size_t>(std::count(
                evalCase.cut.begin(), evalCase.cut.begin() + static_cast<std::ptrdiff_t>(cursor), u'\n'));
    return evalCase;
}

}  // namespace ostrel_eval
