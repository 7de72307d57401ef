#pragma once

namespace ca {

// How the analyser reads a text. The completion library always hands over windows cut out of longer
// files (Fragment): what precedes the first complete statement, closing lines without opener and
// constructs still open at the end are cut edges, not errors. The host's own programs know where a
// file starts and ends (WholeFile): there a missing `end` at the end and an error in the first
// statement are reported.
enum class TextReading { Fragment, WholeFile };

}  // namespace ca
