#pragma once

#include <cstddef>
#include <optional>
#include <string_view>

#include "fit/completion_edit.hpp"
#include "fl/ustring.hpp"

namespace fit {

// A completion that continues the code before the cursor without a blank of its own gets one where the
// two would otherwise run together or the file writes one: after a keyword (`for` + `k = 1:n`), between a
// closing bracket, a number, a text or a transpose and a value (`[1 0` + `dt`, `[p'` + `q']`), after an
// operator written with a blank before it (`a *` + `(b)`), between a declared property's parts (`Gain` +
// `(1,1)`), between two names the file writes apart and never together (`y` + `double`), before `...`, and
// after a comma or a semicolon where the lines around the cursor (ten above and below) write one with a blank
// after it. A model's blank there is what extraction trims; a reply without indentation has none.
void separateFromTypedCode(const fl::ustring& file, std::size_t cursor, Edit& edit);

// The line (from its start, `lineStart` in the file) ends in the size of a property or an argument
// (`Name (1,`, `x (:,`), which files write without a blank even where their other commas have one; not an
// enumeration member's arguments (`Red (30,`).
bool endsInDeclaredSize(const fl::ustring& file, std::size_t lineStart, std::u16string_view line);

// How the lines around the cursor (ten above and below) write `separator` (a comma or a semicolon):
// with a blank after it (true) or without (false), by the majority; nothing where they show neither.
// Comments and texts do not count (prose writes a blank after every comma), nor commas after a digit or a
// colon (sizes as `(1,1)` are often written tight).
// With `inside` a bracket, only the separators standing right inside such a bracket count where there
// are any (files write `{'a','b'}` tight and their calls' arguments spaced, or the other way round).
// The commas of `function` lines count only where no other line has any.
std::optional<bool> separatorSpacingAround(const fl::ustring& file, std::size_t cursor, char16_t separator,
                                           char16_t inside = 0);
// The same, of the lines of `code`; `functionLines` counts the commas of `function` lines too.
std::optional<bool> separatorSpacingIn(std::u16string_view code, char16_t separator, char16_t inside = 0,
                                       bool functionLines = false);

// Whether a continuation marker (`...`) stands a blank apart from the code before it: as the completion and
// the lines around the cursor (ten above and below) write theirs, one unless more are written tight.
bool continuationSpacedAround(const fl::ustring& file, std::size_t cursor, std::u16string_view completion);

// The typed text ends in an assignment's `=` and the lines around the cursor (ten above and below) write
// theirs with a blank before and none after (`HF =interp1(...)`) more often than with blanks on both sides.
bool assignsTightAfterBlank(const fl::ustring& file, std::size_t cursor, std::u16string_view typed);

// The blanks after the commas the completion's first line writes in the list the cursor is in (up to the
// bracket that closes it, texts and comments aside), the likelier run of them; nothing when it writes no
// such comma or no run is the likelier.
std::optional<std::size_t> blanksAfterCommasInList(std::u16string_view first);
// The blanks after the commas the typed line writes in the list its last comma ends, the likelier run;
// where that list has no other, those of the line's other lists as deep in brackets (`Q(0, p(1,k), p(2,`).
std::optional<std::size_t> blanksAfterCommasOnTypedLine(std::u16string_view typed);

// The cursor's line declares a property or an argument (`Name (1,1) double {mustBeFinite} = 1`), and
// what is typed of it stops before its default value.
bool declaresPropertyOrArgument(const fl::ustring& file, std::size_t cursor);

}  // namespace fit
