#include "quorvanta/name_set.hpp"

#include "quorvanta/name_syntax.hpp"

namespace Quorvanta {
namespace {

constexpr std::string_view kBlanks = " \t\r\f\v";

std::string_view trimBlanks(std::string_view line) {
    const auto first = line.find_first_not_of(kBlanks);
    if (first == std::string_view::npos) return {};
    const auto last = line.find_last_not_of(kBlanks);
    return line.substr(first, last - first + 1);
}

}  // namespace

std::vector<std::string_view> splitNameList(std::string_view text) {
    std::vector<std::string_view> entries;
    while (!text.empty()) {
        const auto end = text.find('\n');
        const auto entry = trimBlanks(text.substr(0, end));
        if (!entry.empty()) entries.push_back(entry);
        if (end == std::string_view::npos) break;
        text.remove_prefix(end + 1);
    }
    return entries;
}

NameSet parseNameList(std::string_view text) {
    NameSet names;
    for (const auto entry : splitNameList(text)) {
        // Valid names are ASCII, so widening byte by byte is exact.
        if (isFunctionName(entry)) names.insert(std::u16string(entry.begin(), entry.end()));
    }
    return names;
}

}  // namespace Quorvanta
