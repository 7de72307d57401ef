#pragma once

#include <filesystem>
#include <map>
#include <string>
#include <string_view>

#include "settings/core/settings.hpp"

namespace settings::core {

// What a settings file asks for: per node full name, the leaves it overrides. `error` is empty when the
// file was accepted; otherwise it names the file and the line or key at fault, and `overrides` is empty.
struct SettingsFileContents {
    std::map<std::string, LeafValues> overrides;
    std::string error;
};

// Reads the text of a settings file shaped {"node.full.name": {"Leaf": value, ...}, ...}. Every node and
// leaf must be one of `known`, with a JSON value of the leaf's type (int, bool, or string for text).
// Blank text is an empty file: no overrides.
SettingsFileContents parseSettingsFile(std::string_view text, const std::string& fileName,
                                       const std::map<std::string, LeafValues>& known);

// $XDG_CONFIG_HOME/ostrel/settings.json, or ~/.config/ostrel/settings.json when XDG_CONFIG_HOME is unset
// or not absolute; empty when neither variable helps.
std::filesystem::path defaultSettingsFilePath();

}  // namespace settings::core
