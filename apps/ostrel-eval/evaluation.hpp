#pragma once

#include <functional>

#include "command_line.hpp"
#include "report.hpp"

namespace ostrel_eval {

// Reads the files (folders searched for .ost files, in name order); a file that cannot be read, is not
// UTF-8 text or does not parse is left out with the reason.
void loadFiles(const std::vector<std::string>& paths, EvalReport& report);

// Samples the cases and runs every variant (or the real backend) over them. `progress(done, total)` is
// called now and then from this thread. Once per process: the library keeps the first AI client it
// finds, and with it the first run's backend.
EvalReport evaluate(const EvalOptions& options,
                    const std::function<void(std::size_t, std::size_t)>& progress);

}  // namespace ostrel_eval
