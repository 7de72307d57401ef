#include "mtcc/postprocessing/code_extractor.hpp"

#include <exception>

#include "fl/i18n.hpp"
#include "foundation/log/diagnostic_logger.hpp"
#include "scl/regex.hpp"

namespace mtcc::postprocessing {
namespace {

using foundation::log::kSeverityValue;

void logFailure(const foundation::log::diagnostic_logger& logger, const char* what,
                const fl::ustring& reply) {
    if (logger.is_enabled(kSeverityValue))
        logger.record(kSeverityValue) << what << "\nLLM Response: \n\n" << reply;
}

}  // namespace

fl::ustring extractCode(const fl::ustring& reply) {
    const foundation::log::diagnostic_logger logger("mtcc::postprocessing::CodeExtractor");
    try {
        // The lazy group stops at the first closing fence; `.` spans line ends in the host's dialect.
        static const fl::ustring pattern = u"```ostrel(.*?)```";
        scl::regex::match_results matches;
        scl::regex::regex_search(reply, pattern, matches, scl::regex::constants::none);
        if (matches.empty()) {
            logFailure(logger, "No matching text found.", reply);
            return {};
        }
        const std::vector<fl::ustring> groups = matches.front().second;
        if (groups.empty()) {
            logFailure(logger, "No groups found in the match.", reply);
            return {};
        }
        fl::ustring code = groups.front();
        return fl::i18n::trim(code, u"\t\n\v\f\r ");
    } catch (const std::exception& e) {
        if (logger.is_enabled(kSeverityValue)) {
            logger.record(kSeverityValue) << "Exception caught: " << e.what() << "\nLLM Response: \n\n"
                                          << reply;
        }
    } catch (...) {
        logFailure(logger, "Unknown exception caught.", reply);
    }
    return {};
}

}  // namespace mtcc::postprocessing
