#include "foundation/msg_svc/eventmgr/event_signal.hpp"

#include <boost/signals2/signal.hpp>

#include "foundation/msg_svc/eventmgr/connection_state.hpp"

namespace foundation::msg_svc::eventmgr {

struct EventSignal::Impl {
    boost::signals2::signal<void(const void*)> signal;
};

EventSignal::EventSignal() : impl_(std::make_unique<Impl>()) {}
EventSignal::~EventSignal() = default;

Connection EventSignal::connect(Slot slot) const {
    auto state = std::make_shared<detail::ConnectionState>();
    // The wrapper checks the shared state before each call: the signal may still hold a disconnected
    // wrapper while an emission is in progress, and that wrapper must not reach the listener.
    state->link = impl_->signal.connect([state, slot = std::move(slot)](const void* event) {
        if (!state->enter()) return;
        struct Leave {
            detail::ConnectionState& s;
            ~Leave() { s.leave(); }
        } leave{*state};
        slot(event);
    });
    return Connection(state);
}

void EventSignal::emit(const void* event) const {
    impl_->signal(event);
}

std::size_t EventSignal::listenerCount() const {
    return impl_->signal.num_slots();
}

}  // namespace foundation::msg_svc::eventmgr
