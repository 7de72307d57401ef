#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <future>
#include <thread>

#include "foundation/msg_svc/eventmgr/event_signal.hpp"

namespace eventmgr = foundation::msg_svc::eventmgr;

namespace {

struct Ping {
    int value;
};

TEST(ScopedConnection, EndsTheSubscriptionOnDestructionAssignMoveAndFromItsOwnListener) {
    eventmgr::Signal<Ping> signal;
    int a = 0, b = 0;
    {
        eventmgr::ScopedConnection scoped;
        EXPECT_FALSE(scoped.connected());
        scoped.assign(signal.connect([&](const Ping& p) { a += p.value; }));
        signal.emit({1});
        EXPECT_EQ(a, 1);

        // Reassigning ends the first subscription and keeps the second.
        scoped.assign(signal.connect([&](const Ping& p) { b += p.value; }));
        signal.emit({10});
        EXPECT_EQ(a, 1);
        EXPECT_EQ(b, 10);
        EXPECT_EQ(signal.listenerCount(), 1u);

        eventmgr::ScopedConnection moved(std::move(scoped));
        EXPECT_FALSE(scoped.connected());
        EXPECT_TRUE(moved.connected());
        signal.emit({100});
        EXPECT_EQ(b, 110);
    }
    signal.emit({1000});
    EXPECT_EQ(b, 110);
    EXPECT_EQ(signal.listenerCount(), 0u);

    // A listener may end its own subscription.
    eventmgr::ScopedConnection self;
    int calls = 0;
    self.assign(signal.connect([&](const Ping&) {
        ++calls;
        self.disconnect();
    }));
    signal.emit({0});
    signal.emit({0});
    EXPECT_EQ(calls, 1);
}

TEST(ScopedConnection, DestructionWaitsForACallRunningOnAnotherThread) {
    eventmgr::Signal<Ping> signal;
    std::promise<void> entered;
    std::atomic<bool> finished{false};
    auto scoped = std::make_unique<eventmgr::ScopedConnection>(signal.connect([&](const Ping&) {
        entered.set_value();
        std::this_thread::sleep_for(std::chrono::milliseconds(50));
        finished = true;
    }));
    std::thread emitter([&] { signal.emit({0}); });
    entered.get_future().wait();
    scoped.reset();  // must not return while the listener still runs
    EXPECT_TRUE(finished);
    emitter.join();
}

}  // namespace
