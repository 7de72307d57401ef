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
    out.cut = file.substr(0, cursor) + file.substr(cursor + truthLength);
    const std::size_t lineStart = cursor == 0 ? 0 : file.rfind(u'\n', cursor - 1);
    out.column = lineStart == fl::ustring::npos || cursor == 0 ? cursor + 1 : cursor - lineStart;
    out.line = 1;
    for (std::size_t i = 0; i < cursor; ++i)
        out.line += file[i] == u'\n' ? 1 : 0;
    return out;
}

fl::ustring reassemble(const EvalCase& evalCase) {
    fl::ustring out = evalCase.cut;
    out.insert(std::min(evalCase.cursor, out.size()), evalCase.truth);
    return out;
}

EvalCase withCut(EvalCase evalCase, const fl::ustring& file) {
    const std::size_t cursor = std::min(evalCase.cursor, file.size());
    const std::size_t after = std::min(file.size(), cursor + evalCase.truth.size());
    evalCase.cut = file.substr(0, cursor) + file.substr(after);
    return evalCase;
}

}  // namespace ostrel_eval
