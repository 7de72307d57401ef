#pragma once

#include <boost/function.hpp>
#include <memory>

#include "foundation/msg_svc/eventmgr/connection.hpp"

namespace foundation::msg_svc::eventmgr {

// A list of listeners for events of one kind, type-erased so that the signal machinery stays out of
// this header. Listeners are called in the order they connected, on the thread that emits.
class EventSignal {
  public:
    using Slot = boost::function<void(const void*)>;

    EventSignal();
    ~EventSignal();
    EventSignal(const EventSignal&) = delete;
    EventSignal& operator=(const EventSignal&) = delete;

    Connection connect(Slot slot) const;
    // An exception from a listener propagates to the emitter; later listeners are not called.
    void emit(const void* event) const;
    std::size_t listenerCount() const;

  private:
    struct Impl;
    std::unique_ptr<Impl> impl_;
};

template <typename Event>
class Signal {
  public:
    using Listener = boost::function<void(const Event&)>;

    Connection connect(Listener listener) const {
        return signal_.connect([listener = std::move(listener)](const void* event) {
            listener(*static_cast<const Event*>(event));
        });
    }
    void emit(const Event& event) const { signal_.emit(&event); }
    std::size_t listenerCount() const { return signal_.listenerCount(); }

  private:
    EventSignal signal_;
};

}  // namespace foundation::msg_svc::eventmgr
