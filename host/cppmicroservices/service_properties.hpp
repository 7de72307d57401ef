#pragma once

#include <map>
#include <string>

namespace cppmicroservices {

// Properties of a registered service. Values are kept as text: the host only ever filters on names,
// identifiers and rankings, all of which have a natural text form.
using ServiceProperties = std::map<std::string, std::string>;

namespace Constants {
inline const std::string OBJECTCLASS = "objectclass";
inline const std::string SERVICE_ID = "service.id";
inline const std::string SERVICE_RANKING = "service.ranking";
}  // namespace Constants

}  // namespace cppmicroservices
