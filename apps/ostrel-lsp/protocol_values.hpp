#pragma once

#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "document_store.hpp"
#include "fit/completion_edit.hpp"
#include "text_positions.hpp"

namespace ostrel_lsp {

// Readers of protocol values. Each throws ParamsError naming the member when a value is missing or of
// the wrong type, so that the request gets an InvalidParams reply.
class ParamsError : public std::runtime_error {
  public:
    using std::runtime_error::runtime_error;
};

const nlohmann::json& member(const nlohmann::json& object, const char* name);
std::string stringMember(const nlohmann::json& object, const char* name);
std::int64_t integerMember(const nlohmann::json& object, const char* name);
Position positionValue(const nlohmann::json& value);
std::vector<TextChange> changesValue(const nlohmann::json& contentChanges);

nlohmann::json positionJson(Position position);
// A range over `text` from code unit `start` to `end`.
nlohmann::json rangeJson(const fl::ustring& text, std::size_t start, std::size_t end);

// The answer to textDocument/inlineCompletion for an edit of `text`, or no items.
nlohmann::json inlineCompletionResult(const fl::ustring& text, const std::optional<fit::Edit>& edit);
// The answer to textDocument/completion: one multi-line item, or none.
nlohmann::json completionResult(const fl::ustring& text, std::size_t cursor,
                                const std::optional<fit::Edit>& edit);

}  // namespace ostrel_lsp
