#include "mtcc/tokens/token_info.hpp"

#include "ca/invalid_analysis_exception.hpp"
#include "ca/single_file_analyzer.hpp"
#include "fl/i18n.hpp"
#include "foundation/log/diagnostic_logger.hpp"

namespace mtcc::Tokens {
namespace {

using foundation::log::kSeverityValue;

void logInvalidAnalysis(const foundation::log::diagnostic_logger& logger) {
    if (logger.is_enabled(kSeverityValue)) logger.record(kSeverityValue) << "MTCC Invalid Analysis Exception";
}

}  // namespace

std::vector<TokenRecord> getTokenInfo(const fl::ustring& text) {
    const foundation::log::diagnostic_logger logger("mtcc::Tokens::getTokenInfo");
    std::shared_ptr<ca::Analysis> analysis;
    try {
        const auto analyzer = ca::createSingleFileAnalyzer();
        analysis = analyzer->analyze(text);
    } catch (const ca::InvalidAnalysisException&) {
        logInvalidAnalysis(logger);
        return {};
    }
    std::optional<ca::token::AutoCompletionTokenInfo> info;
    try {
        info.emplace(ca::token::getAutoCompletionTokenInfo(analysis));
    } catch (const ca::InvalidAnalysisException&) {
        logInvalidAnalysis(logger);
        return {};
    }
    try {
        return info->getTokens();
    } catch (const ca::InvalidAnalysisException&) {
        logInvalidAnalysis(logger);
        return {};
    }
}

TokenCategories categorizeTokens(const std::vector<TokenRecord>& tokens) {
    const fl::ustring identifier = fl::i18n::to_ustring("Identifier");
    const fl::ustring dottedIdentifier = fl::i18n::to_ustring("DottedIdentifier");
    TokenCategories categories;
    for (const auto& token : tokens) {
        if (token.kind != identifier && token.kind != dottedIdentifier) continue;
        switch (token.classification) {
            case 0:
            case 1:
            case 2:
            case 4:
                categories.userFunctions.insert(token.text);
                break;
            case 3:
                categories.userVariables.insert(token.text);
                break;
            case 5:
            case 6:
                // Either origin mark makes it one of the Ostrel library's functions.
                if (token.originFlagA || token.originFlagB) {
                    categories.OSTRELFunctions.insert(token.text);
                } else {
                    categories.userFunctions.insert(token.text);
                }
                break;
            default:
                break;
        }
    }
    return categories;
}

}  // namespace mtcc::Tokens
