#include "ca/lexer/scan.hpp"

#include <string>

#include "ca/lexer/find_line_feed.hpp"
#include "ca/lexer/name_set.hpp"
#include "ca/lexer/operator_classes.hpp"

namespace ca::lexer {

namespace {

struct WordText {
    std::u16string_view text;
    Word word;
};

constexpr WordText kReservedWords[] = {
    {u"break", Word::Break},
    {u"case", Word::Case},
    {u"catch", Word::Catch},
    {u"classdef", Word::Classdef},
    {u"continue", Word::Continue},
    {u"else", Word::Else},
    {u"elseif", Word::Elseif},
    {u"end", Word::End},
    {u"for", Word::For},
    {u"function", Word::Function},
    {u"global", Word::Global},
    {u"if", Word::If},
    {u"otherwise", Word::Otherwise},
    {u"parfor", Word::Parfor},
    {u"persistent", Word::Persistent},
    {u"return", Word::Return},
    {u"spmd", Word::Spmd},
    {u"switch", Word::Switch},
    {u"try", Word::Try},
    {u"while", Word::While},
};

constexpr WordText kContextualWords[] = {
    {u"arguments", Word::Arguments}, {u"enumeration", Word::Enumeration}, {u"events", Word::Events},
    {u"methods", Word::Methods},     {u"properties", Word::Properties},
};

template <std::size_t N>
constexpr bool inAlphabeticalOrder(const WordText (&words)[N]) {
    for (std::size_t k = 1; k < N; ++k)
        if (!(words[k - 1].text < words[k].text)) return false;
    return true;
}
static_assert(inAlphabeticalOrder(kReservedWords) && inAlphabeticalOrder(kContextualWords),
              "lookUp stops at the first word past the one it looks for");

// The tables are in alphabetical order: the search stops at the first word past `w`'s initial and
// compares whole texts only where the initial and the length agree.
template <std::size_t N>
Word lookUp(const WordText (&words)[N], std::u16string_view w) {
    for (const WordText& entry : words) {
        if (entry.text[0] > w[0]) break;
        if (entry.text[0] == w[0] && entry.text.size() == w.size() && entry.text == w) return entry.word;
    }
    return Word::None;
}

}  // namespace

Word reservedWord(std::u16string_view w) {
    // Most names are longer than any reserved word or start with a letter none starts with.
    if (w.size() < 2 || w.size() > 10) return Word::None;
    switch (w[0]) {
        case u'b':
        case u'c':
        case u'e':
        case u'f':
        case u'g':
        case u'i':
        case u'o':
        case u'p':
        case u'r':
        case u's':
        case u't':
        case u'w':
            return lookUp(kReservedWords, w);
        default:
            return Word::None;
    }
}

Word contextualWord(std::u16string_view w) {
    if (w.size() < 6 || w.size() > 11 || (w[0] != u'a' && w[0] != u'p' && w[0] != u'm' && w[0] != u'e')) {
        return Word::None;
    }
    return lookUp(kContextualWords, w);
}

namespace {

constexpr bool isDigit(char16_t c) {
    return hasClass(c, kDigitChar);
}
bool isHexDigit(char16_t c) {
    return isDigit(c) || (c >= u'a' && c <= u'f') || (c >= u'A' && c <= u'F');
}

// Blocks whose lines are declarations, where a blank after a name never makes a command.
bool isDeclarationBlock(Word w) {
    return w == Word::Properties || w == Word::Arguments || w == Word::Events || w == Word::Enumeration ||
           w == Word::Classdef;
}

// What the code unit that starts a token makes of it; one table lookup instead of a chain of tests.
enum class TokenStart : std::uint8_t {
    Other,
    LineFeed,
    CarriageReturn,
    Blank,
    Percent,
    Dot,
    Digit,
    Letter,
    Quote,
    DoubleQuote
};

constexpr std::array<TokenStart, 128> kTokenStarts = [] {
    std::array<TokenStart, 128> starts{};
    for (std::size_t c = 0; c < starts.size(); ++c) {
        const auto unit = static_cast<char16_t>(c);
        starts[c] = isBlank(unit)             ? TokenStart::Blank
                    : isIdentifierStart(unit) ? TokenStart::Letter
                    : isDigit(unit)           ? TokenStart::Digit
                                              : TokenStart::Other;
    }
    starts['\n'] = TokenStart::LineFeed;
    starts['\r'] = TokenStart::CarriageReturn;
    starts['%'] = TokenStart::Percent;
    starts['.'] = TokenStart::Dot;
    starts['\''] = TokenStart::Quote;
    starts['"'] = TokenStart::DoubleQuote;
    return starts;
}();

// How a code unit starts an operator or punctuation: alone, or with a second unit as a longer one.
struct OperatorText {
    TokenKind kind = TokenKind::Invalid;
    Op single = Op::None;
    char16_t second = 0;
    Op pair = Op::None;
};

constexpr std::array<OperatorText, 128> kOperatorTexts = [] {
    // Filled explicitly: GCC 12 loses the member initializers of a value-initialized array here.
    std::array<OperatorText, 128> texts;
    texts.fill(OperatorText{});
    auto op = [&](char c, Op single, char second = 0, Op pair = Op::None) {
        texts[static_cast<std::size_t>(c)] = {TokenKind::Operator, single, static_cast<char16_t>(second),
                                              pair};
    };
    auto punctuation = [&](char c, Op single) {
        texts[static_cast<std::size_t>(c)] = {TokenKind::Punctuation, single, 0, Op::None};
    };
    op('+', Op::Plus);
    op('-', Op::Minus);
    op('*', Op::Times);
    op('/', Op::Divide);
    op('\\', Op::LeftDivide);
    op('^', Op::Power);
    op('\'', Op::Transpose);
    op(':', Op::Colon);
    op('@', Op::At);
    op('?', Op::Question);
    op('=', Op::Assign, '=', Op::Equal);
    op('~', Op::Not, '=', Op::NotEqual);
    op('<', Op::Less, '=', Op::LessEqual);
    op('>', Op::Greater, '=', Op::GreaterEqual);
    op('&', Op::And, '&', Op::AndAnd);
    op('|', Op::Or, '|', Op::OrOr);
    punctuation(',', Op::Comma);
    punctuation(';', Op::Semicolon);
    punctuation('(', Op::LParen);
    punctuation(')', Op::RParen);
    punctuation('[', Op::LBracket);
    punctuation(']', Op::RBracket);
    punctuation('{', Op::LBrace);
    punctuation('}', Op::RBrace);
    return texts;
}();

// The operator a dot makes with the code unit after it: .* ./ .\ .^ .'
constexpr Op elementWiseOperator(char16_t next) {
    switch (next) {
        case u'*':
            return Op::ElemTimes;
        case u'/':
            return Op::ElemDivide;
        case u'\\':
            return Op::ElemLeftDivide;
        case u'^':
            return Op::ElemPower;
        case u'\'':
            return Op::DotTranspose;
        default:
            return Op::None;
    }
}

struct OperatorToken {
    TokenKind kind;
    Op op;
    std::size_t length;
};

class Scanner {
  public:
    Scanner(std::u16string_view text, std::vector<ScanToken>& out, std::size_t start, std::uint32_t line)
        : t_(text), n_(text.size()), out_(out), i_(start), line_(line) {
        brackets_.reserve(16);
        blocks_.reserve(16);
        blockIndents_.reserve(16);
    }

    // Returns false, having stopped early, when a %} line without opener shows that the text begins inside
    // a block comment and `cutEdgeChecked` was false: the scan must then start again with it true.
    bool run(bool cutEdgeChecked) {
        cutEdgeChecked_ = cutEdgeChecked;
        if (cutEdgeChecked) scanCutBlockComment();
        while (i_ < n_) {
            if (lineStart_) {
                startLine();
                continue;
            }
            step();
        }
        endStatement();
        return !cutEdgeFound_;
    }

  private:
    // --- text helpers -------------------------------------------------------------------------------
    bool lineEndAt(std::size_t i) const {
        return i < n_ && (t_[i] == u'\n' || (t_[i] == u'\r' && i + 1 < n_ && t_[i + 1] == u'\n'));
    }
    bool blankAt(std::size_t i) const {
        return i < n_ && (isBlank(t_[i]) || (t_[i] == u'\r' && !lineEndAt(i)));
    }
    std::size_t endOfLine(std::size_t i) const {
        const std::size_t lf = findLineFeed(t_, i);
        if (lf == n_) return n_;
        return lf > i && t_[lf - 1] == u'\r' ? lf - 1 : lf;
    }
    std::size_t skipBlanks(std::size_t i) const {
        while (blankAt(i))
            ++i;
        return i;
    }
    // '{' or '}' when the line that starts at `lineStart` holds only blanks and %{ or %}; 0 otherwise.
    char16_t blockMarker(std::size_t lineStart) const {
        std::size_t i = skipBlanks(lineStart);
        if (i + 1 >= n_ || t_[i] != u'%' || (t_[i + 1] != u'{' && t_[i + 1] != u'}')) return 0;
        std::size_t j = skipBlanks(i + 2);
        return (j == n_ || lineEndAt(j)) ? t_[i + 1] : 0;
    }
    std::size_t nextLineStart(std::size_t i) const {
        i = endOfLine(i);
        if (i == n_) return n_;
        return i + (t_[i] == u'\r' ? 2 : 1);
    }

    // --- emitting ----------------------------------------------------------------------------------
    [[gnu::always_inline]] void emit(TokenKind kind, std::size_t end, Word word = Word::None,
                                     Op op = Op::None, std::uint8_t flags = 0) {
        out_.push_back(ScanToken{static_cast<std::uint32_t>(i_), static_cast<std::uint32_t>(end - i_), line_,
                                 kind, word, op, flags});
        i_ = end;
    }
    void countLines(std::size_t from, std::size_t to) {
        for (std::size_t k = from; k < to; ++k)
            line_ += (t_[k] == u'\n');
    }

    // A %} line without opener closes a block comment that began before the text: everything up to the
    // last such line is one block comment.
    void scanCutBlockComment() {
        int depth = 0;
        std::size_t cutEnd = 0;
        for (std::size_t ls = i_; ls < n_; ls = nextLineStart(ls)) {
            std::size_t first = skipBlanks(ls);
            if (first >= n_ || t_[first] != u'%') continue;
            char16_t marker = blockMarker(ls);
            if (marker == u'{') {
                ++depth;
            } else if (marker == u'}') {
                if (depth > 0) {
                    --depth;
                } else {
                    cutEnd = first + 2;
                }
            }
        }
        if (cutEnd == 0) return;
        std::size_t start = i_;
        emit(TokenKind::BlockComment, cutEnd, Word::None, Op::None, kCutBlockComment);
        countLines(start, cutEnd);
        lineStart_ = false;
    }

    void startLine() {
        lineStart_ = false;
        std::size_t first = skipBlanks(i_);
        lineIndent_ = 0;
        for (std::size_t k = i_; k < first; ++k)
            lineIndent_ = t_[k] == u'\t' ? (lineIndent_ / 4 + 1) * 4 : lineIndent_ + 1;
        if (first > i_) emit(TokenKind::Blank, first);
        // A shell escape: the rest of the line is one command for the operating system.
        if (i_ < n_ && t_[i_] == u'!' && stmtStart_ && brackets_.empty() && !continued_) {
            significant(TokenKind::CommandWord, endOfLine(i_), Word::None, Op::None);
            return;
        }
        if (i_ >= n_ || t_[i_] != u'%') return;
        const char16_t marker = blockMarker(i_);
        if (marker == u'{') scanBlockComment();
        // Block comments consume their own closing lines, so this one has no opener in the text.
        if (marker == u'}' && !cutEdgeChecked_) {
            cutEdgeFound_ = true;
            i_ = n_;
        }
    }

    void scanBlockComment() {
        int depth = 0;
        std::size_t ls = i_;
        std::size_t end = n_;
        std::uint8_t flags = kUnclosedBlock;
        for (; ls < n_; ls = nextLineStart(ls)) {
            char16_t marker = blockMarker(ls);
            if (marker == u'{') {
                ++depth;
            } else if (marker == u'}' && --depth == 0) {
                end = skipBlanks(ls) + 2;
                flags = 0;
                break;
            }
        }
        std::size_t start = i_;
        emit(TokenKind::BlockComment, end, Word::None, Op::None, flags);
        countLines(start, end);
    }

    // --- one token --------------------------------------------------------------------------------
    void step() {
        const char16_t c = t_[i_];
        switch (c < 128 ? kTokenStarts[c] : TokenStart::Other) {
            case TokenStart::LineFeed:
                lineEnd(1);
                return;
            case TokenStart::CarriageReturn:
                if (lineEndAt(i_)) {
                    lineEnd(2);
                } else {
                    emit(TokenKind::Blank, skipBlanks(i_));
                }
                return;
            case TokenStart::Blank:
                emit(TokenKind::Blank, skipBlanks(i_));
                return;
            case TokenStart::Percent:
                scanComment();
                return;
            case TokenStart::Dot:
                if (i_ + 2 < n_ && t_[i_ + 1] == u'.' && t_[i_ + 2] == u'.') {
                    emit(TokenKind::Continuation, endOfLine(i_));
                    continued_ = true;
                } else if (i_ + 1 < n_ && isDigit(t_[i_ + 1])) {
                    significant(TokenKind::Number, scanNumber(), Word::None, Op::None);
                } else {
                    scanOperator();
                }
                return;
            case TokenStart::Digit:
                significant(TokenKind::Number, scanNumber(), Word::None, Op::None);
                return;
            case TokenStart::Letter:
                scanWord();
                return;
            case TokenStart::Quote:
                if (transposeAllowed()) {
                    scanOperator();
                } else {
                    scanLiteral(TokenKind::CharArray, u'\'');
                }
                return;
            case TokenStart::DoubleQuote:
                scanLiteral(TokenKind::String, u'"');
                return;
            case TokenStart::Other:
                scanOperator();
                return;
        }
    }

    void lineEnd(std::size_t length) {
        emit(TokenKind::LineEnd, i_ + length);
        ++line_;
        lineStart_ = true;
        onLineEnd();
        if (freshState()) out_.back().flags |= kFreshAfter;
    }

    void scanComment() {
        std::size_t end = endOfLine(i_);
        std::uint8_t flags = 0;
        bool firstOnLine = out_.empty() || out_.back().kind == TokenKind::LineEnd ||
                           (out_.back().kind == TokenKind::Blank &&
                            (out_.size() == 1 || out_[out_.size() - 2].kind == TokenKind::LineEnd));
        if (firstOnLine && i_ + 1 < n_ && t_[i_ + 1] == u'%' && (i_ + 2 == end || blankAt(i_ + 2))) {
            flags = kSectionHeading;
        }
        emit(TokenKind::Comment, end, Word::None, Op::None, flags);
    }

    std::size_t scanNumber() const {
        std::size_t j = i_;
        if (t_[j] == u'0' && j + 2 < n_ && (t_[j + 1] == u'x' || t_[j + 1] == u'X') &&
            isHexDigit(t_[j + 2])) {
            j += 2;
            while (j < n_ && isHexDigit(t_[j]))
                ++j;
        } else if (t_[j] == u'0' && j + 2 < n_ && (t_[j + 1] == u'b' || t_[j + 1] == u'B') &&
                   (t_[j + 2] == u'0' || t_[j + 2] == u'1')) {
            j += 2;
            while (j < n_ && (t_[j] == u'0' || t_[j] == u'1'))
                ++j;
        } else {
            while (j < n_ && isDigit(t_[j]))
                ++j;
            if (j < n_ && t_[j] == u'.') {
                // `1.*x`, `1.'` and `1...` keep the dot for the operator or the continuation.
                char16_t next = j + 1 < n_ ? t_[j + 1] : u'\0';
                bool operatorDot = next == u'*' || next == u'/' || next == u'\\' || next == u'^' ||
                                   next == u'\'' || next == u'.';
                if (!operatorDot) {
                    ++j;
                    while (j < n_ && isDigit(t_[j]))
                        ++j;
                }
            }
            if (j < n_ && (t_[j] == u'e' || t_[j] == u'E')) {
                std::size_t k = j + 1;
                if (k < n_ && (t_[k] == u'+' || t_[k] == u'-')) ++k;
                if (k < n_ && isDigit(t_[k])) {
                    j = k;
                    while (j < n_ && isDigit(t_[j]))
                        ++j;
                }
            }
        }
        if (j < n_ && (t_[j] == u'i' || t_[j] == u'j') && !(j + 1 < n_ && isIdentifierPart(t_[j + 1]))) ++j;
        return j;
    }

    bool transposeAllowed() const {
        if (out_.empty()) return false;
        const ScanToken& prev = out_.back();
        if (prev.offset + prev.length != i_) return false;
        switch (prev.kind) {
            case TokenKind::Identifier:
            case TokenKind::Number:
                return true;
            case TokenKind::Keyword:
                return prev.word == Word::End;
            case TokenKind::Operator:
            case TokenKind::Punctuation:
                return prev.op == Op::RParen || prev.op == Op::RBracket || prev.op == Op::RBrace ||
                       prev.op == Op::Transpose || prev.op == Op::DotTranspose;
            default:
                return false;
        }
    }

    // From just after an opening `quote`: where the quoted text ends, past its closing quote when the line
    // holds one (a doubled quote stands for the quote itself).
    std::size_t quotedEnd(std::size_t j, char16_t quote, bool& closed) const {
        closed = false;
        while (j < n_ && !lineEndAt(j)) {
            if (t_[j] != quote) {
                ++j;
            } else if (j + 1 < n_ && t_[j + 1] == quote) {
                j += 2;
            } else {
                closed = true;
                return j + 1;
            }
        }
        return j;
    }

    void scanLiteral(TokenKind kind, char16_t quote) {
        bool closed = false;
        const std::size_t end = quotedEnd(i_ + 1, quote, closed);
        significant(kind, end, Word::None, Op::None, closed ? 0 : kUnterminated);
    }

    // The operator or punctuation that starts at `k`, Invalid for any other code unit.
    OperatorToken operatorAt(std::size_t k) const {
        const char16_t c = t_[k];
        const char16_t d = k + 1 < n_ ? t_[k + 1] : u'\0';
        if (c == u'.') {
            const Op elementWise = elementWiseOperator(d);
            return elementWise == Op::None ? OperatorToken{TokenKind::Punctuation, Op::Dot, 1}
                                           : OperatorToken{TokenKind::Operator, elementWise, 2};
        }
        const OperatorText o = c < 128 ? kOperatorTexts[c] : OperatorText{};
        if (o.second != 0 && d == o.second) return OperatorToken{o.kind, o.pair, 2};
        return OperatorToken{o.kind, o.single, 1};
    }

    void scanOperator() {
        const OperatorToken o = operatorAt(i_);
        significant(o.kind, i_ + o.length, Word::None, o.op);
    }

    void scanWord() {
        std::size_t j = i_ + 1;
        while (j < n_ && isIdentifierPart(t_[j]))
            ++j;
        std::u16string_view w = t_.substr(i_, j - i_);
        Word reserved = reservedWord(w);
        if (reserved != Word::None) {
            significant(TokenKind::Keyword, j, reserved, Op::None);
            return;
        }
        const bool first = stmtStart_ && brackets_.empty();
        significant(TokenKind::Identifier, j, contextualWord(w), Op::None);
        if (!first) return;
        Word contextual = out_.back().word;
        Word top = blocks_.empty() ? Word::None : blocks_.back();
        // Without an enclosing block in the text, a header line that is indented, or whose next code line
        // is (a function body at the margin), still opens its block: the function or class around it was
        // cut away.
        const bool headerShape = endsHeader(j);
        bool opensBlock = headerShape && contextual != Word::None &&
                          ((contextual == Word::Arguments && top == Word::Function) ||
                           (top == Word::Classdef && contextual != Word::Arguments) ||
                           (top == Word::None && (lineIndent_ > 0 || nextCodeIndent(j) > 0)));
        if (opensBlock) {
            blocks_.push_back(contextual);
            blockIndents_.push_back(lineIndent_);
            return;
        }
        if (isDeclarationBlock(top) || variables_.contains(w)) return;
        if (top == Word::None && !pastCutDeclarations_ && lineIndent_ > 0 && declarationShaped(j) &&
            declarationsUpToCutEnd(j))
            return;
        if (startsCommand(j)) scanCommandWords();
    }

    // `Name Class = default`, `Name Class {validators}` or `Name {validators}` after the name that ends at
    // `j`: a property's or argument's declaration, where `=` or `{` would be a command's word of its own.
    bool declarationShaped(std::size_t j) const {
        std::size_t k = skipBlanks(j);
        if (k < n_ && t_[k] == u'{') return true;
        if (k >= n_ || !isIdentifierStart(t_[k])) return false;
        while (k < n_ &&
               (isIdentifierPart(t_[k]) || (t_[k] == u'.' && k + 1 < n_ && isIdentifierStart(t_[k + 1]))))
            ++k;
        k = skipBlanks(k);
        return k < n_ && (t_[k] == u'{' || (t_[k] == u'=' && (k + 1 >= n_ || t_[k + 1] != u'=')));
    }

    // Whether the lines after `i`'s start with names up to an `end` alone on its line left of this one: in
    // a text where no block is open, the declarations of a properties or arguments block whose header was
    // cut away (a whole file has no opener for that `end` either way). The lines of one such run all reach
    // the same `end`, so it is looked for once per run.
    bool declarationsUpToCutEnd(std::size_t i) {
        if (i >= runStop_) {
            runEndIndent_ = kNoIndent;
            std::size_t ls = nextLineStart(i);
            for (; ls < n_; ls = nextLineStart(ls)) {
                const std::size_t first = skipBlanks(ls);
                if (first >= n_ || lineEndAt(first)) continue;
                if (t_[first] == u'%') {
                    if (blockMarker(ls) != 0) break;
                    continue;
                }
                if (!isIdentifierStart(t_[first])) break;
                std::size_t e = first;
                while (e < n_ && isIdentifierPart(t_[e]))
                    ++e;
                const std::u16string_view word = t_.substr(first, e - first);
                if (reservedWord(word) == Word::End) {
                    const std::size_t after = skipBlanks(e);
                    if (after >= n_ || lineEndAt(after) || t_[after] == u'%' || t_[after] == u';' ||
                        t_[after] == u',')
                        runEndIndent_ = columnsBetween(ls, first);
                    break;
                }
                if (reservedWord(word) != Word::None || contextualWord(word) != Word::None ||
                    holdsReservedWord(e))
                    break;
            }
            runStop_ = ls;
        }
        return runEndIndent_ < lineIndent_;
    }

    // Whether the rest of the line from `i` holds a reserved word other than `end` outside text literals and
    // comments: no declaration does (`y = if x, ...` is a statement), and reading one as such would let the
    // column of a later `end` decide it.
    bool holdsReservedWord(std::size_t i) const {
        char16_t before = u' ';
        while (i < n_ && !lineEndAt(i) && t_[i] != u'%') {
            const char16_t c = t_[i];
            if (c == u'"' || (c == u'\'' && !isIdentifierPart(before) && before != u')' && before != u']' &&
                              before != u'}' && before != u'\'' && before != u'.')) {
                ++i;
                while (i < n_ && !lineEndAt(i) && t_[i] != c)
                    ++i;
                before = c;
                ++i;
                continue;
            }
            if (isIdentifierStart(c) && !isIdentifierPart(before)) {
                std::size_t e = i;
                while (e < n_ && isIdentifierPart(t_[e]))
                    ++e;
                const Word w = before == u'.' ? Word::None : reservedWord(t_.substr(i, e - i));
                if (w != Word::None && w != Word::End) return true;  // `end` may index a default
                before = t_[e - 1];
                i = e;
                continue;
            }
            before = c;
            ++i;
        }
        return false;
    }

    std::uint32_t columnsBetween(std::size_t from, std::size_t to) const {
        std::uint32_t indent = 0;
        for (std::size_t k = from; k < to; ++k)
            indent = t_[k] == u'\t' ? (indent / 4 + 1) * 4 : indent + 1;
        return indent;
    }

    // The indentation of the next line after `i`'s that holds code; 0 when there is none.
    std::uint32_t nextCodeIndent(std::size_t i) const {
        for (std::size_t ls = nextLineStart(i); ls < n_; ls = nextLineStart(ls)) {
            const std::size_t first = skipBlanks(ls);
            if (first >= n_ || lineEndAt(first) || t_[first] == u'%') continue;
            std::uint32_t indent = 0;
            for (std::size_t k = ls; k < first; ++k)
                indent = t_[k] == u'\t' ? (indent / 4 + 1) * 4 : indent + 1;
            return indent;
        }
        return 0;
    }

    // After a block word: the line ends, or attributes follow in parentheses.
    bool endsHeader(std::size_t j) const {
        std::size_t k = skipBlanks(j);
        return k >= n_ || lineEndAt(k) || t_[k] == u'%' || t_[k] == u'(' || t_[k] == u',' || t_[k] == u';';
    }

    // The command form: a name, a blank, and then something that cannot continue an expression.
    bool startsCommand(std::size_t j) const {
        if (!blankAt(j)) return false;
        std::size_t k = skipBlanks(j);
        if (k >= n_ || lineEndAt(k)) return false;
        const char16_t c = t_[k];
        if (c == u'%' || c == u',' || c == u';' || c == u'=' || c == u'(') return false;
        if (c == u'.' && k + 2 < n_ && t_[k + 1] == u'.' && t_[k + 2] == u'.') return false;
        const OperatorToken o = operatorAt(k);
        if (!isBinaryOperator(o.op)) return true;
        const std::size_t after = k + o.length;
        return !(after >= n_ || blankAt(after) || lineEndAt(after));
    }

    void scanCommandWords() {
        for (;;) {
            scanCommandWordsOfLine();
            if (!commandGoesOnAfter(i_)) return;
            emit(TokenKind::LineEnd, i_ + (t_[i_] == u'\r' ? 2 : 1));
            ++line_;
            if (blankAt(i_)) emit(TokenKind::Blank, skipBlanks(i_));
        }
    }

    // A line that starts with an operator no expression begins with goes on with the words of the command
    // before it: `import pkg` / `.*` is a command cut in two at the cursor.
    bool commandGoesOnAfter(std::size_t i) const {
        if (!lineEndAt(i)) return false;
        const std::size_t k = skipBlanks(nextLineStart(i));
        return k < n_ && !lineEndAt(k) && cannotBeginExpression(operatorAt(k).op);
    }

    void scanCommandWordsOfLine() {
        while (i_ < n_ && !lineEndAt(i_)) {
            const char16_t c = t_[i_];
            if (c == u',' || c == u';' || c == u'%') return;
            if (blankAt(i_)) {
                emit(TokenKind::Blank, skipBlanks(i_));
                continue;
            }
            std::size_t j = i_;
            std::uint8_t flags = 0;
            while (j < n_ && !lineEndAt(j) && !blankAt(j) && t_[j] != u',' && t_[j] != u';' &&
                   t_[j] != u'%') {
                if (t_[j] != u'\'') {
                    ++j;
                    continue;
                }
                // A quoted part may hold blanks, commas and percent signs.
                bool closed = false;
                j = quotedEnd(j + 1, u'\'', closed);
                flags = closed ? 0 : kUnterminated;
            }
            emit(TokenKind::CommandWord, j, Word::None, Op::None, flags);
        }
    }

    // --- statement bookkeeping: just enough scope to tell commands from expressions ----------------
    [[gnu::always_inline]] void significant(TokenKind kind, std::size_t end, Word word, Op op,
                                            std::uint8_t flags = 0) {
        const bool first = stmtStart_;
        const bool topLevel = brackets_.empty();
        emit(kind, end, word, op, flags);
        const std::size_t index = out_.size() - 1;
        lastOnLine_ = index;
        if (first) {
            stmtStart_ = false;
            stmtFirst_ = index;
            if (kind == TokenKind::Keyword) pastCutDeclarations_ = true;
        }
        switch (op) {
            case Op::LParen:
            case Op::LBracket:
            case Op::LBrace:
                if (brackets_.size() < 100000) brackets_.push_back(op);
                break;
            case Op::RParen:
            case Op::RBracket:
            case Op::RBrace:
                if (!brackets_.empty()) brackets_.pop_back();
                break;
            case Op::Comma:
            case Op::Semicolon:
                if (topLevel) {
                    endStatement();
                    stmtStart_ = true;
                }
                break;
            case Op::Assign:
                if (topLevel) noteAssignment(index);
                break;
            default:
                break;
        }
        if (kind == TokenKind::Keyword) onKeyword(word, first && topLevel);
        if (kind == TokenKind::Identifier) onIdentifier(index);
    }

    void onKeyword(Word w, bool statementStart) {
        if (!statementStart) return;
        if (w == Word::End) {
            if (!blocks_.empty()) {
                blocks_.pop_back();
                blockIndents_.pop_back();
            }
            return;
        }
        if (w == Word::Else || w == Word::Try || w == Word::Otherwise) stmtStart_ = true;
        if (w == Word::For || w == Word::Parfor) mode_ = Mode::LoopVariable;
        if (w == Word::Global || w == Word::Persistent) mode_ = Mode::Declaration;
        if (w == Word::Catch) mode_ = Mode::CatchVariable;
        if (w == Word::Function) {
            // A function at or left of an open function's header is its sibling (functions without end).
            while (!blocks_.empty() && blocks_.back() == Word::Function &&
                   blockIndents_.back() >= lineIndent_) {
                blocks_.pop_back();
                blockIndents_.pop_back();
            }
            variables_.clear();
            mode_ = Mode::FunctionHeader;
            headerStart_ = out_.size();
        }
        if (opensBlock(w) && blocks_.size() < 100000) {
            blocks_.push_back(w);
            blockIndents_.push_back(lineIndent_);
        }
    }

    void onIdentifier(std::size_t index) {
        switch (mode_) {
            case Mode::LoopVariable:
            case Mode::CatchVariable:
                variables_.insert(text(index));
                mode_ = Mode::None;
                break;
            case Mode::Declaration:
                variables_.insert(text(index));
                break;
            default:
                break;
        }
    }

    void noteAssignment(std::size_t assignIndex) {
        if (stmtFirst_ >= assignIndex) return;
        if (mode_ == Mode::FunctionHeader) {
            headerAssign_ = assignIndex;
            return;
        }
        const ScanToken& first = out_[stmtFirst_];
        if (first.kind == TokenKind::Identifier) {
            variables_.insert(text(stmtFirst_));
        } else if (first.op == Op::LBracket) {
            for (std::size_t k = stmtFirst_ + 1; k < assignIndex; ++k) {
                if (out_[k].kind == TokenKind::Identifier) variables_.insert(text(k));
            }
        }
    }

    void onLineEnd() {
        bool implicit = false;
        if (lastOnLine_ != kNone) {
            const ScanToken& last = out_[lastOnLine_];
            implicit = (last.kind == TokenKind::Operator && continuesLine(last.op)) ||
                       (last.kind == TokenKind::Keyword && expectsExpression(last.word) &&
                        lastOnLine_ == stmtFirst_);
        }
        if (brackets_.empty() && !continued_ && !implicit) {
            endStatement();
            stmtStart_ = true;
        }
        continued_ = false;
        lastOnLine_ = kNone;
    }

    // A scan started at the next line would read the rest of the text exactly as this one goes on to.
    bool freshState() const {
        return stmtStart_ && mode_ == Mode::None && brackets_.empty() && blocks_.empty() &&
               variables_.empty();
    }

    void endStatement() {
        if (mode_ == Mode::FunctionHeader) noteFunctionHeader();
        mode_ = Mode::None;
        headerAssign_ = kNone;
    }

    // Outputs and inputs of a function line are the variables of its body.
    void noteFunctionHeader() {
        const std::size_t nameFrom = headerAssign_ == kNone ? headerStart_ : headerAssign_ + 1;
        bool nameSeen = false;
        for (std::size_t k = headerStart_; k < out_.size(); ++k) {
            if (out_[k].kind != TokenKind::Identifier) continue;
            const bool afterDot = k > 0 && out_[k - 1].op == Op::Dot;
            if (k >= nameFrom && (!nameSeen || afterDot)) {
                nameSeen = true;
                continue;
            }
            variables_.insert(text(k));
        }
    }

    std::u16string_view text(std::size_t index) const {
        return t_.substr(out_[index].offset, out_[index].length);
    }

    enum class Mode { None, LoopVariable, Declaration, CatchVariable, FunctionHeader };
    static constexpr std::size_t kNone = static_cast<std::size_t>(-1);

    std::u16string_view t_;
    std::size_t n_;
    std::vector<ScanToken>& out_;
    std::size_t i_;
    std::uint32_t line_;
    std::uint32_t lineIndent_ = 0;
    bool lineStart_ = true;
    bool stmtStart_ = true;
    bool continued_ = false;
    std::size_t stmtFirst_ = 0;
    std::size_t lastOnLine_ = kNone;
    std::vector<Op> brackets_;
    std::vector<Word> blocks_;
    std::vector<std::uint32_t> blockIndents_;
    NameSet variables_;
    Mode mode_ = Mode::None;
    std::size_t headerStart_ = 0;
    std::size_t headerAssign_ = kNone;
    bool cutEdgeChecked_ = false;
    bool cutEdgeFound_ = false;
    static constexpr std::uint32_t kNoIndent = static_cast<std::uint32_t>(-1);
    // A block whose header was cut away holds no block line, so its declarations come before any keyword
    // of the text: reading a later line as one by its indentation would let formatting, which moves it,
    // change what it is.
    bool pastCutDeclarations_ = false;
    std::size_t runStop_ = 0;  // where the last look for a cut-away block's `end` stopped
    std::uint32_t runEndIndent_ = kNoIndent;
};

}  // namespace

void scan(std::u16string_view text, std::vector<ScanToken>& out, std::size_t start, std::uint32_t line) {
    // Code runs at about one token for every three code units, denser code at up to one for two.
    out.reserve(out.size() + (text.size() - start) / 2 + 16);
    const std::size_t before = out.size();
    // Texts rarely begin inside a block comment; the whole-text search for that runs only when the scan
    // meets a %} line it cannot match.
    if (Scanner(text, out, start, line).run(false)) return;
    out.resize(before);
    Scanner(text, out, start, line).run(true);
}

}  // namespace ca::lexer
