#include "mtcc/postprocessing/deduplicator.hpp"

#include <optional>

namespace mtcc::postprocessing {
namespace {

constexpr std::u16string_view kLineEnds = u"\r\n";
constexpr auto npos = std::u16string_view::npos;

std::u16string_view trimmedPrefix(std::u16string_view prefix) {
    const auto last = prefix.find_last_not_of(kLineEnds);
    return last == npos ? prefix : prefix.substr(0, last + 1);
}

std::u16string_view trimmedSuffix(std::u16string_view suffix) {
    const auto first = suffix.find_first_not_of(kLineEnds);
    return first == npos ? suffix : suffix.substr(first);
}

// The head of G that ends the prefix, as the position of the line feed after it (npos: all of G).
std::optional<std::size_t> prefixOverlap(std::u16string_view generated, std::u16string_view prefix) {
    std::size_t p = 0;
    while (p < prefix.size()) {
        // A line feed at position 0 is never a boundary: the search starts one past p.
        p = p + 1 < generated.size() ? generated.find(u'\n', p + 1) : npos;
        const std::u16string_view head = p == npos ? generated : generated.substr(0, p);
        if (prefix.ends_with(head)) return p;
        if (p == npos) break;
    }
    return std::nullopt;
}

// The tail of G that starts the suffix, as the position of the line feed before it (npos: all of G).
std::optional<std::size_t> suffixOverlap(std::u16string_view generated, std::u16string_view suffix) {
    const std::size_t n = generated.size();
    std::size_t q = n;
    for (;;) {
        // Once the line feed at position 0 has been tried, the only longer tail is the whole text;
        // searching again from q - 1 would wrap round to the end and never finish.
        q = q == 0 ? npos : generated.rfind(u'\n', std::min(q - 1, n - 1));
        const std::u16string_view tail = q == npos ? generated : generated.substr(q + 1);
        if (suffix.starts_with(tail)) return q;
        if (q == npos || tail.size() >= suffix.size()) return std::nullopt;
    }
}

}  // namespace

fl::ustring deduplicateGeneratedCode(std::u16string_view generated, std::u16string_view prefix,
                                     std::u16string_view suffix) {
    if (const auto head = prefixOverlap(generated, trimmedPrefix(prefix))) {
        return *head == npos ? fl::ustring() : fl::ustring(generated.substr(*head + 1));
    }
    if (suffix.empty()) return fl::ustring(generated);
    const std::u16string_view s = trimmedSuffix(suffix);
    if (s.empty()) return fl::ustring(generated);
    if (generated.empty()) return {};
    if (const auto tail = suffixOverlap(generated, s)) {
        return *tail == npos ? fl::ustring() : fl::ustring(generated.substr(0, *tail));
    }
    return fl::ustring(generated);
}

}  // namespace mtcc::postprocessing
