#include "block_words.hpp"

#include <algorithm>

namespace ostrel_eval {

bool isWordChar(char16_t c) {
    return c == u'_' || (c >= u'0' && c <= u'9') || (c >= u'a' && c <= u'z') || (c >= u'A' && c <= u'Z');
}

bool startsWithWord(const fl::ustring& code, std::u16string_view word) {
    if (code.compare(0, word.size(), word) != 0) return false;
    if (code.size() == word.size()) return true;
    const char16_t next = code[word.size()];
    return !(next == u'_' || (next >= u'0' && next <= u'9') || (next >= u'a' && next <= u'z') ||
             (next >= u'A' && next <= u'Z'));
}

bool opensBlock(const fl::ustring& code) {
    for (const std::u16string_view word :
         {u"if", u"for", u"parfor", u"while", u"switch", u"try", u"spmd", u"function", u"classdef",
          u"properties", u"methods", u"events", u"enumeration", u"arguments"})
        if (startsWithWord(code, word)) return true;
    return false;
}

int closingEnds(const fl::ustring& code) {
    int ends = 0;
    int depth = 0;  // never below 0: a bracket closed here that opened on a line above
    char16_t quote = 0;
    for (std::size_t i = 0; i < code.size(); ++i) {
        const char16_t c = code[i];
        if (quote) {
            if (c == quote) quote = 0;
            continue;
        }
        if (c == u'%') break;
        // A quote after a value (or after `.`, as in `x.'`) is its transpose, not a text.
        const bool afterValue =
            i > 0 && (isWordChar(code[i - 1]) || code[i - 1] == u')' || code[i - 1] == u']' ||
                      code[i - 1] == u'}' || code[i - 1] == u'\'' || code[i - 1] == u'.');
        if (c == u'"' || (c == u'\'' && !afterValue)) quote = c;
        if (c == u'(' || c == u'[' || c == u'{') ++depth;
        if (c == u')' || c == u']' || c == u'}') depth = std::max(0, depth - 1);
        if (depth == 0 && code.compare(i, 3, u"end") == 0 && (i == 0 || !isWordChar(code[i - 1])) &&
            (i + 3 == code.size() || !isWordChar(code[i + 3])))
            ++ends;
    }
    return ends;
}

}  // namespace ostrel_eval
