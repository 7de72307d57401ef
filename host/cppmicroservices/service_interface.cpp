#include "cppmicroservices/service_interface.hpp"

#include <cxxabi.h>

#include <cstdlib>
#include <memory>

namespace cppmicroservices::detail {

std::string demangledTypeName(const std::type_info& type) {
    int status = 0;
    std::unique_ptr<char, decltype(&std::free)> name(
        abi::__cxa_demangle(type.name(), nullptr, nullptr, &status), &std::free);
    return status == 0 && name ? std::string(name.get()) : std::string(type.name());
}

}  // namespace cppmicroservices::detail
