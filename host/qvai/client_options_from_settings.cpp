#include "qvai/client_options_from_settings.hpp"

#include <cmath>
#include <stdexcept>
#include <string>

#include "fl/i18n.hpp"

namespace qvai {

ClientOptions clientOptionsFromSettings(const settings::core::Settings& root, ClientOptions base) {
    const auto node = root.getSettingsByFullName("ostrel.ai");
    if (!node) return base;
    const auto text = [&](const char* leaf) { return fl::i18n::to_string(node->get<fl::ustring>(leaf, "")); };
    base.Backend = text("Backend");
    base.Endpoint = text("Endpoint");
    // The settings have one address leaf; for "reply-file" it names the reply file.
    if (base.Backend == "reply-file") base.ReplyFile = base.Endpoint;
    base.Model = text("Model");
    base.ApiKeyVariable = text("ApiKeyVariable");
    base.TimeoutMs = node->get<int>("TimeoutMs", "");
    base.MaxTokens = node->get<int>("MaxTokens", "");
    const std::string temperature = text("Temperature");
    try {
        std::size_t used = 0;
        base.Temperature = std::stod(temperature, &used);
        if (used != temperature.size() || !std::isfinite(base.Temperature) || base.Temperature < 0)
            throw std::invalid_argument(temperature);
    } catch (const std::exception&) {
        throw std::invalid_argument("'ostrel.ai.Temperature' must be a finite number, zero or more, not '" +
                                    temperature + "'");
    }
    return base;
}

}  // namespace qvai
