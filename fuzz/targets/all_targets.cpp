#include <array>

#include "fuzz_targets.hpp"

namespace ostrel_fuzz {

std::span<const FuzzTarget> allTargets() {
    static constexpr std::array<FuzzTarget, 7> kTargets{{
        {"analyser", runAnalyser},
        {"formatter", runFormatter},
        {"get_info", runGetInfo},
        {"settings_file", runSettingsFile},
        {"ldap_filter", runLdapFilter},
        {"model_reply", runModelReply},
        {"fit", runFit},
    }};
    return kTargets;
}

}  // namespace ostrel_fuzz
