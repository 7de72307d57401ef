// The settings-file parser. Input: the file's text.
#include "fuzz_targets.hpp"
#include "settings/core/default_settings.hpp"
#include "settings/core/settings_file.hpp"

namespace ostrel_fuzz {

void runSettingsFile(std::string_view bytes) {
    const auto& known = settings::core::defaultSettingValues();
    const auto contents = settings::core::parseSettingsFile(bytes, "fuzz.json", known);
    if (!contents.error.empty() && !contents.overrides.empty())
        throw PropertyViolation("a rejected file overrides nothing");
    for (const auto& [node, leaves] : contents.overrides) {
        const auto knownNode = known.find(node);
        if (knownNode == known.end()) throw PropertyViolation("only known nodes are overridden");
        for (const auto& [leaf, value] : leaves) {
            const auto knownLeaf = knownNode->second.find(leaf);
            if (knownLeaf == knownNode->second.end())
                throw PropertyViolation("only known leaves are overridden");
            if (knownLeaf->second.index() != value.index()) throw PropertyViolation("a leaf keeps its type");
        }
    }
}

}  // namespace ostrel_fuzz
