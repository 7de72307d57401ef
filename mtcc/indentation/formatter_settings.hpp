#pragma once

#include "ca/formatting/legacy/settings.hpp"
#include "foundation/log/diagnostic_logger.hpp"
#include "mtcc/cache/settings_values.hpp"

namespace mtcc::Indentation {

// The formatter settings for a settings record: out-of-range numbers are clamped and unknown texts
// mapped to their fallbacks, each correction logged at severity 4 on `log`.
ca::formatting::legacy::Settings toFormatterSettings(const cache::SettingsValues& values,
                                                     const foundation::log::diagnostic_logger& log);

}  // namespace mtcc::Indentation
