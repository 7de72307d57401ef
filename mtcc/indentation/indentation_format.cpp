#include "mtcc/indentation/indentation_format.hpp"

#include <algorithm>
#include <stdexcept>

#include "ca/formatting/legacy/legacy_formatter.hpp"
#include "ca/lexer/token.hpp"
#include "mtcc/indentation/formatter_settings.hpp"

namespace mtcc::Indentation {

fl::ustring indentationFormat(const fl::ustring& prefix, const fl::ustring& completion,
                              const fl::ustring& suffix, const cache::SettingsValues* settings) {
    // The record is read unconditionally; a caller that has none gets a clear error instead of a crash.
    if (settings == nullptr) {
        throw std::invalid_argument(
            "mtcc::Indentation::indentationFormat: no settings record was given (the settings pointer is "
            "null)");
    }
    const foundation::log::diagnostic_logger log("mtcc::Indentation::indentationFormat");
    const ca::formatting::legacy::LegacyFormatter formatter(toFormatterSettings(*settings, log));

    const fl::ustring file = prefix + completion + suffix;
    const fl::ustring formatted = formatter.getFormattedText(formatter.indentCode(ca::lexer::lex(file)));

    const bool prefixKept =
        formatted.size() >= prefix.size() && formatted.compare(0, prefix.size(), prefix) == 0;
    const bool suffixKept = formatted.size() >= suffix.size() &&
                            formatted.compare(formatted.size() - suffix.size(), suffix.size(), suffix) == 0;
    if (!prefixKept || !suffixKept) return completion;

    // When prefix and suffix overlap inside the formatted text the second length wraps around as an
    // unsigned size, and everything after the prefix is returned.
    const std::size_t afterPrefix = formatted.size() - prefix.size();
    const std::size_t between = formatted.size() - prefix.size() - suffix.size();
    return formatted.substr(prefix.size(), std::min(afterPrefix, between));
}

}  // namespace mtcc::Indentation
