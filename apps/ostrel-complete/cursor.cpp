#include "cursor.hpp"

#include <stdexcept>

namespace ostrel_complete {
namespace {

// No editor puts a cursor there; text inserted there would break the character or the line end.
std::size_t betweenCharacters(const fl::ustring& code, std::size_t at, const std::string& where,
                              const std::string& fileName) {
    if (at == 0 || at >= code.size()) return at;
    const char16_t before = code[at - 1], after = code[at];
    if (before >= 0xD800 && before <= 0xDBFF && after >= 0xDC00 && after <= 0xDFFF)
        throw std::out_of_range(where + " is inside a character of " + fileName +
                                " (between the two code units of a surrogate pair)");
    if (before == u'\r' && after == u'\n')
        throw std::out_of_range(where + " is inside a line end of " + fileName + " (between its CR and LF)");
    return at;
}

}  // namespace

std::size_t cursorOffset(const fl::ustring& code, const CursorSpec& cursor, const std::string& fileName) {
    if (cursor.offset) {
        if (*cursor.offset > code.size()) {
            throw std::out_of_range("offset " + std::to_string(*cursor.offset) + " is outside " + fileName +
                                    " (it has " + std::to_string(code.size()) + " code units)");
        }
        return betweenCharacters(code, *cursor.offset, "offset " + std::to_string(*cursor.offset), fileName);
    }
    const std::size_t line = cursor.line.value_or(1);
    const std::size_t column = cursor.column.value_or(1);
    // An editor shows no byte order mark: the first line's columns start after it.
    std::size_t start = !code.empty() && code.front() == u'\uFEFF' ? 1 : 0;
    std::size_t current = 1;
    while (current < line) {
        const std::size_t feed = code.find(u'\n', start);
        if (feed == fl::ustring::npos) break;
        start = feed + 1;
        ++current;
    }
    const std::string where = std::to_string(line) + ":" + std::to_string(column);
    if (current < line) {
        throw std::out_of_range("cursor " + where + " is outside " + fileName + " (it has " +
                                std::to_string(current) + " lines)");
    }
    std::size_t end = code.find(u'\n', start);
    if (end == fl::ustring::npos) end = code.size();
    if (end > start && code[end - 1] == u'\r') --end;  // the CR of a CR LF belongs to the line end
    if (column - 1 > end - start) {
        throw std::out_of_range("cursor " + where + " is outside " + fileName + " (line " +
                                std::to_string(line) + " has " + std::to_string(end - start) + " columns)");
    }
    return betweenCharacters(code, start + column - 1, "cursor " + where, fileName);
}

}  // namespace ostrel_complete
