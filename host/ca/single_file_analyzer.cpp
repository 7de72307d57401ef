#include "ca/single_file_analyzer.hpp"

#include "ca/parser/parser.hpp"

namespace ca {

namespace {

class OstrelAnalyzer final : public SingleFileAnalyzer {
  public:
    std::string getName() const override { return "ostrel"; }
    std::size_t getMaxTextLength() const override { return kMaxTextLength; }
    std::shared_ptr<Analysis> analyze(const fl::ustring& code) override {
        return std::make_shared<Analysis>(detail::analyseText(code));
    }
};

}  // namespace

std::unique_ptr<SingleFileAnalyzer> createSingleFileAnalyzer() {
    return std::make_unique<OstrelAnalyzer>();
}

std::shared_ptr<Analysis> analyzeWholeFile(const fl::ustring& code) {
    return std::make_shared<Analysis>(detail::analyseText(code, TextReading::WholeFile));
}

}  // namespace ca
