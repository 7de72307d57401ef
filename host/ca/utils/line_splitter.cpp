#include "ca/utils/line_splitter.hpp"

namespace ca::utils {

std::vector<fl::ustring> lineSplitter(const fl::ustring& text) {
    std::vector<fl::ustring> lines;
    std::size_t start = 0;
    while (start < text.size()) {
        std::size_t lf = text.find(u'\n', start);
        const std::size_t next = lf == fl::ustring::npos ? text.size() : lf + 1;
        if (lf == fl::ustring::npos) lf = text.size();
        // CRs at the end of a line are blanks that go with its line end (the last of them, before an LF,
        // is part of it anyway): a line never ends in CR, so that lines joined again with LFs split back
        // into the same lines.
        std::size_t end = lf;
        while (end > start && text[end - 1] == u'\r')
            --end;
        lines.push_back(text.substr(start, end - start));
        start = next;
    }
    return lines;
}

}  // namespace ca::utils
