#pragma once

#include <atomic>
#include <chrono>
#include <future>
#include <memory>
#include <optional>
#include <stdexcept>

#include "cppmicroservices/bundle_context.hpp"
#include "cppmicroservices/ldap_filter.hpp"
#include "cppmicroservices/service_tracker.hpp"
#include "foundation/cppmicroservices/framework_access.hpp"

namespace foundation::cppmicroservices {

// Returns the first service of interface I matching `filter` (empty: any). A service already registered
// is returned at once; otherwise a tracker waits for one. Without a time limit the wait is unbounded;
// with one, null is returned when it passes (at once for a zero or negative limit).
// Throws std::runtime_error("No BundleContext") when there is no running framework to track in, and
// "The bundle context is no longer valid" when the context dies during the immediate look-up.
template <class I>
std::shared_ptr<I> i_waitForService(std::optional<std::chrono::milliseconds> timeout,
                                    ::cppmicroservices::LDAPFilter filter) {
    // Holds the promise and, when needed, the tracker that fulfils it. Several services may arrive;
    // the flag lets only the first one through.
    class ListenForService : public ::cppmicroservices::ServiceTrackerCustomizer<I> {
      public:
        explicit ListenForService(::cppmicroservices::LDAPFilter filter) : filter_(std::move(filter)) {}

        std::future<std::shared_ptr<I>> future() { return promise_.get_future(); }

        void fulfil(const std::shared_ptr<I>& service) {
            if (service && !fulfilled_.exchange(true)) promise_.set_value(service);
        }

        void track(const ::cppmicroservices::BundleContext& context) {
            context_ = context;
            tracker_ = filter_
                           ? std::make_unique<::cppmicroservices::ServiceTracker<I>>(context, filter_, this)
                           : std::make_unique<::cppmicroservices::ServiceTracker<I>>(context, this);
            tracker_->Open();
        }

        std::shared_ptr<I> AddingService(const ::cppmicroservices::ServiceReference<I>& reference) override {
            auto service = context_.GetServiceObjects(reference).GetService();
            fulfil(service);
            return service;
        }
        void ModifiedService(const ::cppmicroservices::ServiceReference<I>&,
                             const std::shared_ptr<I>&) override {}
        void RemovedService(const ::cppmicroservices::ServiceReference<I>&,
                            const std::shared_ptr<I>&) override {}

      private:
        ::cppmicroservices::LDAPFilter filter_;
        std::promise<std::shared_ptr<I>> promise_;
        std::atomic<bool> fulfilled_{false};
        ::cppmicroservices::BundleContext context_;
        // Last, so that the tracker closes while the rest of this customizer is still alive.
        std::unique_ptr<::cppmicroservices::ServiceTracker<I>> tracker_;
    };

    ListenForService listener(filter);
    auto future = listener.future();

    std::shared_ptr<I> found;
    if (auto framework = getFramework()) {
        auto context = framework->GetBundleContext();
        auto references = context.template GetServiceReferences<I>(filter.ToString());
        if (!references.empty()) found = context.GetServiceObjects(references.front()).GetService();
    }

    if (found) {
        listener.fulfil(found);
    } else {
        auto framework = getFramework();
        auto context = framework ? framework->GetBundleContext() : ::cppmicroservices::BundleContext();
        if (!context) throw std::runtime_error("No BundleContext");
        listener.track(context);
    }

    if (!timeout) return future.get();
    if (future.wait_for(std::chrono::seconds(0)) == std::future_status::deferred || timeout->count() <= 0)
        return nullptr;
    if (future.wait_until(std::chrono::steady_clock::now() + *timeout) != std::future_status::ready)
        return nullptr;
    return future.get();
}

}  // namespace foundation::cppmicroservices
