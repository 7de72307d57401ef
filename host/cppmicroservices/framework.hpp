#pragma once

#include <memory>

#include "cppmicroservices/bundle.hpp"

namespace cppmicroservices {

// The framework: its system bundle plus the life cycle of the service registry. Start makes the bundle
// context valid; Stop unregisters every service (listeners see each one leave) and invalidates every
// copy of the context. A stopped framework can be started again with a fresh, empty registry.
class Framework : public Bundle {
  public:
    Framework() = default;

    void Init();
    void Start();
    void Stop();

  private:
    friend class FrameworkFactory;
    explicit Framework(std::shared_ptr<detail::FrameworkCore> core) : Bundle(std::move(core)) {}
};

}  // namespace cppmicroservices
