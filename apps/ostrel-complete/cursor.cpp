#include "cursor.hpp"

#include <stdexcept>

namespace ostrel_complete {

std::size_t cursorOffset(const fl::ustring& code, const CursorSpec& cursor, const std::string& fileName) {
    if (cursor.offset) {
        if (*cursor.offset > code.size()) {
            throw std::out_of_range("offset " + std::to_string(*cursor.offset) + " is outside " + fileName +
                                    " (it has " + std::to_string(code.size()) + " code units)");
        }
        return *cursor.offset;
    }
    const std::size_t line = cursor.line.value_or(1);
    const std::size_t column = cursor.column.value_or(1);
    std::size_t start = 0;
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
        throw std::out_of_range("cursor " + where + " is outside " + fileName + " (line " + std::to_string(line) +
                                " has " + std::to_string(end - start) + " columns)");
    }
    return start + column - 1;
}

}  // namespace ostrel_complete
