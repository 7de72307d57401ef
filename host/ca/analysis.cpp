#include "ca/analysis.hpp"

#include <algorithm>

#include "ca/analysis_data.hpp"

namespace ca {

Analysis::Analysis(std::unique_ptr<const detail::AnalysisData> data) : data_(std::move(data)) {}
Analysis::~Analysis() = default;

bool Analysis::hasParseErrors() const {
    return data_->parseErrors;
}

const std::vector<astapi::Comment>& Analysis::getComments() const {
    return data_->comments;
}

std::uint32_t Analysis::getLineOfPosition(std::size_t offset) const {
    const auto& starts = data_->lineStarts;
    auto it = std::upper_bound(starts.begin(), starts.end(), offset,
                               [](std::size_t value, std::uint32_t start) { return value < start; });
    return it == starts.begin() ? 1 : static_cast<std::uint32_t>(it - starts.begin());
}

lf::astapi::Node<astapi::CA> Analysis::getRootNode() const {
    return lf::astapi::Node<astapi::CA>(data_->tree, data_->tree.root);
}

bool Analysis::lineHas(std::uint32_t line, int what) const {
    if (line == 0 || line >= data_->lineContent.size() || line > getLineCount()) return false;
    return (data_->lineContent[line] & what) != 0;
}

std::uint32_t Analysis::getLineCount() const {
    return static_cast<std::uint32_t>(data_->lineStarts.size());
}

const fl::ustring& Analysis::getText() const {
    return data_->text;
}

}  // namespace ca
