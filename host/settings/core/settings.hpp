#pragma once

#include <map>
#include <memory>
#include <mutex>
#include <shared_mutex>
#include <stdexcept>
#include <string>
#include <variant>
#include <vector>

#include "fl/ustring.hpp"
#include "foundation/msg_svc/eventmgr/event_signal.hpp"
#include "settings/core/settings_value_change_event.hpp"

namespace settings::core {

using SettingValue = std::variant<int, bool, fl::ustring>;
using LeafValues = std::map<std::string, SettingValue>;

// Raised for a leaf that does not exist or is read as the wrong type.
class SettingsError : public std::runtime_error {
  public:
    using std::runtime_error::runtime_error;
};

// One node of the settings tree, named by its full dotted name ("ostrel.editor.tab"). The tree's shape
// and the leaves' types are fixed when it is built; only leaf values change afterwards, so nodes may be
// shared across threads: every value access takes the node's own lock. The nodes of one tree also share
// one tree lock: whoever updates several nodes holds it exclusively throughout, and whoever reads several
// values that must go together holds it shared meanwhile, so that it sees all old or all new values.
class Settings : public std::enable_shared_from_this<Settings> {
  public:
    explicit Settings(std::string fullName);
    Settings(const Settings&) = delete;
    Settings& operator=(const Settings&) = delete;

    const std::string& fullName() const { return fullName_; }

    // The node of that full name in this node's subtree (this node for its own name), or empty.
    std::shared_ptr<const Settings> getSettingsByFullName(const std::string& fullName) const;

    // Reads a leaf. `layer` names a settings layer; only the effective layer ("") exists.
    // Throws SettingsError for an unknown leaf, an unknown layer or a leaf of another type.
    template <typename T>
    T get(const std::string& leafName, const std::string& layer) const;

    bool hasLeaf(const std::string& leafName) const;
    LeafValues values() const;
    std::vector<std::shared_ptr<const Settings>> children() const;

    // Shared with other readers of the tree, exclusive of updates. Do not update while holding it, nor
    // take it again on the same thread (subtreeValues() takes it).
    std::shared_lock<std::shared_mutex> readingLock() const { return std::shared_lock(*treeLock_); }

    // Listeners for changes of this node's leaves; called on the thread that publishes the change.
    foundation::msg_svc::eventmgr::Connection onValueChange(
        boost::function<void(const SettingsValueChangeEvent&)> listener) const;
    std::size_t listenerCount() const { return changed_.listenerCount(); }

    // Building and updating, for the owner of the tree. An update of several nodes holds updatingLock()
    // across all its assign() calls and publishes after releasing it, as listeners may read the tree.
    std::unique_lock<std::shared_mutex> updatingLock() { return std::unique_lock(*treeLock_); }
    std::shared_ptr<Settings> addChild(const std::string& segment);
    void defineLeaf(const std::string& leafName, SettingValue value);
    // Sets the values of existing leaves (types must match) and returns the names of those that changed.
    std::vector<std::string> assign(const LeafValues& values);
    void publish(const SettingsValueChangeEvent& event) const;

  private:
    std::shared_ptr<Settings> findChild(const std::string& segment) const;

    std::string fullName_;
    std::vector<std::pair<std::string, std::shared_ptr<Settings>>> children_;
    std::shared_ptr<std::shared_mutex> treeLock_ = std::make_shared<std::shared_mutex>();
    mutable std::mutex mutex_;
    LeafValues leaves_;
    foundation::msg_svc::eventmgr::Signal<SettingsValueChangeEvent> changed_;
};

extern template int Settings::get<int>(const std::string&, const std::string&) const;
extern template bool Settings::get<bool>(const std::string&, const std::string&) const;
extern template fl::ustring Settings::get<fl::ustring>(const std::string&, const std::string&) const;

// The listener registration of the settings-change event. An empty node has no events to deliver: the
// returned connection is empty and the listener is never called.
foundation::msg_svc::eventmgr::Connection addSettingsValueChangeListener(
    const std::shared_ptr<const Settings>& node,
    boost::function<void(const SettingsValueChangeEvent&)> listener);

// The leaves of `node` and of every node below it, by full name, all read under one reading lock.
std::map<std::string, LeafValues> subtreeValues(const Settings& node);

// "int", "bool" or "text", for messages.
const char* typeName(const SettingValue& value);

}  // namespace settings::core
