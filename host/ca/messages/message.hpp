#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

#include "fl/ustring.hpp"

namespace ca::messages {

enum class Severity { Error, Warning };

struct Position {
    std::uint32_t line = 1;    // 1-based
    std::uint32_t column = 1;  // 1-based, in code units
    std::size_t offset = 0;    // code units from the start of the text
};

class Message {
  public:
    Message(std::string identifier, fl::ustring text, Severity severity, Position position)
        : identifier_(std::move(identifier)),
          text_(std::move(text)),
          severity_(severity),
          position_(position) {}

    // A stable name of the rule, such as "MissingEnd".
    const std::string& getIdentifier() const { return identifier_; }
    // The explanation for the user.
    const fl::ustring& getText() const { return text_; }
    Severity getSeverity() const { return severity_; }
    const Position& getPosition() const { return position_; }

  private:
    std::string identifier_;
    fl::ustring text_;
    Severity severity_;
    Position position_;
};

}  // namespace ca::messages
