// The host's edit and final check (fit::fitCompletion) on the library's result for a reply, a file and a
// cursor from the input, through the in-process AI client. Input: two settings bytes (tab size, indent
// size and tabs; function indentation and blank lines), the reply (UTF-8), 0xFF, the code before the
// cursor, 0xFF, the code after it.
#include <algorithm>
#include <memory>
#include <optional>

#include "ca/analysis.hpp"
#include "ca/invalid_analysis_exception.hpp"
#include "ca/messages/single_file_messages.hpp"
#include "ca/single_file_analyzer.hpp"
#include "fit/completion_edit.hpp"
#include "fuzz_input.hpp"
#include "fuzz_targets.hpp"
#include "in_process_client.hpp"
#include "mtcc/autocompletion/auto_completion.hpp"
#include "mtcc/cache/settings_values.hpp"

namespace ostrel_fuzz {
namespace {

// The final check reads a file of at most this many code units whole, as the editor's file.
constexpr std::size_t kWholeFileReach = 16000;

void expect(bool holds, const char* what) {
    if (!holds) throw PropertyViolation(what);
}

bool splitsPair(const fl::ustring& file, std::size_t at) {
    return at > 0 && at < file.size() && file[at - 1] >= 0xD800 && file[at - 1] <= 0xDBFF &&
           file[at] >= 0xDC00 && file[at] <= 0xDFFF;
}

bool isBlank(std::u16string_view text) {
    return std::all_of(text.begin(), text.end(),
                       [](char16_t c) { return c == u' ' || c == u'\t' || c == u'\r' || c == u'\n'; });
}

// Errors of the text read as a whole file; nothing when the analyser refuses it.
std::optional<std::size_t> wholeFileErrors(const fl::ustring& text) {
    try {
        return ca::messages::messagesOf(*ca::analyzeWholeFile(text), {true, false, true}).size();
    } catch (const ca::InvalidAnalysisException&) {
        return std::nullopt;
    }
}

void checkEdit(const fl::ustring& file, std::size_t cursor, const fit::Edit& edit) {
    expect(edit.start <= edit.end && edit.end <= file.size(), "the edit's range lies in the file");
    expect(!splitsPair(file, edit.start) && !splitsPair(file, edit.end),
           "the edit's range starts and ends between the file's characters");
    const std::u16string_view replaced = std::u16string_view(file).substr(edit.start, edit.end - edit.start);
    expect(edit.text != replaced, "the edit changes the file");
    fl::ustring edited = file.substr(0, edit.start);
    edited.append(edit.text).append(std::u16string_view(file).substr(edit.end));

    // Writing out again what follows the cursor is offered only as the closing lines a file lacks.
    const bool repeatsWhatFollows = edit.start == edit.end && !isBlank(edit.text) &&
                                    std::u16string_view(file).substr(edit.end).starts_with(edit.text);
    if (repeatsWhatFollows && edit.start == cursor) {
        const std::size_t lineEnd = std::min(file.find_first_of(u"\r\n", cursor), file.size());
        expect(edit.text != std::u16string_view(file).substr(cursor, lineEnd - cursor),
               "an edit never inserts the rest of the cursor's line again");
    }
    if (file.size() > kWholeFileReach) return;
    const auto before = wholeFileErrors(file);
    if (!before) return;
    const auto after = wholeFileErrors(edited);
    expect(after.has_value(), "the final check read the edited file");
    if (*before == 0) expect(*after == 0, "an edit adds no error to a file without errors");
    if (repeatsWhatFollows)
        expect(*after < *before, "an edit that writes out again what follows the cursor mends the file");
}

}  // namespace

void runFit(std::string_view bytes) {
    FuzzInput input(bytes);
    const std::uint8_t indentByte = input.byte();
    const std::uint8_t styleByte = input.byte();
    const fl::ustring reply = toUtf16(input.textUntil('\xff'), false);
    const fl::ustring prefix = toUtf16(input.textUntil('\xff'), false);
    const fl::ustring file = prefix + toUtf16(input.rest(), false);
    const std::size_t cursor = prefix.size();

    // Clamped as the host clamps the editor's values.
    fit::IndentSettings settings;
    settings.tabSize = 1u + (indentByte & 7u);
    settings.indentSize = 1u + ((indentByte >> 3) & 7u);
    settings.insertSpaces = (indentByte & 64) == 0;
    settings.functionIndent = styleByte % 3;
    settings.blankLines = (styleByte / 3) % 3;
    auto record = std::make_shared<mtcc::cache::SettingsValues>();
    record->tabSize = static_cast<std::uint16_t>(settings.tabSize);
    record->indentSize = static_cast<std::uint16_t>(settings.indentSize);
    record->insertSpaces = settings.insertSpaces;
    record->functionIndentingFormat = settings.functionIndent == 0   ? u"ClassicFunctionIndent"
                                      : settings.functionIndent == 1 ? u"MixedFunctionIndent"
                                                                     : u"AllFunctionIndent";
    record->blankLineSetting = settings.blankLines == 0   ? u"Indent"
                               : settings.blankLines == 2 ? u"RemoveWhitespace"
                                                          : u"Ignore";

    answerWith(reply);
    mtcc::AutoCompletion::InfoResult result;
    try {
        result = mtcc::AutoCompletion::GetInfo(u"", file, cursor, record);
    } catch (const ca::InvalidAnalysisException&) {
        return;  // beyond the analyser's limits: the host reports it and fits nothing
    }
    const fit::Fitted fitted = fit::fitCompletion(
        file, cursor,
        {result.LLMResponse, result.LLMGeneratedCode, result.deduplicatedGeneratedCode,
         result.validatedLLMGeneratedCode, result.prunedLLMGeneratedCode, result.autocompletionResponse},
        settings);
    if (fitted.edit) {
        checkEdit(file, cursor, *fitted.edit);
    } else {
        expect(!fitted.emptyStage.empty() && !fitted.reason.empty(), "no edit says which stage and why");
    }
}

}  // namespace ostrel_fuzz
