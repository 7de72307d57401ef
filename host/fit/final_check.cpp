#include "fit/final_check.hpp"

#include <algorithm>
#include <map>
#include <optional>
#include <set>
#include <utility>
#include <vector>

#include "ca/lexer/token.hpp"
#include "ca/messages/single_file_messages.hpp"
#include "ca/single_file_analyzer.hpp"
#include "fit/text_lines.hpp"
#include "fl/i18n.hpp"

namespace fit {
namespace {

using lf::astapi::NodeKind;

// The window reaches the enclosing functions' starts and ends, but no further than this.
constexpr std::size_t kMostWindowLines = 200;
constexpr std::size_t kMostWindowUnits = 8000;
// A window whose edge may hold a new error is read again from the top of the file up to this length.
constexpr std::size_t kMostTopReach = 16000;
// What a window cannot tell (whether the errors an edit mends are the file's, how far a function the
// edit leaves without `end` reaches) is read from the whole file up to this length, and refused beyond.
constexpr std::size_t kMostWholeReach = 64000;

bool startsWithWord(std::u16string_view code, std::u16string_view word) {
    return code.starts_with(word) && (code.size() == word.size() || !text::isWordChar(code[word.size()]));
}

std::u16string_view lineAt(const fl::ustring& file, std::size_t start) {
    return std::u16string_view(file).substr(start, text::lineEnd(file, start) - start);
}

bool opensUnit(std::u16string_view line) {
    return startsWithWord(line, u"function") || startsWithWord(line, u"classdef");
}

// Code at the margin that closes nothing: where a window may start or end when no function line is near.
bool isMarginStatement(std::u16string_view line) {
    if (line.empty() || !text::isWordChar(line.front())) return false;
    for (std::u16string_view closer : {u"end", u"else", u"elseif", u"case", u"catch", u"otherwise"})
        if (startsWithWord(line, closer)) return false;
    return true;
}

// Function and class lines the window reaches on each side of the edit: the neighbours are there so
// that rules across functions (all closed by `end` or none, no two of one name) are seen.
constexpr int kUnitsEachSide = 2;

// Offset of the line where the window starts: the second function or class line above `from`, else the
// farthest statement at the margin within reach, else the limit.
std::size_t windowStart(const fl::ustring& file, std::size_t from) {
    std::size_t start = text::lineStart(file, from);
    std::size_t margin = fl::ustring::npos;
    int units = 0;
    for (std::size_t seen = 0; start > 0 && seen < kMostWindowLines && from - start < kMostWindowUnits;
         ++seen) {
        start = text::lineStart(file, start - 1);
        const std::u16string_view line = lineAt(file, start);
        if (opensUnit(line) && ++units == kUnitsEachSide) return start;
        if (opensUnit(line) || isMarginStatement(line)) margin = start;
    }
    if (start == 0) return 0;
    return margin != fl::ustring::npos ? margin : start;
}

// Offset just past the window: the start of the second function or class line below `from`, so that
// the window ends with whole functions and a whole-file reading of it sees what the edit leaves open,
// else the start of the farthest statement at the margin within reach (after it, a block it opens would
// read as left open, and the reading reports that error instead of the edit's), else the limit.
std::size_t windowEnd(const fl::ustring& file, std::size_t from) {
    std::size_t start = text::nextLineStart(file, from);
    std::size_t margin = fl::ustring::npos;
    int units = 0;
    for (std::size_t seen = 0;
         start < file.size() && seen < kMostWindowLines && start - from < kMostWindowUnits; ++seen) {
        const std::u16string_view line = lineAt(file, start);
        const std::size_t next = text::nextLineStart(file, start);
        if (opensUnit(line) && ++units == kUnitsEachSide) return start;
        if (opensUnit(line) || isMarginStatement(line)) margin = start;
        start = next;
    }
    if (start >= file.size()) return file.size();
    return margin != fl::ustring::npos ? margin : start;
}

// Whether a function or class line stands at the margin of `code` outside its lines [first, last].
bool unitLineOutside(const fl::ustring& code, std::uint32_t first, std::uint32_t last) {
    std::uint32_t line = 1;
    for (std::size_t at = 0; at < code.size(); at = text::nextLineStart(code, at), ++line)
        if ((line < first || line > last) && opensUnit(lineAt(code, at))) return true;
    return false;
}

// Brackets left open at the end of a text.
int openBrackets(const fl::ustring& code) {
    int depth = 0;
    for (const ca::lexer::Token& token : ca::lexer::lex(code)) {
        if (token.kind != ca::lexer::TokenKind::Punctuation || token.text.size() != 1) continue;
        const char16_t c = token.text[0];
        depth += (c == u'(' || c == u'[' || c == u'{') ? 1 : (c == u')' || c == u']' || c == u'}') ? -1 : 0;
    }
    return depth;
}

bool needsEnd(NodeKind kind) {
    switch (kind) {
        case NodeKind::If:
        case NodeKind::For:
        case NodeKind::While:
        case NodeKind::Switch:
        case NodeKind::Try:
        case NodeKind::Parfor:
        case NodeKind::Spmd:
        case NodeKind::ClassDef:
        case NodeKind::Properties:
        case NodeKind::Methods:
        case NodeKind::Events:
        case NodeKind::Enumeration:
        case NodeKind::Arguments:
            return true;
        default:
            return false;
    }
}

bool isCompound(NodeKind kind) {
    return needsEnd(kind) || kind == NodeKind::Function || kind == NodeKind::MethodDefinition;
}

struct Block {
    NodeKind kind;
    std::uint32_t opener;
    std::uint32_t closer;
    std::size_t closing;  // offset of the block's last code unit
    bool needsEnd;
    bool closedByEnd;
    bool isFunction;
};

// True when the `end` at the node's closing position is its own: not the `end` of the last construct
// it holds (a function without `end` whose body ends with a loop closes where the loop does).
bool endIsItsOwn(lf::astapi::Node<ca::astapi::CA> node) {
    const std::size_t closing = node.getClosingPosition();
    while (node.getChildCount() > 0) {
        node = node.getChild(node.getChildCount() - 1);
        if (node.getClosingPosition() != closing) return true;
        if (isCompound(node.getKind())) return false;
    }
    return true;
}

// Every compound construct of the analysis, outer ones before the ones they hold, walked with an
// explicit stack.
std::vector<Block> blocksOf(const ca::Analysis& analysis) {
    const fl::ustring& code = analysis.getText();
    std::vector<Block> blocks;
    std::vector<lf::astapi::Node<ca::astapi::CA>> pending{analysis.getRootNode()};
    while (!pending.empty()) {
        const auto node = pending.back();
        pending.pop_back();
        if (isCompound(node.getKind())) {
            const std::size_t closing = node.getClosingPosition();
            const bool byEnd = closing >= 2 && closing < code.size() &&
                               std::u16string_view(code).substr(closing - 2, 3) == u"end" &&
                               (closing < 3 || !text::isWordChar(code[closing - 3])) && endIsItsOwn(node);
            blocks.push_back({node.getKind(), node.getLine(), analysis.getLineOfPosition(closing), closing,
                              needsEnd(node.getKind()), byEnd, node.getKind() == NodeKind::Function});
        }
        for (std::size_t i = node.getChildCount(); i > 0; --i)
            pending.push_back(node.getChild(i - 1));
    }
    return blocks;
}

// How far the functions' forms are mixed: the fewer of those closed by `end` and those without it.
std::size_t mixedFunctionForms(const std::vector<Block>& blocks) {
    std::size_t closed = 0, open = 0;
    for (const Block& block : blocks)
        if (block.isFunction) (block.closedByEnd ? closed : open) += 1;
    return std::min(closed, open);
}

bool opensClassBlock(NodeKind kind) {
    return kind == NodeKind::Properties || kind == NodeKind::Methods || kind == NodeKind::Events ||
           kind == NodeKind::Enumeration;
}

bool isFunctionLike(NodeKind kind) {
    return kind == NodeKind::Function || kind == NodeKind::MethodDefinition;
}

// How deep functions and methods nest in the reading: 1 when none holds another.
std::size_t functionDepth(const std::vector<Block>& blocks) {
    std::size_t deepest = 0;
    for (const Block& inner : blocks) {
        if (!isFunctionLike(inner.kind)) continue;
        const auto holds = [&](const Block& outer) {
            return isFunctionLike(outer.kind) && outer.opener < inner.opener &&
                   outer.closing >= inner.closing;
        };
        deepest = std::max(deepest,
                           1 + static_cast<std::size_t>(std::count_if(blocks.begin(), blocks.end(), holds)));
    }
    return deepest;
}

// Lines inside a class and outside its functions that start with a class block's word and open no
// block: the analyser reads `methods (Static)` inside a `methods` block left open as a statement.
std::set<std::uint32_t> strayClassBlockLines(const fl::ustring& code, const std::vector<Block>& blocks) {
    std::set<std::uint32_t> stray;
    std::uint32_t line = 1;
    for (std::size_t at = 0; at < code.size(); at = text::nextLineStart(code, at), ++line) {
        const std::u16string_view word = text::trimLeft(lineAt(code, at));
        if (!startsWithWord(word, u"methods") && !startsWithWord(word, u"properties") &&
            !startsWithWord(word, u"events") && !startsWithWord(word, u"enumeration"))
            continue;
        bool inClass = false, inFunction = false, opens = false;
        for (const Block& block : blocks) {
            opens = opens || (block.opener == line && opensClassBlock(block.kind));
            if (block.opener >= line || block.closer < line) continue;
            inClass = inClass || block.kind == NodeKind::ClassDef;
            inFunction = inFunction || isFunctionLike(block.kind);
        }
        if (inClass && !inFunction && !opens) stray.insert(line);
    }
    return stray;
}

// Names of the commands (`hold on`) a reading holds on its lines [first, last] outside functions: in a
// script, whether a name reads as a command depends on what the script assigns above.
std::vector<std::u16string_view> scriptCommandsOn(const ca::Analysis& analysis, std::uint32_t first,
                                                  std::uint32_t last) {
    const std::u16string_view code = analysis.getText();
    std::vector<std::u16string_view> names;
    std::vector<lf::astapi::Node<ca::astapi::CA>> pending{analysis.getRootNode()};
    while (!pending.empty()) {
        const auto node = pending.back();
        pending.pop_back();
        if (isFunctionLike(node.getKind()) || node.getKind() == NodeKind::ClassDef) continue;
        if (node.getKind() == NodeKind::Command && node.getLine() >= first && node.getLine() <= last) {
            const std::size_t from = std::min(node.getStartPosition(), code.size());
            std::size_t to = from;
            while (to < code.size() && text::isWordChar(code[to]))
                ++to;
            names.push_back(code.substr(from, to - from));
        }
        for (std::size_t i = 0; i < node.getChildCount(); ++i)
            pending.push_back(node.getChild(i));
    }
    return names;
}

// Whether `code` may assign `name`: `name =`, `name(i) = ...`, `[a, name] = ...`, `global name`. A
// reading of the text alone, erring towards yes.
bool mayAssign(std::u16string_view code, std::u16string_view name) {
    const auto loneEquals = [](std::u16string_view rest) {
        for (std::size_t i = 0; i < rest.size(); ++i)
            if (rest[i] == u'=' && (i + 1 == rest.size() || rest[i + 1] != u'=') &&
                (i == 0 || std::u16string_view(u"=~<>").find(rest[i - 1]) == std::u16string_view::npos))
                return true;
        return false;
    };
    for (std::size_t at = code.find(name); at != std::u16string_view::npos; at = code.find(name, at + 1)) {
        const std::size_t after = at + name.size();
        if ((at > 0 && text::isWordChar(code[at - 1])) ||
            (after < code.size() && text::isWordChar(code[after])))
            continue;
        const std::size_t lineStart =
            code.rfind(u'\n', at) == std::u16string_view::npos ? 0 : code.rfind(u'\n', at) + 1;
        const std::size_t lineEnd = std::min(code.find(u'\n', after), code.size());
        const std::u16string_view before = text::trimLeft(code.substr(lineStart, at - lineStart));
        if (startsWithWord(before, u"global") || startsWithWord(before, u"persistent")) return true;
        if (loneEquals(code.substr(after, lineEnd - after))) return true;
    }
    return false;
}

// The lines of a text by their 1-based numbers.
class NumberedLines {
  public:
    explicit NumberedLines(const fl::ustring& code) : code_(code) {
        for (std::size_t at = text::nextLineStart(code, 0); at < code.size();
             at = text::nextLineStart(code, at))
            starts_.push_back(at);
    }
    std::u16string_view line(std::uint32_t number) const {
        return number == 0 || number > starts_.size() ? std::u16string_view()
                                                      : lineAt(code_, starts_[number - 1]);
    }
    std::u16string_view indentation(std::uint32_t number) const { return text::indentationOf(line(number)); }

  private:
    const fl::ustring& code_;
    std::vector<std::size_t> starts_{0};
};

// Closing `end`s in [from, to) whose indentation differs from their block's first line's: of two
// readings without errors, the one whose closing lines stand at their blocks' columns is the file's.
std::size_t misalignedClosers(const fl::ustring& code, const std::vector<Block>& blocks, std::size_t from,
                              std::size_t to) {
    const NumberedLines lines(code);
    return static_cast<std::size_t>(std::count_if(blocks.begin(), blocks.end(), [&](const Block& block) {
        return block.closedByEnd && block.closing >= from && block.closing < to &&
               lines.indentation(block.opener) != lines.indentation(block.closer);
    }));
}

// True when the block's first line of body, if it has one, stands right of its opening line.
bool bodyIndented(const NumberedLines& lines, const Block& block) {
    std::uint32_t next = block.opener + 1;
    while (next < block.closer && text::isBlankText(lines.line(next)))
        ++next;
    return next >= block.closer || lines.indentation(next).size() > lines.indentation(block.opener).size();
}

// True when every line of the block's body stands right of its opening line, its clause lines aside: a
// block the completion opens above closing lines of the file holds them only when it is laid out as one.
bool laidOutAsBlock(const NumberedLines& lines, const Block& block) {
    const std::size_t column = lines.indentation(block.opener).size();
    for (std::uint32_t line = block.opener + 1; line < block.closer; ++line) {
        const std::u16string_view code = text::trimLeft(lines.line(line));
        if (code.empty() || code.front() == u'%' || lines.indentation(line).size() > column) continue;
        if (!startsWithWord(code, u"else") && !startsWithWord(code, u"elseif") &&
            !startsWithWord(code, u"case") && !startsWithWord(code, u"otherwise") &&
            !startsWithWord(code, u"catch"))
            return false;
    }
    return true;
}

// True when the block's opening line stands at the column of the statement above it in the same body,
// or follows a line that opens or closes a block or clause (where the column may change).
bool inLineWithStatementAbove(const NumberedLines& lines, const std::vector<Block>& blocks,
                              const Block& block) {
    std::uint32_t above = block.opener;
    std::u16string_view code;
    while (above > 1 && (code.empty() || code.front() == u'%'))
        code = text::trimLeft(lines.line(--above));
    if (code.empty() || code.front() == u'%') return true;
    for (std::u16string_view word : {u"end", u"else", u"elseif", u"case", u"otherwise", u"catch"})
        if (startsWithWord(code, word)) return true;
    if (std::any_of(blocks.begin(), blocks.end(),
                    [&](const Block& other) { return other.opener == above || other.closer == above; }))
        return true;
    return lines.indentation(above) == lines.indentation(block.opener);
}

// The function closed by `end` around the edit, when the edited text reads with no function closed by
// `end`. A file whose functions have no `end` and whose last one ends with a block reads, with the
// block's opening line cut away, as one function closed by the block's `end`; the edit that writes the
// opening line back gives that `end` to the block again, and each closing line between to the block
// around the one it closed.
std::optional<Block> functionLosingItsEnd(const std::vector<Block>& oldBlocks,
                                          const std::vector<Block>& newBlocks, std::uint32_t firstEdited,
                                          std::size_t oldEditEnd) {
    if (std::any_of(newBlocks.begin(), newBlocks.end(),
                    [](const Block& block) { return block.isFunction && block.closedByEnd; }))
        return std::nullopt;
    for (const Block& block : oldBlocks)
        if (block.isFunction && block.closedByEnd && block.opener < firstEdited &&
            block.closing >= oldEditEnd)
            return block;
    return std::nullopt;
}

// Lines of the window after the edit compared with those before it: the same line, or 0 for a line
// inside the edit.
struct LineMap {
    std::uint32_t firstEdited = 0;
    std::uint32_t lastBefore = 0;
    std::uint32_t lastAfter = 0;
    std::uint32_t before(std::uint32_t line) const {
        return line < firstEdited ? line : line > lastBefore ? line : 0;
    }
    std::uint32_t after(std::uint32_t line) const {
        return line < firstEdited ? line : line > lastAfter ? line - lastAfter + lastBefore : 0;
    }
};

// The line an error is matched at: none for the errors a text reports once, at the first function
// that shows them (mixed function forms, nested functions without `end`), which an edit that adds a
// function above moves.
std::uint32_t onceOrAt(const ca::messages::Message& message, std::uint32_t line) {
    const std::string& kind = message.getIdentifier();
    return kind == "MixedFunctionForms" || kind == "NestedFunctionNotClosed" ? 0 : line;
}

std::string describe(const ca::messages::Message& message, const std::string& line) {
    return fl::i18n::to_string(message.getText()) + " (line " + line + ")";
}

CheckResult checkWindow(const fl::ustring& file, const Edit& edit, std::size_t start, std::size_t end,
                        FileReadings& readings) {
    CheckResult result;
    result.atEndOfFile = text::isBlankText(std::u16string_view(file).substr(edit.end));
    const fl::ustring before = file.substr(start, end - start);
    fl::ustring after = file.substr(start, edit.start - start);
    after.append(edit.text).append(std::u16string_view(file).substr(edit.end, end - edit.end));

    LineMap lines;
    lines.firstEdited = static_cast<std::uint32_t>(text::lineNumberAt(before, edit.start - start));
    lines.lastBefore =
        lines.firstEdited + static_cast<std::uint32_t>(text::countLineFeeds(
                                std::u16string_view(file).substr(edit.start, edit.end - edit.start)));
    lines.lastAfter = lines.firstEdited + static_cast<std::uint32_t>(text::countLineFeeds(edit.text));
    // Lines of the file above the window, counted only to word a finding.
    const auto fileLine = [&](std::uint32_t windowLine) {
        return std::to_string(text::lineNumberAt(file, start) - 1 + windowLine);
    };

    const auto oldAnalysis = readings.window(file, start, end);
    const auto newAnalysis = ca::analyzeWholeFile(after);
    const ca::messages::MessageOptions errorsOfWholeFile{true, false, true};

    std::multiset<std::pair<std::string, std::uint32_t>> known;
    std::set<std::uint32_t> linesWithErrors;  // of the window as it was
    for (const auto& message : ca::messages::messagesOf(*oldAnalysis, errorsOfWholeFile)) {
        known.insert({message.getIdentifier(), onceOrAt(message, lines.before(message.getPosition().line))});
        linesWithErrors.insert(message.getPosition().line);
    }
    result.errorsBefore = known.size();
    std::string newErrorKind;
    for (const auto& message : ca::messages::messagesOf(*newAnalysis, errorsOfWholeFile)) {
        ++result.errorsAfter;
        const auto at =
            known.find({message.getIdentifier(), onceOrAt(message, lines.after(message.getPosition().line))});
        if (at != known.end()) {
            known.erase(at);
            continue;
        }
        if (result.finding.empty()) {
            result.finding = "a new error: " + describe(message, fileLine(message.getPosition().line));
            newErrorKind = message.getIdentifier();
        }
    }

    // Blocks closed below the edit: each closing line must still close the block it closed, that is be
    // the closing of no block nested deeper than that one.
    const std::size_t editEnd = edit.start - start + edit.text.size();
    const std::ptrdiff_t shift =
        static_cast<std::ptrdiff_t>(edit.text.size()) - static_cast<std::ptrdiff_t>(edit.end - edit.start);
    std::map<std::size_t, std::uint32_t> innermostOpener;  // by closing offset in the old window
    std::map<std::size_t, std::uint32_t> innermostByNewClosing;
    std::map<std::uint32_t, const Block*> newBlockOpenedAt;  // blocks opened outside the edit
    const std::vector<Block> oldBlocks = blocksOf(*oldAnalysis);
    const std::vector<Block> newBlocks = blocksOf(*newAnalysis);
    for (const Block& block : newBlocks) {
        if (block.closing >= editEnd)
            innermostOpener[static_cast<std::size_t>(static_cast<std::ptrdiff_t>(block.closing) - shift)] =
                lines.after(block.opener);
        innermostByNewClosing[block.closing] = block.opener;
        if (lines.after(block.opener) != 0) newBlockOpenedAt[lines.after(block.opener)] = &block;
        const bool openedByEdit = block.opener >= lines.firstEdited && block.opener <= lines.lastAfter;
        if (openedByEdit && block.needsEnd && !block.closedByEnd) ++result.unclosedBlocks;
    }
    // A function the edit leaves without `end`, in a window that shows no other function: the file's
    // functions outside it decide whether that mixes the two forms, or nests theirs in it.
    const bool whole = start == 0 && end == file.size();
    const bool wholeWithinReach = !whole && file.size() <= kMostWholeReach;
    const bool opensFunctionWithoutEnd =
        std::any_of(newBlocks.begin(), newBlocks.end(), [&](const Block& block) {
            return block.isFunction && !block.closedByEnd && block.opener >= lines.firstEdited &&
                   block.opener <= lines.lastAfter;
        });
    if (!whole && opensFunctionWithoutEnd && !unitLineOutside(after, lines.firstEdited, lines.lastAfter)) {
        if (wholeWithinReach) return checkWindow(file, edit, 0, file.size(), readings);
        if (result.finding.empty())
            result.finding =
                "the completion adds a function without `end` where the functions around it "
                "are too far to tell the file's form";
    }
    // A line of the edit that reads as a command in a script may read otherwise in the file: the name
    // may be a variable the script assigns above the window.
    if (start > 0) {
        const auto commands = scriptCommandsOn(*newAnalysis, lines.firstEdited, lines.lastAfter);
        const std::u16string_view above = std::u16string_view(file).substr(0, start);
        if (std::any_of(commands.begin(), commands.end(),
                        [&](std::u16string_view name) { return !name.empty() && mayAssign(above, name); })) {
            if (wholeWithinReach) return checkWindow(file, edit, 0, file.size(), readings);
            if (result.finding.empty())
                result.finding =
                    "a line of the completion reads as a command whose name the script may "
                    "assign above";
        }
    }
    // The functions of a file are all closed by `end` or none is: an edit must not mix the two forms
    // where they were not mixed (it may mend a function the file left without its `end`).
    if (mixedFunctionForms(newBlocks) > mixedFunctionForms(oldBlocks) && result.finding.empty())
        result.finding = "the completion would mix functions closed by `end` with functions without it";
    const bool inClass = std::any_of(newBlocks.begin(), newBlocks.end(),
                                     [](const Block& block) { return block.kind == NodeKind::ClassDef; });
    if (result.finding.empty() && inClass) {
        std::set<std::uint32_t> strayBefore;
        for (const std::uint32_t line : strayClassBlockLines(before, oldBlocks))
            strayBefore.insert(lines.before(line));
        for (const std::uint32_t line : strayClassBlockLines(after, newBlocks))
            if (!strayBefore.count(lines.after(line))) {
                result.finding = "line " + fileLine(line) +
                                 " would start a class block inside another one, which it leaves open";
                break;
            }
    }
    // A file the user is still writing has lines that close the wrong blocks (an `end` whose block is
    // not written yet closes the one around it): an edit after which the window reads without any error
    // mends it, and its closing lines may go back to their own blocks.
    bool mendsEveryError = !linesWithErrors.empty() && result.errorsAfter == 0;
    // Unless the errors are the window's own: a closing line whose block opens above the window. Read
    // from the start of the file, they are not there. Nor are those of a function with nested functions
    // at the margin, which a window may cut, read whole.
    const bool mayCutAFunction = !whole && functionDepth(oldBlocks) > 1;
    if (mendsEveryError && mayCutAFunction) {
        if (wholeWithinReach) return checkWindow(file, edit, 0, file.size(), readings);
        mendsEveryError = false;
    }
    if (mendsEveryError && start > 0) {
        if (end <= kMostTopReach) return checkWindow(file, edit, 0, end, readings);
        // Out of reach, the closing lines below are held to their blocks.
        mendsEveryError = false;
    }
    // A new error may be the window's edge: an `end` without its block that the edit frees from a block
    // it closed by mistake closes a function that opens above the window; a nested function the edit
    // adds is reported when the window ends before the `end` of the function around it. Read again from
    // the top of the file when that is within reach.
    if ((newErrorKind == "EndWithoutBlock" || newErrorKind == "NestedFunctionNotClosed" ||
         newErrorKind == "MixedFunctionForms") &&
        start > 0 && end <= kMostTopReach)
        return checkWindow(file, edit, 0, end, readings);
    // Only where the closing lines below stand at their blocks' columns at least as often as they did,
    // and the blocks the edit opens around them are laid out as blocks, in line with the code above them.
    const std::optional<Block> losesItsEnd = [&]() -> std::optional<Block> {
        const auto function = functionLosingItsEnd(oldBlocks, newBlocks, lines.firstEdited, edit.end - start);
        if (!function || misalignedClosers(after, newBlocks, editEnd, after.size()) >
                             misalignedClosers(before, oldBlocks, edit.end - start, before.size()))
            return std::nullopt;
        // An `end` under the `function` line of a function whose body, as edited, stands right of it is the
        // function's.
        const NumberedLines beforeLines(before);
        const NumberedLines afterLines(after);
        Block edited = *function;
        edited.closer = function->closer - lines.lastBefore + lines.lastAfter;
        if (beforeLines.indentation(function->closer) == beforeLines.indentation(function->opener) &&
            bodyIndented(afterLines, edited))
            return std::nullopt;
        for (const Block& block : newBlocks)
            if (block.needsEnd && block.opener >= lines.firstEdited && block.opener <= lines.lastAfter &&
                block.closing >= editEnd &&
                (!laidOutAsBlock(afterLines, block) ||
                 !inLineWithStatementAbove(afterLines, newBlocks, block)))
                return std::nullopt;
        return function;
    }();
    for (const Block& block : oldBlocks) {
        if (mendsEveryError) break;
        if (losesItsEnd && block.opener >= losesItsEnd->opener && block.closing <= losesItsEnd->closing)
            continue;
        if (block.closing < edit.end - start || !block.closedByEnd || !result.finding.empty()) continue;
        // A block the file already reports as broken (an opener without its `end`, say) may be mended.
        if (linesWithErrors.count(block.opener) || linesWithErrors.count(block.closer)) continue;
        // The line must still close something, and not a block the completion opens: closing instead
        // a block above that the file left open mends the file. A window may show a block open that
        // the file closes below it.
        const auto found = innermostOpener.find(block.closing);
        if (found != innermostOpener.end() && found->second != 0 && mayCutAFunction) {
            if (wholeWithinReach) return checkWindow(file, edit, 0, file.size(), readings);
        } else if (found != innermostOpener.end() &&
                   (found->second != 0 || lines.before(block.opener) == 0)) {
            continue;
        }
        // A block the completion opens may take the line when the completion closes this block itself.
        const auto reopened = newBlockOpenedAt.find(block.opener);
        const bool closedByItsOwn =
            found != innermostOpener.end() && reopened != newBlockOpenedAt.end() &&
            reopened->second->closedByEnd && reopened->second->closing >= edit.start - start &&
            reopened->second->closing < editEnd &&
            innermostByNewClosing[reopened->second->closing] == reopened->second->opener;
        if (closedByItsOwn) continue;
        result.finding = "the block opened at line " + fileLine(block.opener) +
                         " would no longer be closed by the line that closes it (line " +
                         fileLine(block.closer) + ")";
    }
    // At the end of the file a whole-file reading reports what is left open; a fragment's would not. A
    // closing bracket too many (the cut file's) is no open one.
    if (end == file.size() && result.finding.empty() &&
        std::max(openBrackets(after), 0) > std::max(openBrackets(before), 0))
        result.finding = "the completion leaves a bracket open at the end of the file";
    if (result.unclosedBlocks > 0 && result.finding.empty())
        result.finding = "the completion opens " + std::to_string(result.unclosedBlocks) +
                         (result.unclosedBlocks == 1 ? " block" : " blocks") + " it does not close";
    result.passed = result.finding.empty();
    // Only an edit that reads without errors is weighed against another that does too.
    if (result.passed && result.errorsAfter == 0) {
        result.misalignedBelow = misalignedClosers(after, newBlocks, editEnd, after.size());
        result.misalignedAbove = misalignedClosers(after, newBlocks, 0, edit.start - start);
        result.nestsDeeper = functionDepth(newBlocks) > std::max<std::size_t>(functionDepth(oldBlocks), 1);
    }
    return result;
}

}  // namespace

std::shared_ptr<ca::Analysis> FileReadings::window(const fl::ustring& file, std::size_t start,
                                                   std::size_t end) {
    for (const Reading& reading : readings_)
        if (reading.start == start && reading.end == end) return reading.analysis;
    readings_.push_back({start, end, ca::analyzeWholeFile(file.substr(start, end - start))});
    return readings_.back().analysis;
}

CheckResult checkEdit(const fl::ustring& file, const Edit& edit, FileReadings& readings) {
    // A file within reach is read whole: a window of it that starts at a method counts the class's
    // closing lines as errors, and an edit that only moves them would seem to mend something.
    if (file.size() <= kMostTopReach) return checkWindow(file, edit, 0, file.size(), readings);
    const std::size_t start = windowStart(file, edit.start);
    return checkWindow(file, edit, start, std::max(windowEnd(file, edit.end), edit.end), readings);
}

CheckResult checkEdit(const fl::ustring& file, const Edit& edit) {
    FileReadings readings;
    return checkEdit(file, edit, readings);
}

}  // namespace fit
