#pragma once

#include <cstdint>
#include <mutex>

#include "fl/ustring.hpp"
#include "foundation/msg_svc/eventmgr/connection.hpp"
#include "mtcc/export.hpp"

namespace mtcc::cache {

// The editor's indentation preferences for the formatter. Built from the host's settings store and kept
// current by change listeners for as long as it lives, or overwritten by the caller.
class MTCC_EXPORT SettingsValues {
  public:
    SettingsValues();

    // Assigns all seven values; takes no lock and validates nothing (the formatter stage does).
    void setUserPreferenceSettings(unsigned startLine, unsigned endLine, unsigned short tabSize,
                                   unsigned short indentSize, bool insertSpaces,
                                   fl::ustring functionIndentingFormat, fl::ustring blankLineSetting);

    // Reads the host settings and (re)subscribes to their changes. Settings-store errors propagate.
    void readOSTRELPreferences();

    std::uint32_t startLine = 0;
    std::uint32_t endLine = 10000000;
    std::uint16_t tabSize = 4;
    std::uint16_t indentSize = 4;
    bool insertSpaces = true;
    fl::ustring functionIndentingFormat = u"AllFunctionIndent";
    fl::ustring blankLineSetting = u"Indent";
    std::mutex mutex;
    // Declared last so that they are destroyed first: no listener runs once the fields start going away.
    foundation::msg_svc::eventmgr::ScopedConnection tabListener;
    foundation::msg_svc::eventmgr::ScopedConnection languageListener;
    foundation::msg_svc::eventmgr::ScopedConnection indentListener;
};

}  // namespace mtcc::cache
