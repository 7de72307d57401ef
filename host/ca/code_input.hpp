#pragma once

#include "fl/ustring.hpp"

namespace ca {

// The text the message analysis runs on.
class CodeInput {
  public:
    static CodeInput createFromSourceCode(const fl::ustring& code) { return CodeInput(code); }
    const fl::ustring& getSourceCode() const { return code_; }

  private:
    explicit CodeInput(fl::ustring code) : code_(std::move(code)) {}
    fl::ustring code_;
};

}  // namespace ca
