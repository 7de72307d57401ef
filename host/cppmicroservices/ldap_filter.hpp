#pragma once

#include <memory>
#include <string>

#include "cppmicroservices/service_properties.hpp"

namespace cppmicroservices {

namespace detail {
struct FilterNode;
}

// An RFC 1960 filter over service properties: (key=value), (key=*), (key=pre*fix), (key>=v),
// (key<=v), (key~=v), and the compositions (&...), (|...), (!...). Keys compare case-insensitively.
// A default-constructed filter is empty: it converts to false and matches everything.
class LDAPFilter {
  public:
    LDAPFilter();
    // Throws std::invalid_argument naming the position of the first syntax error.
    explicit LDAPFilter(const std::string& filter);

    bool Match(const ServiceProperties& properties) const;
    std::string ToString() const;
    explicit operator bool() const noexcept { return root_ != nullptr; }

    bool operator==(const LDAPFilter& other) const { return ToString() == other.ToString(); }

  private:
    std::string text_;
    std::shared_ptr<const detail::FilterNode> root_;
};

}  // namespace cppmicroservices
