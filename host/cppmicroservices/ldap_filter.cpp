#include "cppmicroservices/ldap_filter.hpp"

#include <algorithm>
#include <cctype>
#include <charconv>
#include <optional>
#include <stdexcept>
#include <vector>

namespace cppmicroservices {

namespace detail {

enum class FilterOp { And, Or, Not, Equal, Approx, GreaterEqual, LessEqual, Present };

struct FilterNode {
    FilterOp op;
    std::string key;
    // For Equal: the value split at unescaped '*' (a single piece means no wildcard).
    std::vector<std::string> pieces;
    std::vector<std::shared_ptr<const FilterNode>> children;
};

}  // namespace detail

namespace {

using detail::FilterNode;
using detail::FilterOp;
using NodePtr = std::shared_ptr<const FilterNode>;

std::string lowerCase(std::string text) {
    std::transform(text.begin(), text.end(), text.begin(),
                   [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
    return text;
}

std::string trimBlanks(const std::string& text) {
    const auto first = text.find_first_not_of(" \t");
    if (first == std::string::npos) return {};
    return text.substr(first, text.find_last_not_of(" \t") - first + 1);
}

// Parsing, matching and releasing a filter each recurse once per level, so nesting is bounded well below
// what the stack holds; real filters nest a few levels.
constexpr std::size_t kMaxNesting = 256;

class FilterParser {
  public:
    explicit FilterParser(const std::string& text) : text_(text) {}

    NodePtr parseWhole() {
        skipBlanks();
        auto node = parseFilter();
        skipBlanks();
        if (pos_ != text_.size()) fail("unexpected text after the filter");
        return node;
    }

  private:
    [[noreturn]] void fail(const std::string& what) const {
        // A long filter is shown by its start only, so that the message stays readable.
        const std::string shown = text_.size() <= 100 ? text_ : text_.substr(0, 100) + "...";
        throw std::invalid_argument("Invalid LDAP filter \"" + shown + "\" at position " +
                                    std::to_string(pos_) + ": " + what);
    }

    void skipBlanks() {
        while (pos_ < text_.size() && (text_[pos_] == ' ' || text_[pos_] == '\t'))
            ++pos_;
    }

    void expect(char c) {
        if (pos_ >= text_.size() || text_[pos_] != c) fail(std::string("expected '") + c + "'");
        ++pos_;
    }

    NodePtr parseFilter() {
        if (depth_ == kMaxNesting)
            fail("filters nested deeper than " + std::to_string(kMaxNesting) + " levels");
        ++depth_;
        NodePtr node = parseOneFilter();
        --depth_;
        return node;
    }

    NodePtr parseOneFilter() {
        expect('(');
        skipBlanks();
        if (pos_ >= text_.size()) fail("unterminated filter");
        auto node = std::make_shared<FilterNode>();
        const char c = text_[pos_];
        if (c == '&' || c == '|') {
            ++pos_;
            node->op = c == '&' ? FilterOp::And : FilterOp::Or;
            skipBlanks();
            while (pos_ < text_.size() && text_[pos_] == '(') {
                node->children.push_back(parseFilter());
                skipBlanks();
            }
            if (node->children.empty()) fail("a composition needs at least one operand");
        } else if (c == '!') {
            ++pos_;
            node->op = FilterOp::Not;
            skipBlanks();
            node->children.push_back(parseFilter());
            skipBlanks();
        } else {
            parseItem(*node);
        }
        expect(')');
        return node;
    }

    void parseItem(FilterNode& node) {
        const auto keyStart = pos_;
        while (pos_ < text_.size() && std::string_view("=<>~()").find(text_[pos_]) == std::string_view::npos)
            ++pos_;
        node.key = lowerCase(trimBlanks(text_.substr(keyStart, pos_ - keyStart)));
        if (node.key.empty()) fail("missing attribute name");
        if (pos_ >= text_.size()) fail("missing operator");
        switch (text_[pos_]) {
            case '=':
                node.op = FilterOp::Equal;
                ++pos_;
                break;
            case '~':
                node.op = FilterOp::Approx;
                ++pos_;
                expect('=');
                break;
            case '>':
                node.op = FilterOp::GreaterEqual;
                ++pos_;
                expect('=');
                break;
            case '<':
                node.op = FilterOp::LessEqual;
                ++pos_;
                expect('=');
                break;
            default:
                fail("missing operator");
        }
        std::string piece;
        std::vector<std::string> pieces;
        bool sawStar = false;
        while (pos_ < text_.size() && text_[pos_] != ')') {
            const char c = text_[pos_];
            if (c == '(') fail("unescaped '(' in a value");
            if (c == '\\') {
                if (++pos_ >= text_.size()) fail("dangling escape");
                piece += text_[pos_++];
            } else if (c == '*' && node.op == FilterOp::Equal) {
                pieces.push_back(std::move(piece));
                piece.clear();
                sawStar = true;
                ++pos_;
            } else {
                piece += c;
                ++pos_;
            }
        }
        pieces.push_back(std::move(piece));
        if (sawStar && pieces.size() == 2 && pieces[0].empty() && pieces[1].empty()) {
            node.op = FilterOp::Present;
            pieces.clear();
        }
        node.pieces = std::move(pieces);
    }

    const std::string& text_;
    std::size_t pos_ = 0;
    std::size_t depth_ = 0;
};

bool matchWildcard(const std::string& value, const std::vector<std::string>& pieces) {
    if (pieces.size() == 1) return value == pieces.front();
    const std::string& head = pieces.front();
    const std::string& tail = pieces.back();
    if (value.size() < head.size() + tail.size()) return false;
    if (value.compare(0, head.size(), head) != 0) return false;
    if (value.compare(value.size() - tail.size(), tail.size(), tail) != 0) return false;
    std::size_t at = head.size();
    const std::size_t end = value.size() - tail.size();
    for (std::size_t i = 1; i + 1 < pieces.size(); ++i) {
        const auto found = value.find(pieces[i], at);
        if (found == std::string::npos || found + pieces[i].size() > end) return false;
        at = found + pieces[i].size();
    }
    return true;
}

std::optional<double> asNumber(const std::string& text) {
    const auto trimmed = trimBlanks(text);
    double number = 0;
    const auto* end = trimmed.data() + trimmed.size();
    const auto [ptr, ec] = std::from_chars(trimmed.data(), end, number);
    if (trimmed.empty() || ec != std::errc() || ptr != end) return std::nullopt;
    return number;
}

int compareValues(const std::string& value, const std::string& operand) {
    const auto a = asNumber(value);
    const auto b = asNumber(operand);
    if (a && b) return *a < *b ? -1 : (*a > *b ? 1 : 0);
    return value.compare(operand);
}

std::string approxForm(const std::string& text) {
    std::string out;
    for (unsigned char c : text)
        if (!std::isspace(c)) out += static_cast<char>(std::tolower(c));
    return out;
}

const std::string* findProperty(const ServiceProperties& properties, const std::string& lowerKey) {
    for (const auto& [key, value] : properties)
        if (lowerCase(key) == lowerKey) return &value;
    return nullptr;
}

bool matches(const FilterNode& node, const ServiceProperties& properties) {
    switch (node.op) {
        case FilterOp::And:
            return std::all_of(node.children.begin(), node.children.end(),
                               [&](const NodePtr& child) { return matches(*child, properties); });
        case FilterOp::Or:
            return std::any_of(node.children.begin(), node.children.end(),
                               [&](const NodePtr& child) { return matches(*child, properties); });
        case FilterOp::Not:
            return !matches(*node.children.front(), properties);
        default:
            break;
    }
    const std::string* value = findProperty(properties, node.key);
    if (value == nullptr) return false;
    switch (node.op) {
        case FilterOp::Present:
            return true;
        case FilterOp::Equal:
            return matchWildcard(*value, node.pieces);
        case FilterOp::Approx:
            return approxForm(*value) == approxForm(node.pieces.front());
        case FilterOp::GreaterEqual:
            return compareValues(*value, node.pieces.front()) >= 0;
        case FilterOp::LessEqual:
            return compareValues(*value, node.pieces.front()) <= 0;
        default:
            return false;
    }
}

}  // namespace

LDAPFilter::LDAPFilter() = default;

LDAPFilter::LDAPFilter(const std::string& filter) : text_(trimBlanks(filter)) {
    if (text_.empty()) throw std::invalid_argument("Invalid LDAP filter: the text is empty");
    root_ = FilterParser(text_).parseWhole();
}

bool LDAPFilter::Match(const ServiceProperties& properties) const {
    return root_ == nullptr || matches(*root_, properties);
}

std::string LDAPFilter::ToString() const {
    return text_;
}

}  // namespace cppmicroservices
