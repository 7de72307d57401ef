#pragma once

#include <memory>
#include <string>

#include "ca/analysis.hpp"
#include "ca/invalid_analysis_exception.hpp"
#include "fl/ustring.hpp"

namespace ca {

// Analyses single texts of Ostrel code, each on its own: no file system, no other files.
class SingleFileAnalyzer {
  public:
    virtual ~SingleFileAnalyzer() = default;
    // The analyser's name, for logs.
    virtual std::string getName() const = 0;
    // Longest text analyse() accepts, in code units.
    virtual std::size_t getMaxTextLength() const = 0;
    // Analyses `code` as a possible fragment of a longer file. Throws InvalidAnalysisException only for
    // a text longer than getMaxTextLength() or nested deeper than 512 levels.
    virtual std::shared_ptr<Analysis> analyze(const fl::ustring& code) = 0;
};

std::unique_ptr<SingleFileAnalyzer> createSingleFileAnalyzer();

// Analyses `code` as a whole file, with no edge reading (for the host's own programs: diagnostics of an
// open file, the final check of a completion against the file).
std::shared_ptr<Analysis> analyzeWholeFile(const fl::ustring& code);

}  // namespace ca
