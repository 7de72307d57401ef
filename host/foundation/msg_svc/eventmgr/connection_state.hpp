#pragma once

#include <boost/signals2/connection.hpp>
#include <condition_variable>
#include <mutex>
#include <thread>
#include <vector>

namespace foundation::msg_svc::eventmgr::detail {

// Shared by a listener's call wrapper and every handle on its subscription. It tracks the threads
// currently inside the listener so that disconnecting can wait for them.
struct ConnectionState {
    std::mutex mutex;
    std::condition_variable idle;
    bool connected = true;
    std::vector<std::thread::id> runners;
    boost::signals2::connection link;

    // Returns false when the subscription has ended; otherwise records the calling thread as a runner.
    bool enter();
    void leave();
    void end(bool waitForRunners);
};

}  // namespace foundation::msg_svc::eventmgr::detail
