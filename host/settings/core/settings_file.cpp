#include "settings/core/settings_file.hpp"

#include <algorithm>
#include <cstdlib>
#include <limits>
#include <nlohmann/json.hpp>

#include "fl/i18n.hpp"

namespace settings::core {

namespace {

std::size_t lineOfByte(std::string_view text, std::size_t byte) {
    byte = std::min(byte, text.size());
    return 1 + static_cast<std::size_t>(
                   std::count(text.begin(), text.begin() + static_cast<std::ptrdiff_t>(byte), '\n'));
}

std::string jsonTypeName(const nlohmann::json& value) {
    if (value.is_number_integer()) return "an integer";
    if (value.is_number()) return "a fractional number";
    if (value.is_boolean()) return "a boolean";
    if (value.is_string()) return "a string";
    if (value.is_null()) return "null";
    if (value.is_array()) return "an array";
    return "an object";
}

// Converts `value` to the type of `expected`, or returns an explanation of why it does not fit.
std::variant<SettingValue, std::string> convertLeaf(const nlohmann::json& value,
                                                    const SettingValue& expected) {
    if (std::holds_alternative<int>(expected)) {
        if (value.is_number_integer()) {
            if (value.is_number_unsigned()) {
                const auto v = value.get<std::uint64_t>();
                if (v <= static_cast<std::uint64_t>(std::numeric_limits<int>::max()))
                    return static_cast<int>(v);
            } else {
                const auto v = value.get<std::int64_t>();
                if (v >= std::numeric_limits<int>::min() && v <= std::numeric_limits<int>::max())
                    return static_cast<int>(v);
            }
            return std::string("is out of the range of an int");
        }
        return "must be an integer, not " + jsonTypeName(value);
    }
    if (std::holds_alternative<bool>(expected)) {
        if (value.is_boolean()) return value.get<bool>();
        return "must be true or false, not " + jsonTypeName(value);
    }
    if (value.is_string()) return fl::i18n::to_ustring(value.get<std::string>());
    return "must be a string, not " + jsonTypeName(value);
}

}  // namespace

SettingsFileContents parseSettingsFile(std::string_view text, const std::string& fileName,
                                       const std::map<std::string, LeafValues>& known) {
    SettingsFileContents result;
    const auto fail = [&](std::string message) {
        result.overrides.clear();
        result.error = fileName + ": " + std::move(message);
        return result;
    };
    if (std::all_of(text.begin(), text.end(),
                    [](char c) { return c == ' ' || c == '\t' || c == '\r' || c == '\n'; }))
        return result;

    nlohmann::json document;
    try {
        document = nlohmann::json::parse(text.begin(), text.end());
    } catch (const nlohmann::json::parse_error& e) {
        // e.byte is one past the offending character.
        const std::size_t line = lineOfByte(text, e.byte == 0 ? 0 : e.byte - 1);
        std::string what = e.what();
        if (const auto colon = what.find(": "); colon != std::string::npos) what = what.substr(colon + 2);
        result.error = fileName + ":" + std::to_string(line) + ": not valid JSON: " + what;
        return result;
    } catch (const nlohmann::json::exception& e) {
        // A number beyond a double's range (1e400) is reported as out of range, without a position.
        std::string what = e.what();
        if (const auto tag = what.find("] "); tag != std::string::npos) what = what.substr(tag + 2);
        result.error = fileName + ": not valid JSON: " + what;
        return result;
    }
    if (!document.is_object())
        return fail("the file must hold a JSON object whose members are settings nodes, not " +
                    jsonTypeName(document));

    for (const auto& [nodeName, leaves] : document.items()) {
        const auto node = known.find(nodeName);
        if (node == known.end()) return fail("unknown settings node '" + nodeName + "'");
        if (!leaves.is_object())
            return fail("'" + nodeName + "' must be an object of settings, not " + jsonTypeName(leaves));
        for (const auto& [leafName, value] : leaves.items()) {
            const std::string key = nodeName + "." + leafName;
            const auto leaf = node->second.find(leafName);
            if (leaf == node->second.end()) return fail("unknown setting '" + key + "'");
            auto converted = convertLeaf(value, leaf->second);
            if (auto* problem = std::get_if<std::string>(&converted))
                return fail("'" + key + "' " + *problem);
            result.overrides[nodeName][leafName] = std::get<SettingValue>(std::move(converted));
        }
    }
    return result;
}

std::filesystem::path defaultSettingsFilePath() {
    const char* xdg = std::getenv("XDG_CONFIG_HOME");
    if (xdg && *xdg && std::filesystem::path(xdg).is_absolute())
        return std::filesystem::path(xdg) / "ostrel" / "settings.json";
    const char* home = std::getenv("HOME");
    if (home && *home) return std::filesystem::path(home) / ".config" / "ostrel" / "settings.json";
    return {};
}

}  // namespace settings::core
