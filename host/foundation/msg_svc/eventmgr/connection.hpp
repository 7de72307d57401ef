#pragma once

#include <memory>

namespace foundation::msg_svc::eventmgr {

namespace detail {
struct ConnectionState;
}

// A handle on one listener's subscription. Copies refer to the same subscription; a default-built
// connection refers to none.
class Connection {
  public:
    Connection() = default;
    explicit Connection(std::shared_ptr<detail::ConnectionState> state);

    bool connected() const;

    // Ends the subscription and waits until calls of the listener running on other threads have
    // returned, so that whatever the listener uses may be destroyed afterwards. A call from inside the
    // listener itself does not wait for its own call.
    void disconnect() const;

    // Ends the subscription without waiting for running calls.
    void release() const;

  private:
    std::shared_ptr<detail::ConnectionState> state_;
};

// Owns a subscription for a scope: destroying it ends the subscription (waiting for running calls).
// Move-only, so that exactly one owner ends it.
class ScopedConnection {
  public:
    ScopedConnection() = default;
    explicit ScopedConnection(Connection connection) : connection_(std::move(connection)) {}
    ~ScopedConnection();

    ScopedConnection(ScopedConnection&& other) noexcept;
    ScopedConnection& operator=(ScopedConnection&& other) noexcept;
    ScopedConnection(const ScopedConnection&) = delete;
    ScopedConnection& operator=(const ScopedConnection&) = delete;

    // Takes over `connection` and ends the subscription held before. The old one ends at once; a call of
    // its listener already running on another thread may still finish (waiting here could deadlock a
    // caller that holds a lock the listener takes).
    void assign(Connection connection);

    void disconnect();
    bool connected() const { return connection_.connected(); }

  private:
    Connection connection_;
};

}  // namespace foundation::msg_svc::eventmgr
