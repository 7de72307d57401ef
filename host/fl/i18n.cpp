#include "fl/i18n.hpp"

namespace fl::i18n {
namespace {

constexpr char32_t kReplacement = 0xFFFD;

bool isHighSurrogate(char16_t c) {
    return c >= 0xD800 && c <= 0xDBFF;
}
bool isLowSurrogate(char16_t c) {
    return c >= 0xDC00 && c <= 0xDFFF;
}

void appendCodePoint(std::string& out, char32_t cp) {
    if (cp < 0x80) {
        out.push_back(static_cast<char>(cp));
    } else if (cp < 0x800) {
        out.push_back(static_cast<char>(0xC0 | (cp >> 6)));
        out.push_back(static_cast<char>(0x80 | (cp & 0x3F)));
    } else if (cp < 0x10000) {
        out.push_back(static_cast<char>(0xE0 | (cp >> 12)));
        out.push_back(static_cast<char>(0x80 | ((cp >> 6) & 0x3F)));
        out.push_back(static_cast<char>(0x80 | (cp & 0x3F)));
    } else {
        out.push_back(static_cast<char>(0xF0 | (cp >> 18)));
        out.push_back(static_cast<char>(0x80 | ((cp >> 12) & 0x3F)));
        out.push_back(static_cast<char>(0x80 | ((cp >> 6) & 0x3F)));
        out.push_back(static_cast<char>(0x80 | (cp & 0x3F)));
    }
}

void appendUtf16(ustring& out, char32_t cp) {
    if (cp < 0x10000) {
        out.push_back(static_cast<char16_t>(cp));
    } else {
        cp -= 0x10000;
        out.push_back(static_cast<char16_t>(0xD800 + (cp >> 10)));
        out.push_back(static_cast<char16_t>(0xDC00 + (cp & 0x3FF)));
    }
}

// Length of the UTF-8 sequence led by `lead`, or 0 when it cannot lead one.
int sequenceLength(unsigned char lead) {
    if (lead < 0x80) return 1;
    if (lead >= 0xC2 && lead <= 0xDF) return 2;
    if (lead >= 0xE0 && lead <= 0xEF) return 3;
    if (lead >= 0xF0 && lead <= 0xF4) return 4;
    return 0;
}

}  // namespace

ustring to_ustring(std::string_view utf8) {
    ustring out;
    out.reserve(utf8.size());
    std::size_t i = 0;
    const std::size_t n = utf8.size();
    while (i < n) {
        const auto lead = static_cast<unsigned char>(utf8[i]);
        if (lead < 0x80) {
            out.push_back(lead);
            ++i;
            continue;
        }
        const int len = sequenceLength(lead);
        if (len == 0 || i + len > n) {
            out.push_back(kReplacement);
            ++i;
            continue;
        }
        char32_t cp = lead & (0x7F >> len);
        bool ok = true;
        for (int k = 1; k < len; ++k) {
            const auto cont = static_cast<unsigned char>(utf8[i + k]);
            if ((cont & 0xC0) != 0x80) {
                ok = false;
                break;
            }
            cp = (cp << 6) | (cont & 0x3F);
        }
        // Overlong forms, surrogates and values past U+10FFFF are not characters.
        const bool overlong = (len == 3 && cp < 0x800) || (len == 4 && cp < 0x10000);
        if (!ok || overlong || cp > 0x10FFFF || (cp >= 0xD800 && cp <= 0xDFFF)) {
            out.push_back(kReplacement);
            ++i;
            continue;
        }
        appendUtf16(out, cp);
        i += len;
    }
    return out;
}

void append_utf8(std::string& out, std::u16string_view utf16) {
    out.reserve(out.size() + utf16.size());
    const std::size_t n = utf16.size();
    for (std::size_t i = 0; i < n; ++i) {
        const char16_t c = utf16[i];
        if (c < 0x80) {
            out.push_back(static_cast<char>(c));
        } else if (isHighSurrogate(c) && i + 1 < n && isLowSurrogate(utf16[i + 1])) {
            appendCodePoint(out,
                            0x10000 + ((char32_t(c) - 0xD800) << 10) + (char32_t(utf16[i + 1]) - 0xDC00));
            ++i;
        } else if (isHighSurrogate(c) || isLowSurrogate(c)) {
            appendCodePoint(out, kReplacement);
        } else {
            appendCodePoint(out, c);
        }
    }
}

std::string to_string(std::u16string_view utf16) {
    std::string out;
    append_utf8(out, utf16);
    return out;
}

ustring& trim(ustring& text, std::u16string_view chars) {
    const auto last = text.find_last_not_of(chars);
    if (last == ustring::npos) {
        text.clear();
        return text;
    }
    text.erase(last + 1);
    text.erase(0, text.find_first_not_of(chars));
    return text;
}

}  // namespace fl::i18n
