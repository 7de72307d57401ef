#include "foundation/msg_svc/eventmgr/connection.hpp"

#include <algorithm>

#include "foundation/msg_svc/eventmgr/connection_state.hpp"

namespace foundation::msg_svc::eventmgr {

namespace detail {

bool ConnectionState::enter() {
    std::lock_guard lock(mutex);
    if (!connected) return false;
    runners.push_back(std::this_thread::get_id());
    return true;
}

void ConnectionState::leave() {
    std::lock_guard lock(mutex);
    auto it = std::find(runners.begin(), runners.end(), std::this_thread::get_id());
    if (it != runners.end()) runners.erase(it);
    idle.notify_all();
}

void ConnectionState::end(bool waitForRunners) {
    {
        std::lock_guard lock(mutex);
        connected = false;
    }
    link.disconnect();
    if (!waitForRunners) return;
    const auto self = std::this_thread::get_id();
    std::unique_lock lock(mutex);
    idle.wait(lock, [&] {
        return std::all_of(runners.begin(), runners.end(), [&](auto id) { return id == self; });
    });
}

}  // namespace detail

Connection::Connection(std::shared_ptr<detail::ConnectionState> state) : state_(std::move(state)) {}

bool Connection::connected() const {
    if (!state_) return false;
    std::lock_guard lock(state_->mutex);
    return state_->connected;
}

void Connection::disconnect() const {
    if (state_) state_->end(true);
}

void Connection::release() const {
    if (state_) state_->end(false);
}

ScopedConnection::~ScopedConnection() {
    connection_.disconnect();
}

ScopedConnection::ScopedConnection(ScopedConnection&& other) noexcept
    : connection_(std::exchange(other.connection_, Connection())) {}

ScopedConnection& ScopedConnection::operator=(ScopedConnection&& other) noexcept {
    if (this != &other) {
        connection_.disconnect();
        connection_ = std::exchange(other.connection_, Connection());
    }
    return *this;
}

void ScopedConnection::assign(Connection connection) {
    Connection old = std::exchange(connection_, std::move(connection));
    old.release();
}

void ScopedConnection::disconnect() {
    connection_.disconnect();
    connection_ = Connection();
}

}  // namespace foundation::msg_svc::eventmgr
