#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <vector>

#include "ca/astapi/node.hpp"
#include "fl/ustring.hpp"

namespace ca {

namespace detail {
struct AnalysisData;
}

// The result of analysing one text: syntax tree, comments, line facts and messages.
class Analysis {
  public:
    // What a line may hold, for lineHas(); kNonBlank is the separator test of paragraphs.
    static constexpr int kCode = 1;
    static constexpr int kNonBlank = 2;
    static constexpr int kComment = 4;

    explicit Analysis(std::unique_ptr<const detail::AnalysisData> data);
    ~Analysis();
    Analysis(const Analysis&) = delete;
    Analysis& operator=(const Analysis&) = delete;

    // True when the text does not parse.
    bool hasParseErrors() const;
    // Every comment, block comment and continuation comment, in source order.
    const std::vector<astapi::Comment>& getComments() const;
    // The 1-based line of a code-unit offset; offsets past the end count to the last line.
    std::uint32_t getLineOfPosition(std::size_t offset) const;
    // The File node; valid while this analysis lives.
    lf::astapi::Node<astapi::CA> getRootNode() const;
    // True when the 1-based line holds what `what` asks for (a sum of kCode, kNonBlank, kComment: any of
    // them); false for lines past the end.
    bool lineHas(std::uint32_t line, int what) const;
    std::uint32_t getLineCount() const;
    const fl::ustring& getText() const;

    const detail::AnalysisData& data() const { return *data_; }

  private:
    std::unique_ptr<const detail::AnalysisData> data_;
};

}  // namespace ca
