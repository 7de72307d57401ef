#include "qvai/template_input.hpp"

#include <map>

namespace qvai {

namespace {

bool isBlank(char c) {
    return c == ' ' || c == '\t' || c == '\n' || c == '\r';
}

void appendUtf8(std::string& out, char32_t cp) {
    if (cp < 0x80) {
        out += static_cast<char>(cp);
    } else if (cp < 0x800) {
        out += static_cast<char>(0xC0 | (cp >> 6));
        out += static_cast<char>(0x80 | (cp & 0x3F));
    } else if (cp < 0x10000) {
        out += static_cast<char>(0xE0 | (cp >> 12));
        out += static_cast<char>(0x80 | ((cp >> 6) & 0x3F));
        out += static_cast<char>(0x80 | (cp & 0x3F));
    } else {
        out += static_cast<char>(0xF0 | (cp >> 18));
        out += static_cast<char>(0x80 | ((cp >> 12) & 0x3F));
        out += static_cast<char>(0x80 | ((cp >> 6) & 0x3F));
        out += static_cast<char>(0x80 | (cp & 0x3F));
    }
}

class InputReader {
  public:
    explicit InputReader(std::string_view text) : text_(text) {}

    std::optional<std::map<std::string, std::string>> readObject() {
        std::map<std::string, std::string> members;
        skipBlanks();
        if (!take('{')) return std::nullopt;
        skipBlanks();
        if (take('}')) return atEnd() ? std::optional(members) : std::nullopt;
        for (;;) {
            skipBlanks();
            if (!take('"')) return std::nullopt;
            auto key = readString();
            skipBlanks();
            if (!key || !take(':')) return std::nullopt;
            skipBlanks();
            if (!take('"')) return std::nullopt;
            auto value = readString();
            if (!value) return std::nullopt;
            members[*key] = std::move(*value);
            skipBlanks();
            if (take(',')) continue;
            if (take('}')) return atEnd() ? std::optional(members) : std::nullopt;
            return std::nullopt;
        }
    }

  private:
    void skipBlanks() {
        while (pos_ < text_.size() && isBlank(text_[pos_]))
            ++pos_;
    }
    bool take(char c) {
        if (pos_ < text_.size() && text_[pos_] == c) {
            ++pos_;
            return true;
        }
        return false;
    }
    bool atEnd() {
        skipBlanks();
        return pos_ == text_.size();
    }

    // A quotation mark closes the string only where the object can go on: before `, "` or before the
    // final `}`. Anywhere else it is part of the text (names are inserted unescaped).
    bool closesString(std::size_t quote) const {
        std::size_t at = quote + 1;
        while (at < text_.size() && isBlank(text_[at]))
            ++at;
        if (at >= text_.size()) return false;
        if (text_[at] == ':') return true;  // end of a key
        if (text_[at] == ',') {
            ++at;
            while (at < text_.size() && isBlank(text_[at]))
                ++at;
            return at < text_.size() && text_[at] == '"';
        }
        if (text_[at] != '}') return false;
        ++at;
        while (at < text_.size() && isBlank(text_[at]))
            ++at;
        return at == text_.size();
    }

    std::optional<char32_t> readHex4() {
        if (pos_ + 4 > text_.size()) return std::nullopt;
        char32_t value = 0;
        for (int i = 0; i < 4; ++i) {
            const char c = text_[pos_++];
            value <<= 4;
            if (c >= '0' && c <= '9')
                value |= static_cast<char32_t>(c - '0');
            else if (c >= 'a' && c <= 'f')
                value |= static_cast<char32_t>(c - 'a' + 10);
            else if (c >= 'A' && c <= 'F')
                value |= static_cast<char32_t>(c - 'A' + 10);
            else
                return std::nullopt;
        }
        return value;
    }

    std::optional<std::string> readString() {
        std::string out;
        while (pos_ < text_.size()) {
            const char c = text_[pos_];
            if (c == '"') {
                if (closesString(pos_)) {
                    ++pos_;
                    return out;
                }
                out += c;
                ++pos_;
            } else if (c == '\\') {
                if (++pos_ >= text_.size()) return std::nullopt;
                const char e = text_[pos_++];
                switch (e) {
                    case 'n':
                        out += '\n';
                        break;
                    case 't':
                        out += '\t';
                        break;
                    case 'r':
                        out += '\r';
                        break;
                    case 'b':
                        out += '\b';
                        break;
                    case 'f':
                        out += '\f';
                        break;
                    case 'v':
                        out += '\v';
                        break;
                    case '"':
                        out += '"';
                        break;
                    case '\\':
                        out += '\\';
                        break;
                    case '/':
                        out += '/';
                        break;
                    case 'u': {
                        auto unit = readHex4();
                        if (!unit) return std::nullopt;
                        char32_t cp = *unit;
                        if (cp >= 0xD800 && cp <= 0xDBFF && text_.substr(pos_, 2) == "\\u") {
                            const auto save = pos_;
                            pos_ += 2;
                            auto low = readHex4();
                            if (low && *low >= 0xDC00 && *low <= 0xDFFF) {
                                cp = 0x10000 + ((cp - 0xD800) << 10) + (*low - 0xDC00);
                            } else {
                                pos_ = save;
                            }
                        }
                        if (cp >= 0xD800 && cp <= 0xDFFF) cp = 0xFFFD;
                        appendUtf8(out, cp);
                        break;
                    }
                    default:
                        return std::nullopt;
                }
            } else {
                out += c;
                ++pos_;
            }
        }
        return std::nullopt;
    }

    std::string_view text_;
    std::size_t pos_ = 0;
};

}  // namespace

std::optional<TemplateInput> parseTemplateInput(std::string_view json) {
    auto members = InputReader(json).readObject();
    if (!members || !members->count("ostrel_code")) return std::nullopt;
    auto member = [&](const char* key) {
        auto found = members->find(key);
        return found == members->end() ? std::string() : found->second;
    };
    return TemplateInput{member("ostrel_code"), member("suffix"), member("user_functions"),
                         member("user_variables"), member("ostrel_functions")};
}

}  // namespace qvai
