#include "foundation/cppmicroservices/wait_for_service.hpp"

#include <gtest/gtest.h>

#include <future>
#include <stdexcept>
#include <thread>

#include "cppmicroservices/framework_factory.hpp"
#include "foundation/cppmicroservices/framework_access.hpp"

namespace cms = cppmicroservices;
using foundation::cppmicroservices::i_waitForService;
using foundation::cppmicroservices::setFramework;
using namespace std::chrono_literals;

namespace {

struct Service {
    virtual ~Service() = default;
    virtual int id() const = 0;
};

struct NumberedService : Service {
    explicit NumberedService(int n) : n(n) {}
    int id() const override { return n; }
    int n;
};

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

TEST_F(WaitForServiceTest, ReturnsARegisteredServiceAtOnce) {
    context.RegisterService<Service>(std::make_shared<NumberedService>(1));
    context.RegisterService<Service>(std::make_shared<NumberedService>(2));
    auto service = i_waitForService<Service>(std::nullopt, cms::LDAPFilter());
    ASSERT_NE(service, nullptr);
    EXPECT_EQ(service->id(), 1);  // the first reference the registry returns
    auto bounded = i_waitForService<Service>(100ms, cms::LDAPFilter("(role=second)"));
    EXPECT_EQ(bounded, nullptr);  // the filter matches nothing
    context.RegisterService<Service>(std::make_shared<NumberedService>(3), {{"role", "second"}});
    bounded = i_waitForService<Service>(100ms, cms::LDAPFilter("(role=second)"));
    ASSERT_NE(bounded, nullptr);
    EXPECT_EQ(bounded->id(), 3);
}

TEST_F(WaitForServiceTest, BlocksUntilAServiceIsRegistered) {
    auto waiting = std::async(std::launch::async,
                              [] { return i_waitForService<Service>(std::nullopt, cms::LDAPFilter()); });
    EXPECT_EQ(waiting.wait_for(50ms), std::future_status::timeout);
    context.RegisterService<Service>(std::make_shared<NumberedService>(5), {{"role", "x"}});
    context.RegisterService<Service>(std::make_shared<NumberedService>(6));
    ASSERT_EQ(waiting.wait_for(5s), std::future_status::ready);
    EXPECT_EQ(waiting.get()->id(), 5);  // later arrivals do not touch the fulfilled promise
}

TEST_F(WaitForServiceTest, TrackerHonoursTheFilter) {
    auto waiting = std::async(std::launch::async,
                              [] { return i_waitForService<Service>(5s, cms::LDAPFilter("(role=wanted)")); });
    std::this_thread::sleep_for(20ms);
    context.RegisterService<Service>(std::make_shared<NumberedService>(1), {{"role", "other"}});
    context.RegisterService<Service>(std::make_shared<NumberedService>(2), {{"role", "wanted"}});
    auto service = waiting.get();
    ASSERT_NE(service, nullptr);
    EXPECT_EQ(service->id(), 2);
}

TEST_F(WaitForServiceTest, TimeLimitsReturnNull) {
    const auto start = std::chrono::steady_clock::now();
    EXPECT_EQ(i_waitForService<Service>(60ms, cms::LDAPFilter()), nullptr);
    const auto waited = std::chrono::steady_clock::now() - start;
    EXPECT_GE(waited, 60ms);
    EXPECT_LT(waited, 2s);
    EXPECT_EQ(i_waitForService<Service>(0ms, cms::LDAPFilter()), nullptr);
    EXPECT_EQ(i_waitForService<Service>(-5ms, cms::LDAPFilter()), nullptr);
    // A zero limit returns at once even when the service is there.
    context.RegisterService<Service>(std::make_shared<NumberedService>(1));
    EXPECT_EQ(i_waitForService<Service>(0ms, cms::LDAPFilter()), nullptr);
    EXPECT_NE(i_waitForService<Service>(10ms, cms::LDAPFilter()), nullptr);
}

TEST_F(WaitForServiceTest, ServiceStaysValidAfterUnregistration) {
    auto registration = context.RegisterService<Service>(std::make_shared<NumberedService>(9));
    auto service = i_waitForService<Service>(std::nullopt, cms::LDAPFilter());
    registration.Unregister();
    framework.Stop();
    EXPECT_EQ(service->id(), 9);
}

TEST_F(WaitForServiceTest, MissingOrDeadContextsThrowTheirMessages) {
    setFramework(std::nullopt);
    try {
        i_waitForService<Service>(std::nullopt, cms::LDAPFilter());
        FAIL() << "no exception";
    } catch (const std::runtime_error& e) {
        EXPECT_STREQ(e.what(), "No BundleContext");
    }
    setFramework(framework);
    framework.Stop();
    try {
        i_waitForService<Service>(std::nullopt, cms::LDAPFilter());
        FAIL() << "no exception";
    } catch (const std::runtime_error& e) {
        EXPECT_STREQ(e.what(), "The bundle context is no longer valid");
    }
}

}  // namespace
