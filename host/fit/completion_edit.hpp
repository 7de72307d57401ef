#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <vector>

#include "fl/ustring.hpp"

namespace fit {

// The texts one completion went through, as the completion library returns them (its InfoResult),
// copied member by member so that the host needs nothing of the library's headers.
struct StageTexts {
    fl::ustring reply;         // the model's whole reply
    fl::ustring extracted;     // the code cut out of the reply
    fl::ustring deduplicated;  // without what repeats the text around the cursor
    fl::ustring validated;     // cut back before the first error it introduces
    fl::ustring pruned;        // cut to whole lines and blocks
    fl::ustring completion;    // the final, re-indented completion
};

// The editor's indentation preferences, as the formatter takes them.
struct IndentSettings {
    unsigned tabSize = 4;
    unsigned indentSize = 4;
    bool insertSpaces = true;
    int functionIndent = 2;  // 0 classic, 1 mixed, 2 all
    int blankLines = 1;      // 0 indent, 1 ignore, 2 remove whitespace
};

// Replace the code units [start, end) of the file with `text`. start == end inserts at the cursor.
struct Edit {
    std::size_t start = 0;
    std::size_t end = 0;
    fl::ustring text;
};

// What an editor is offered: an edit, or nothing and why.
struct Fitted {
    std::optional<Edit> edit;
    std::string emptyStage;            // when there is no edit: "model", "extraction", "deduplication",
                                       // "validation", "pruning", "formatting" or "final check"
    std::string reason;                // when there is no edit: what happened, in plain words
    std::vector<std::string> repairs;  // what the edit changed of the library's completion to make it fit
};

// Turns the library's result for `cursor` in `file` into the edit an editor applies: placed where it
// belongs on the cursor's line or below it, re-indented to the file's levels, with the file's line ends,
// and checked against the whole file (no new error, the blocks below keep their openers). Logs the
// outcome on the channel "fit::CompletionEdit" at the stage level.
Fitted fitCompletion(const fl::ustring& file, std::size_t cursor, const StageTexts& stages,
                     const IndentSettings& settings);

}  // namespace fit
