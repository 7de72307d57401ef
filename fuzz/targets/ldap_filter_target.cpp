// The LDAP filter parser and matcher. Input: the filter text.
#include <stdexcept>
#include <string>

#include "cppmicroservices/ldap_filter.hpp"
#include "fuzz_targets.hpp"

namespace ostrel_fuzz {

void runLdapFilter(std::string_view bytes) {
    const std::string text(bytes);
    try {
        const cppmicroservices::LDAPFilter filter(text);
        const cppmicroservices::ServiceProperties properties{
            {"objectclass", "qvai::IQvaiClient"}, {"service.ranking", "10"}, {"name", "a b*c"}};
        const bool matched = filter.Match(properties);
        // The filter's own text reads back as the same filter.
        const cppmicroservices::LDAPFilter again(filter.ToString());
        if (again.Match(properties) != matched) throw PropertyViolation("a filter reads back the same");
    } catch (const std::invalid_argument&) {
        // Not a filter: rejected with its position, as documented.
    }
}

}  // namespace ostrel_fuzz
