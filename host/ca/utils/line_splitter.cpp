#include "ca/utils/line_splitter.hpp"

namespace ca::utils {

std::vector<fl::ustring> lineSplitter(const fl::ustring& text) {
    std::vector<fl::ustring> lines;
    std::size_t start = 0;
    while (start < text.size()) {
        std::size_t lf = text.find(u'\n', start);
        if (lf == fl::ustring::npos) {
            lines.push_back(text.substr(start));
            break;
        }
        std::size_t end = (lf > start && text[lf - 1] == u'\r') ? lf - 1 : lf;
        lines.push_back(text.substr(start, end - start));
        start = lf + 1;
    }
    return lines;
}

}  // namespace ca::utils
