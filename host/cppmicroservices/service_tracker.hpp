#pragma once

#include <chrono>
#include <condition_variable>
#include <map>
#include <memory>
#include <mutex>
#include <set>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include "cppmicroservices/bundle_context.hpp"
#include "cppmicroservices/detail/service_registry.hpp"
#include "cppmicroservices/ldap_filter.hpp"
#include "cppmicroservices/service_tracker_customizer.hpp"

namespace cppmicroservices {

// Follows the services of interface S (optionally restricted by a filter) from Open to Close, keeping
// what the customizer returns for each. Without a customizer the tracker keeps the service objects
// themselves. The customizer is not owned and must outlive the tracker's Close (the destructor closes).
template <class S, class T = S>
class ServiceTracker : protected ServiceTrackerCustomizer<S, T> {
  public:
    explicit ServiceTracker(const BundleContext& context,
                            ServiceTrackerCustomizer<S, T>* customizer = nullptr)
        : ServiceTracker(context, interfaceFilter(), customizer, 0) {}

    ServiceTracker(const BundleContext& context, const LDAPFilter& filter,
                   ServiceTrackerCustomizer<S, T>* customizer = nullptr)
        : ServiceTracker(context, "(&" + interfaceFilter() + filter.ToString() + ")", customizer, 0) {}

    ~ServiceTracker() override { Close(); }

    ServiceTracker(const ServiceTracker&) = delete;
    ServiceTracker& operator=(const ServiceTracker&) = delete;

    // Starts tracking: services already registered are added at once, later ones as they arrive.
    void Open() {
        // Listen before scanning, so that no registration falls between the two; `added` ignores
        // a service reported twice.
        auto token = context_.AddServiceListener([this](const ServiceEvent& event) { serviceChanged(event); },
                                                 filter_.ToString());
        {
            std::lock_guard lock(mutex_);
            if (!open_) {
                open_ = true;
                token_ = std::move(token);
            }
        }
        if (token) {  // already open: this call's listener is surplus
            context_.RemoveListener(std::move(token));
            return;
        }
        for (auto& reference : context_.GetServiceReferences<S>()) {
            if (filter_.Match(reference.GetProperties())) added(reference);
        }
    }

    // Stops tracking; RemovedService is called for each service still tracked.
    void Close() {
        std::unique_lock lock(mutex_);
        if (!open_) return;
        open_ = false;
        ListenerToken token = std::move(token_);
        lock.unlock();
        context_.RemoveListener(std::move(token));
        lock.lock();
        auto tracked = std::move(tracked_);
        tracked_.clear();
        lock.unlock();
        changed_.notify_all();
        for (auto& [id, entry] : tracked)
            customizer_->RemovedService(entry.first, entry.second);
    }

    // The tracked object of the earliest tracked service, or null.
    std::shared_ptr<T> GetService() const {
        std::lock_guard lock(mutex_);
        return tracked_.empty() ? nullptr : tracked_.begin()->second.second;
    }

    std::vector<std::shared_ptr<T>> GetServices() const {
        std::lock_guard lock(mutex_);
        std::vector<std::shared_ptr<T>> services;
        for (const auto& [id, entry] : tracked_)
            services.push_back(entry.second);
        return services;
    }

    std::vector<ServiceReference<S>> GetServiceReferences() const {
        std::lock_guard lock(mutex_);
        std::vector<ServiceReference<S>> references;
        for (const auto& [id, entry] : tracked_)
            references.push_back(entry.first);
        return references;
    }

    // Waits until a service is tracked or the time passes; null when none arrived or the tracker closed.
    template <class Rep, class Period>
    std::shared_ptr<T> WaitForService(const std::chrono::duration<Rep, Period>& timeout) {
        std::unique_lock lock(mutex_);
        changed_.wait_for(lock, timeout, [this] { return !tracked_.empty() || !open_; });
        return tracked_.empty() ? nullptr : tracked_.begin()->second.second;
    }

    std::size_t Size() const {
        std::lock_guard lock(mutex_);
        return tracked_.size();
    }
    bool IsEmpty() const { return Size() == 0; }

  protected:
    std::shared_ptr<T> AddingService(const ServiceReference<S>& reference) override {
        if constexpr (std::is_same_v<S, T>) {
            return context_ ? context_.GetService(reference) : nullptr;
        } else {
            return nullptr;
        }
    }
    void ModifiedService(const ServiceReference<S>&, const std::shared_ptr<T>&) override {}
    void RemovedService(const ServiceReference<S>&, const std::shared_ptr<T>&) override {}

  private:
    ServiceTracker(const BundleContext& context, std::string filterText,
                   ServiceTrackerCustomizer<S, T>* customizer, int)
        : context_(context),
          filter_(checkedFilter(context, filterText)),
          customizer_(customizer ? customizer : this) {}

    static LDAPFilter checkedFilter(const BundleContext& context, const std::string& filterText) {
        if (!context) throw std::invalid_argument("The bundle context cannot be null.");
        return LDAPFilter(filterText);
    }

    static std::string interfaceFilter() {
        return "(" + Constants::OBJECTCLASS + "=" + detail::escapeFilterValue(us_service_interface_iid<S>()) +
               ")";
    }

    void serviceChanged(const ServiceEvent& event) {
        ServiceReference<S> reference(event.GetServiceReference());
        switch (event.GetType()) {
            case ServiceEvent::SERVICE_REGISTERED:
                added(reference);
                break;
            case ServiceEvent::SERVICE_MODIFIED:
                modified(reference);
                break;
            case ServiceEvent::SERVICE_UNREGISTERING:
                removed(reference);
                break;
        }
    }

    long idOf(const ServiceReference<S>& reference) const { return reference.record()->id; }

    void added(const ServiceReference<S>& reference) {
        const long id = idOf(reference);
        {
            std::lock_guard lock(mutex_);
            // A service can be reported by both the initial scan and the listener; add it once.
            if (!open_ || tracked_.count(id) || adding_.count(id)) return;
            adding_.insert(id);
        }
        std::shared_ptr<T> object;
        try {
            object = customizer_->AddingService(reference);
        } catch (...) {
            std::lock_guard lock(mutex_);
            adding_.erase(id);
            throw;
        }
        bool keep = false;
        {
            std::lock_guard lock(mutex_);
            adding_.erase(id);
            keep = object && open_ && reference.IsRegistered();
            if (keep) tracked_.emplace(id, std::make_pair(reference, object));
        }
        if (keep) {
            changed_.notify_all();
        } else if (object) {
            customizer_->RemovedService(reference, object);
        }
    }

    void modified(const ServiceReference<S>& reference) {
        std::shared_ptr<T> object;
        {
            std::lock_guard lock(mutex_);
            auto found = tracked_.find(idOf(reference));
            if (found == tracked_.end()) return;
            object = found->second.second;
        }
        customizer_->ModifiedService(reference, object);
    }

    void removed(const ServiceReference<S>& reference) {
        std::shared_ptr<T> object;
        {
            std::lock_guard lock(mutex_);
            auto found = tracked_.find(idOf(reference));
            if (found == tracked_.end()) return;
            object = std::move(found->second.second);
            tracked_.erase(found);
        }
        changed_.notify_all();
        customizer_->RemovedService(reference, object);
    }

    BundleContext context_;
    LDAPFilter filter_;
    ServiceTrackerCustomizer<S, T>* customizer_;  // not owned
    mutable std::mutex mutex_;
    std::condition_variable changed_;
    bool open_ = false;
    ListenerToken token_;
    std::set<long> adding_;
    std::map<long, std::pair<ServiceReference<S>, std::shared_ptr<T>>> tracked_;
};

}  // namespace cppmicroservices
