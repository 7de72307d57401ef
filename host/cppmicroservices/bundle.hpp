#pragma once

#include <memory>
#include <string>

#include "cppmicroservices/bundle_context.hpp"

namespace cppmicroservices {

namespace detail {
struct FrameworkCore;
}

// A bundle handle. The only bundle here is the framework's own system bundle; copies share it.
class Bundle {
  public:
    enum State {
        STATE_UNINSTALLED = 0x01,
        STATE_INSTALLED = 0x02,
        STATE_RESOLVED = 0x04,
        STATE_STARTING = 0x08,
        STATE_STOPPING = 0x10,
        STATE_ACTIVE = 0x20,
    };

    Bundle() = default;
    explicit operator bool() const noexcept { return core_ != nullptr; }

    // The bundle's context while it is starting or active; an invalid context otherwise.
    BundleContext GetBundleContext() const;
    State GetState() const;
    long GetBundleId() const { return 0; }
    std::string GetSymbolicName() const { return "system_bundle"; }

  protected:
    explicit Bundle(std::shared_ptr<detail::FrameworkCore> core) : core_(std::move(core)) {}

    std::shared_ptr<detail::FrameworkCore> core_;
};

}  // namespace cppmicroservices
