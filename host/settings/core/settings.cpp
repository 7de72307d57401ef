#include "settings/core/settings.hpp"

namespace settings::core {

namespace {

template <typename T>
const char* typeNameOf() {
    if constexpr (std::is_same_v<T, int>) return "int";
    if constexpr (std::is_same_v<T, bool>) return "bool";
    if constexpr (std::is_same_v<T, fl::ustring>) return "text";
}

}  // namespace

const char* typeName(const SettingValue& value) {
    return std::visit([](const auto& v) { return typeNameOf<std::decay_t<decltype(v)>>(); }, value);
}

Settings::Settings(std::string fullName) : fullName_(std::move(fullName)) {}

std::shared_ptr<Settings> Settings::findChild(const std::string& segment) const {
    for (const auto& [name, child] : children_)
        if (name == segment) return child;
    return nullptr;
}

std::shared_ptr<const Settings> Settings::getSettingsByFullName(const std::string& fullName) const {
    if (fullName == fullName_) return shared_from_this();
    std::string rest = fullName;
    if (!fullName_.empty()) {
        const std::string prefix = fullName_ + ".";
        if (fullName.compare(0, prefix.size(), prefix) != 0) return nullptr;
        rest = fullName.substr(prefix.size());
    }
    const Settings* node = this;
    std::shared_ptr<Settings> found;
    std::size_t start = 0;
    while (start <= rest.size()) {
        const std::size_t dot = rest.find('.', start);
        const std::string segment =
            rest.substr(start, dot == std::string::npos ? std::string::npos : dot - start);
        found = node->findChild(segment);
        if (!found) return nullptr;
        node = found.get();
        if (dot == std::string::npos) break;
        start = dot + 1;
    }
    return found;
}

template <typename T>
T Settings::get(const std::string& leafName, const std::string& layer) const {
    if (!layer.empty())
        throw SettingsError("Unknown settings layer '" + layer + "' for '" + fullName_ + "'.");
    std::lock_guard lock(mutex_);
    const auto it = leaves_.find(leafName);
    if (it == leaves_.end())
        throw SettingsError("Unknown setting '" + leafName + "' in '" + fullName_ + "'.");
    if (const T* value = std::get_if<T>(&it->second)) return *value;
    throw SettingsError("Setting '" + leafName + "' in '" + fullName_ + "' is of type " +
                        typeName(it->second) + ", not " + typeNameOf<T>() + ".");
}

template int Settings::get<int>(const std::string&, const std::string&) const;
template bool Settings::get<bool>(const std::string&, const std::string&) const;
template fl::ustring Settings::get<fl::ustring>(const std::string&, const std::string&) const;

bool Settings::hasLeaf(const std::string& leafName) const {
    std::lock_guard lock(mutex_);
    return leaves_.count(leafName) != 0;
}

LeafValues Settings::values() const {
    std::lock_guard lock(mutex_);
    return leaves_;
}

std::vector<std::shared_ptr<const Settings>> Settings::children() const {
    std::vector<std::shared_ptr<const Settings>> result;
    for (const auto& entry : children_)
        result.push_back(entry.second);
    return result;
}

foundation::msg_svc::eventmgr::Connection Settings::onValueChange(
    boost::function<void(const SettingsValueChangeEvent&)> listener) const {
    return changed_.connect(std::move(listener));
}

std::shared_ptr<Settings> Settings::addChild(const std::string& segment) {
    if (auto existing = findChild(segment)) return existing;
    auto child = std::make_shared<Settings>(fullName_.empty() ? segment : fullName_ + "." + segment);
    child->treeLock_ = treeLock_;
    children_.emplace_back(segment, child);
    return child;
}

void Settings::defineLeaf(const std::string& leafName, SettingValue value) {
    std::lock_guard lock(mutex_);
    leaves_[leafName] = std::move(value);
}

std::vector<std::string> Settings::assign(const LeafValues& values) {
    std::vector<std::string> changed;
    std::lock_guard lock(mutex_);
    for (const auto& [name, value] : values) {
        const auto it = leaves_.find(name);
        if (it == leaves_.end())
            throw SettingsError("Unknown setting '" + name + "' in '" + fullName_ + "'.");
        if (it->second.index() != value.index())
            throw SettingsError("Setting '" + name + "' in '" + fullName_ + "' must be of type " +
                                typeName(it->second) + ".");
        if (it->second != value) {
            it->second = value;
            changed.push_back(name);
        }
    }
    return changed;
}

void Settings::publish(const SettingsValueChangeEvent& event) const {
    changed_.emit(event);
}

std::map<std::string, LeafValues> subtreeValues(const Settings& node) {
    const auto reading = node.readingLock();
    std::map<std::string, LeafValues> result;
    // Depth-first without recursion; the tree's shape comes from the program, but a stack costs nothing.
    std::vector<std::shared_ptr<const Settings>> pending{node.shared_from_this()};
    while (!pending.empty()) {
        const auto current = std::move(pending.back());
        pending.pop_back();
        result.emplace(current->fullName(), current->values());
        for (auto& child : current->children())
            pending.push_back(std::move(child));
    }
    return result;
}

foundation::msg_svc::eventmgr::Connection addSettingsValueChangeListener(
    const std::shared_ptr<const Settings>& node,
    boost::function<void(const SettingsValueChangeEvent&)> listener) {
    if (!node) return {};
    return node->onValueChange(std::move(listener));
}

}  // namespace settings::core
