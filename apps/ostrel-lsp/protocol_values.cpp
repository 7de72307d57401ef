#include "protocol_values.hpp"

#include "fl/i18n.hpp"

namespace ostrel_lsp {

const nlohmann::json& member(const nlohmann::json& object, const char* name) {
    if (!object.is_object()) throw ParamsError(std::string("expected an object holding '") + name + "'");
    const auto it = object.find(name);
    if (it == object.end()) throw ParamsError(std::string("'") + name + "' is missing");
    return *it;
}

std::string stringMember(const nlohmann::json& object, const char* name) {
    const nlohmann::json& value = member(object, name);
    if (!value.is_string()) throw ParamsError(std::string("'") + name + "' must be a string");
    return value.get<std::string>();
}

std::int64_t integerMember(const nlohmann::json& object, const char* name) {
    const nlohmann::json& value = member(object, name);
    if (!value.is_number_integer()) throw ParamsError(std::string("'") + name + "' must be an integer");
    if (value.is_number_unsigned() && value.get<std::uint64_t>() > INT64_MAX) return INT64_MAX;
    return value.get<std::int64_t>();
}

Position positionValue(const nlohmann::json& value) {
    Position position{integerMember(value, "line"), integerMember(value, "character")};
    if (position.line < 0 || position.character < 0) throw ParamsError("a position must not be negative");
    return position;
}

std::vector<TextChange> changesValue(const nlohmann::json& contentChanges) {
    if (!contentChanges.is_array()) throw ParamsError("'contentChanges' must be an array");
    std::vector<TextChange> changes;
    changes.reserve(contentChanges.size());
    for (const nlohmann::json& change : contentChanges) {
        TextChange parsed;
        parsed.text = fl::i18n::to_ustring(stringMember(change, "text"));
        if (change.contains("range")) {
            const nlohmann::json& range = member(change, "range");
            parsed.range =
                std::pair{positionValue(member(range, "start")), positionValue(member(range, "end"))};
        }
        changes.push_back(std::move(parsed));
    }
    return changes;
}

nlohmann::json positionJson(Position position) {
    return {{"line", position.line}, {"character", position.character}};
}

nlohmann::json rangeJson(const fl::ustring& text, std::size_t start, std::size_t end) {
    return {{"start", positionJson(positionOf(text, start))}, {"end", positionJson(positionOf(text, end))}};
}

nlohmann::json inlineCompletionResult(const fl::ustring& text, const std::optional<fit::Edit>& edit) {
    nlohmann::json items = nlohmann::json::array();
    if (edit) {
        items.push_back({{"insertText", fl::i18n::to_string(edit->text)},
                         {"range", rangeJson(text, edit->start, edit->end)}});
    }
    return {{"items", std::move(items)}};
}

namespace {

// The list shows the completion's first line of code: a completion that starts a new line begins with
// its line break and indentation. Cut long lines at a character's start, so the label stays UTF-8.
std::string completionLabel(const std::string& inserted) {
    const std::size_t first = inserted.find_first_not_of(" \t\r\n");
    if (first == std::string::npos) return inserted.substr(0, inserted.find_first_of("\r\n"));
    std::string label = inserted.substr(first, inserted.find_first_of("\r\n", first) - first);
    if (label.size() <= 80) return label;
    std::size_t cut = 77;
    while (cut > 0 && (static_cast<unsigned char>(label[cut]) & 0xC0) == 0x80)
        --cut;
    return label.substr(0, cut) + "...";
}

}  // namespace

nlohmann::json completionResult(const fl::ustring& text, std::size_t cursor,
                                const std::optional<fit::Edit>& edit) {
    nlohmann::json items = nlohmann::json::array();
    if (edit) {
        const std::string inserted = fl::i18n::to_string(edit->text);
        nlohmann::json item = {
            {"label", completionLabel(inserted)},
            {"kind", 1},
            {"detail", "Ostrel completion"},
            {"documentation", {{"kind", "markdown"}, {"value", "```ostrel\n" + inserted + "\n```"}}},
            {"insertTextFormat", 1},
            {"sortText", "0"}};
        // A completion item's edit must be one line holding the cursor; an edit that reaches further
        // goes into the additional edits, with an empty main edit at the cursor.
        const Position from = positionOf(text, edit->start);
        const Position to = positionOf(text, edit->end);
        const Position at = positionOf(text, cursor);
        if (from.line == at.line && to.line == at.line) {
            item["textEdit"] = {{"range", rangeJson(text, edit->start, edit->end)}, {"newText", inserted}};
        } else {
            item["textEdit"] = {{"range", rangeJson(text, cursor, cursor)}, {"newText", ""}};
            item["additionalTextEdits"] = {
                {{"range", rangeJson(text, edit->start, edit->end)}, {"newText", inserted}}};
        }
        items.push_back(std::move(item));
    }
    return {{"isIncomplete", true}, {"items", std::move(items)}};
}

}  // namespace ostrel_lsp
