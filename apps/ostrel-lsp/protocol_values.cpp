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

nlohmann::json completionResult(const fl::ustring& text, std::size_t cursor,
                                const std::optional<fit::Edit>& edit) {
    nlohmann::json items = nlohmann::json::array();
    if (edit) {
        const std::string inserted = fl::i18n::to_string(edit->text);
        std::string label = inserted.substr(0, inserted.find_first_of("\r\n"));
        if (label.size() > 80) label = label.substr(0, 77) + "...";
        nlohmann::json item = {
            {"label", label},
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
