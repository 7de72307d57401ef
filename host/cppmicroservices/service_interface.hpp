#pragma once

#include <string>
#include <typeinfo>

namespace cppmicroservices {

namespace detail {
std::string demangledTypeName(const std::type_info& type);
}

// The identifier under which services of interface I are registered and looked up.
template <class I>
std::string us_service_interface_iid() {
    return detail::demangledTypeName(typeid(I));
}

}  // namespace cppmicroservices
