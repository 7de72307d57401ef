#include "mtcc/cache/settings_values.hpp"

#include <boost/function.hpp>
#include <memory>

#include "settings/context/context_registry.hpp"
#include "settings/core/settings.hpp"

namespace mtcc::cache {

namespace {

using settings::core::Settings;
using settings::core::SettingsValueChangeEvent;

constexpr const char* kTabNode = "ostrel.editor.tab";
constexpr const char* kLanguageNode = "ostrel.editor.language.ostrel";
constexpr const char* kIndentNode = "ostrel.editor.indent";

void readTab(SettingsValues& values, const Settings& node) {
    values.tabSize = static_cast<std::uint16_t>(node.get<int>("TabSize", ""));
    values.indentSize = static_cast<std::uint16_t>(node.get<int>("IndentSize", ""));
    values.insertSpaces = node.get<bool>("InsertSpaces", "");
}

void readLanguage(SettingsValues& values, const Settings& node) {
    values.functionIndentingFormat = node.get<fl::ustring>("FunctionIndentingFormat", "");
}

void readIndent(SettingsValues& values, const Settings& node) {
    values.blankLineSetting = node.get<bool>("PadEmptyLines", "") ? u"Indent" : u"RemoveWhitespace";
}

using Reader = void (*)(SettingsValues&, const Settings&);

// Re-reads every leaf of its node on any change event; the event's contents are not needed.
struct Listener {
    SettingsValues* values;
    const Settings* node;
    std::shared_ptr<const Settings> keepAlive;
    Reader read;

    void operator()(const SettingsValueChangeEvent&) const {
        std::lock_guard lock(values->mutex);
        if (node) read(*values, *node);
    }
};

foundation::msg_svc::eventmgr::Connection subscribe(SettingsValues& values,
                                                    const std::shared_ptr<const Settings>& node,
                                                    Reader read) {
    return settings::core::addSettingsValueChangeListener(
        node,
        boost::function<void(const SettingsValueChangeEvent&)>(Listener{&values, node.get(), node, read}));
}

}  // namespace

SettingsValues::SettingsValues() {
    readOSTRELPreferences();
}

void SettingsValues::setUserPreferenceSettings(unsigned startLine_, unsigned endLine_,
                                               unsigned short tabSize_, unsigned short indentSize_,
                                               bool insertSpaces_, fl::ustring functionIndentingFormat_,
                                               fl::ustring blankLineSetting_) {
    startLine = startLine_;
    endLine = endLine_;
    tabSize = tabSize_;
    indentSize = indentSize_;
    insertSpaces = insertSpaces_;
    functionIndentingFormat = std::move(functionIndentingFormat_);
    blankLineSetting = std::move(blankLineSetting_);
}

void SettingsValues::readOSTRELPreferences() {
    std::lock_guard lock(mutex);
    const auto root = settings::context::getSettingsRoot(settings::context::getCurrentRuntimeContextId());
    if (!root) return;

    const auto tab = root->getSettingsByFullName(kTabNode);
    if (tab) readTab(*this, *tab);
    tabListener.assign(subscribe(*this, tab, readTab));

    const auto language = root->getSettingsByFullName(kLanguageNode);
    if (language) readLanguage(*this, *language);
    languageListener.assign(subscribe(*this, language, readLanguage));

    const auto indent = root->getSettingsByFullName(kIndentNode);
    if (indent) readIndent(*this, *indent);
    indentListener.assign(subscribe(*this, indent, readIndent));
}

}  // namespace mtcc::cache
