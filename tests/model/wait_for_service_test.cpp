#include "foundation/cppmicroservices/wait_for_service.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <future>
#include <stdexcept>
#include <thread>

#include "cppmicroservices/framework_factory.hpp"
#include "foundation/cppmicroservices/framework_access.hpp"
#include "service_test_types.hpp"

namespace cms = cppmicroservices;
using foundation::cppmicroservices::i_waitForService;
using foundation::cppmicroservices::setFramework;
using model_test::Numbered;
using model_test::Service;
using namespace std::chrono_literals;

namespace {

std::shared_ptr<Service> waitFor(std::optional<std::chrono::milliseconds> limit,
                                 const char* filter = nullptr) {
    return i_waitForService<Service>(limit, filter ? cms::LDAPFilter(filter) : cms::LDAPFilter());
}

// Each test runs against its own framework, installed as the process's framework for its duration.
class WaitForServiceTest : public ::testing::Test {
  protected:
    void SetUp() override {
        framework = cms::FrameworkFactory().NewFramework();
        framework.Start();
        setFramework(framework);
        context = framework.GetBundleContext();
    }
    void TearDown() override {
        setFramework(std::nullopt);
        framework.Stop();
    }

    cms::Framework framework;
    cms::BundleContext context;
};

// A registered service comes back at once, and stays usable after it is unregistered.
TEST_F(WaitForServiceTest, ReturnsARegisteredServiceAtOnce) {
    auto registration = context.RegisterService<Service>(std::make_shared<Numbered>(1));
    context.RegisterService<Service>(std::make_shared<Numbered>(2));
    const auto first = waitFor(std::nullopt);
    ASSERT_NE(first, nullptr);
    EXPECT_EQ(first->id(), 1);                            // the first reference the registry returns
    EXPECT_EQ(waitFor(100ms, "(role=second)"), nullptr);  // the filter matches nothing
    context.RegisterService<Service>(std::make_shared<Numbered>(3), {{"role", "second"}});
    const auto second = waitFor(100ms, "(role=second)");
    ASSERT_NE(second, nullptr);
    EXPECT_EQ(second->id(), 3);
    registration.Unregister();
    framework.Stop();
    EXPECT_EQ(first->id(), 1);
}

// Waiters with and without a limit and filter each get the first arrival they accept; later arrivals do
// not touch a fulfilled wait.
TEST_F(WaitForServiceTest, BlocksUntilAMatchingServiceIsRegistered) {
    auto any = std::async(std::launch::async, [] { return waitFor(std::nullopt); });
    auto wanted = std::async(std::launch::async, [] { return waitFor(5s, "(role=wanted)"); });
    EXPECT_EQ(any.wait_for(50ms), std::future_status::timeout);
    context.RegisterService<Service>(std::make_shared<Numbered>(5), {{"role", "other"}});
    context.RegisterService<Service>(std::make_shared<Numbered>(6), {{"role", "wanted"}});
    context.RegisterService<Service>(std::make_shared<Numbered>(7), {{"role", "wanted"}});
    ASSERT_EQ(any.wait_for(5s), std::future_status::ready);
    EXPECT_EQ(any.get()->id(), 5);
    const auto service = wanted.get();
    ASSERT_NE(service, nullptr);
    EXPECT_EQ(service->id(), 6);
}

TEST_F(WaitForServiceTest, TimeLimitsReturnNull) {
    const auto start = std::chrono::steady_clock::now();
    EXPECT_EQ(waitFor(60ms), nullptr);
    const auto waited = std::chrono::steady_clock::now() - start;
    EXPECT_GE(waited, 60ms);
    EXPECT_LT(waited, 2s);
    EXPECT_EQ(waitFor(0ms), nullptr);
    EXPECT_EQ(waitFor(-5ms), nullptr);
    // A zero limit returns at once even when the service is there.
    context.RegisterService<Service>(std::make_shared<Numbered>(1));
    EXPECT_EQ(waitFor(0ms), nullptr);
    EXPECT_NE(waitFor(10ms), nullptr);
}

TEST_F(WaitForServiceTest, MissingOrDeadContextsThrowTheirMessages) {
    setFramework(std::nullopt);
    EXPECT_THAT([] { waitFor(std::nullopt); },
                testing::ThrowsMessage<std::runtime_error>("No BundleContext"));
    setFramework(framework);
    framework.Stop();
    EXPECT_THAT([] { waitFor(std::nullopt); },
                testing::ThrowsMessage<std::runtime_error>("The bundle context is no longer valid"));
}

}  // namespace
