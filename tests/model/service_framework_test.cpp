#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <future>
#include <mutex>
#include <stdexcept>
#include <thread>
#include <vector>

#include "cppmicroservices/framework_factory.hpp"
#include "cppmicroservices/ldap_filter.hpp"
#include "cppmicroservices/service_tracker.hpp"
#include "foundation/cppmicroservices/framework_access.hpp"
#include "foundation/cppmicroservices/wait_for_service.hpp"

namespace cms = cppmicroservices;
using foundation::cppmicroservices::i_waitForService;
using foundation::cppmicroservices::setFramework;
using namespace std::chrono_literals;
using testing::ThrowsMessage;

namespace {

// A service interface to register, and an implementation that says which one it is.
struct Service {
    virtual ~Service() = default;
    virtual int id() const = 0;
};

struct Numbered : Service {
    explicit Numbered(int n) : n(n) {}
    int id() const override { return n; }
    int n;
};

struct Other {
    virtual ~Other() = default;
};

// A started framework, installed as the process's framework for the test's duration.
class Started : public ::testing::Test {
  protected:
    void SetUp() override {
        framework.Start();
        setFramework(framework);
        context = framework.GetBundleContext();
    }
    void TearDown() override {
        setFramework(std::nullopt);
        framework.Stop();
    }

    cms::Framework framework = cms::FrameworkFactory().NewFramework();
    cms::BundleContext context;
};

TEST(LDAPFilterTest, MatchesItemsAndCompositionsAndRejectsMalformedText) {
    const cms::ServiceProperties props{
        {"Backend", "local"}, {"service.ranking", "10"}, {"name", "ostrel client"}};
    // Keys are case-insensitive and values are not; ranges compare numbers, not text.
    for (const char* text :
         {"(backend=local)", "(backend=*)", "(name=ostrel*)", "(name=*tr*cli*)", "(service.ranking>=9)",
          "(name~=OSTRELCLIENT)", "(&(backend=local)(!(name=x)))", "(|(backend=openai)(backend=local))"})
        EXPECT_TRUE(cms::LDAPFilter(text).Match(props)) << text;
    for (const char* text : {"(backend=Local)", "(missing=*)", "(name=*client*x)", "(service.ranking<=9)",
                             "(&(backend=local)(backend=openai))"})
        EXPECT_FALSE(cms::LDAPFilter(text).Match(props)) << text;
    EXPECT_TRUE(cms::LDAPFilter("(name=\\(x\\))").Match({{"name", "(x)"}}));

    const cms::LDAPFilter filter("(backend=local)");
    EXPECT_TRUE(filter);
    EXPECT_EQ(filter.ToString(), "(backend=local)");
    // The empty filter, and copies of it, are false and match everything.
    const cms::LDAPFilter empty, copy = empty;
    EXPECT_FALSE(empty);
    EXPECT_FALSE(copy);
    EXPECT_EQ(empty.ToString(), "");
    EXPECT_TRUE(empty.Match(props));
    for (const char* text : {"", "backend=local", "(backend=local", "(=x)", "(&)", "(a=b))", "(a=(b))"})
        EXPECT_THROW(cms::LDAPFilter{text}, std::invalid_argument) << text;
}

// Stopping invalidates the context, copies included, and unregisters every service in order; a restart
// starts empty.
TEST(FrameworkTest, ContextIsValidOnlyWhileStarted) {
    auto framework = cms::FrameworkFactory().NewFramework();
    EXPECT_FALSE(framework.GetBundleContext());
    EXPECT_EQ(framework.GetState(), cms::Bundle::STATE_INSTALLED);
    framework.Start();
    auto context = framework.GetBundleContext();
    EXPECT_TRUE(context);
    EXPECT_EQ(framework.GetState(), cms::Bundle::STATE_ACTIVE);
    std::vector<int> unregistering;
    auto token = context.AddServiceListener([&](const cms::ServiceEvent& event) {
        if (event.GetType() == cms::ServiceEvent::SERVICE_UNREGISTERING)
            unregistering.push_back(std::stoi(event.GetServiceReference().GetProperty("n")));
    });
    context.RegisterService<Service>(std::make_shared<Numbered>(1), {{"n", "1"}});
    context.RegisterService<Service>(std::make_shared<Numbered>(2), {{"n", "2"}});

    framework.Stop();
    EXPECT_EQ(unregistering, (std::vector<int>{1, 2}));
    EXPECT_FALSE(context);
    EXPECT_THROW(context.RegisterService<Service>(std::make_shared<Numbered>(1)), std::runtime_error);
    framework.Start();
    EXPECT_TRUE(framework.GetBundleContext().GetServiceReferences<Service>().empty());
}

TEST_F(Started, RegistryFindsByInterfaceAndFilterInRegistrationOrder) {
    auto first = std::make_shared<Numbered>(1);
    auto second = std::make_shared<Numbered>(2);
    context.RegisterService<Service>(first, {{"kind", "b"}});
    auto registration = context.RegisterService<Service>(second, {{"kind", "a"}});
    context.RegisterService<Other>(std::make_shared<Other>());

    auto all = context.GetServiceReferences<Service>();
    ASSERT_EQ(all.size(), 2u);
    EXPECT_EQ(context.GetServiceObjects(all[0]).GetService(), first);
    EXPECT_EQ(context.GetService(all[1]), second);
    EXPECT_EQ(all[1].GetProperty("kind"), "a");

    auto filtered = context.GetServiceReferences<Service>("(kind=a)");
    ASSERT_EQ(filtered.size(), 1u);
    EXPECT_EQ(context.GetService(filtered[0])->id(), 2);
    EXPECT_THROW(context.GetServiceReferences<Service>("(kind=a"), std::invalid_argument);

    registration.Unregister();
    EXPECT_THROW(registration.Unregister(), std::logic_error);
    EXPECT_EQ(context.GetServiceReferences<Service>().size(), 1u);
    // An object already handed out stays usable; a new request through the old reference gets nothing.
    EXPECT_EQ(second->id(), 2);
    EXPECT_EQ(context.GetServiceObjects(filtered[0]).GetService(), nullptr);
    EXPECT_THROW(context.RegisterService<Service>(nullptr), std::invalid_argument);
}

// Declines services with a negative id. Registrations on several threads may call it at once; read its
// records once they are done.
class RecordingCustomizer : public cms::ServiceTrackerCustomizer<Service> {
  public:
    explicit RecordingCustomizer(cms::BundleContext context) : context_(std::move(context)) {}
    std::shared_ptr<Service> AddingService(const cms::ServiceReference<Service>& reference) override {
        auto service = context_.GetService(reference);
        if (service->id() < 0) return nullptr;
        std::lock_guard lock(mutex_);
        added.push_back(service->id());
        return service;
    }
    void ModifiedService(const cms::ServiceReference<Service>&, const std::shared_ptr<Service>&) override {}
    void RemovedService(const cms::ServiceReference<Service>&,
                        const std::shared_ptr<Service>& service) override {
        std::lock_guard lock(mutex_);
        removed.push_back(service->id());
    }
    std::vector<int> added, removed;

  private:
    cms::BundleContext context_;
    std::mutex mutex_;
};

TEST_F(Started, TrackerTracksExistingAndLaterServicesUntilClosed) {
    context.RegisterService<Service>(std::make_shared<Numbered>(1));
    RecordingCustomizer customizer(context);
    cms::ServiceTracker<Service> tracker(context, &customizer);
    EXPECT_TRUE(tracker.IsEmpty());  // nothing before Open
    tracker.Open();
    tracker.Open();  // a second Open changes nothing
    auto later = context.RegisterService<Service>(std::make_shared<Numbered>(2));
    context.RegisterService<Service>(std::make_shared<Numbered>(-1));
    context.RegisterService<Other>(std::make_shared<Other>());
    EXPECT_EQ(customizer.added, (std::vector<int>{1, 2}));
    EXPECT_EQ(tracker.Size(), 2u);
    EXPECT_EQ(tracker.GetService()->id(), 1);

    later.Unregister();
    EXPECT_EQ(customizer.removed, (std::vector<int>{2}));
    tracker.Close();
    EXPECT_EQ(customizer.removed, (std::vector<int>{2, 1}));
    context.RegisterService<Service>(std::make_shared<Numbered>(3));
    EXPECT_EQ(customizer.added, (std::vector<int>{1, 2}));  // closed trackers hear nothing
}

// Without a customizer the tracker keeps the service objects themselves.
TEST_F(Started, TrackerFilterRestrictsWaitsWakeOnRegistrationAndInvalidContextIsRejected) {
    cms::ServiceTracker<Service> tracker(context, cms::LDAPFilter("(backend=openai)"));
    tracker.Open();
    EXPECT_EQ(tracker.WaitForService(10ms), nullptr);
    std::thread registrar([&] {
        std::this_thread::sleep_for(20ms);
        context.RegisterService<Service>(std::make_shared<Numbered>(1), {{"backend", "local"}});
        context.RegisterService<Service>(std::make_shared<Numbered>(2), {{"backend", "openai"}});
    });
    const auto service = tracker.WaitForService(5s);
    registrar.join();
    ASSERT_NE(service, nullptr);
    EXPECT_EQ(service->id(), 2);
    EXPECT_EQ(tracker.Size(), 1u);
    EXPECT_THAT([] { cms::ServiceTracker<Service> invalid{cms::BundleContext()}; },
                ThrowsMessage<std::invalid_argument>("The bundle context cannot be null."));
}

TEST_F(Started, TrackerConcurrentRegistrationsAreEachTrackedOnce) {
    RecordingCustomizer customizer(context);
    std::vector<std::thread> threads;
    for (int t = 0; t < 4; ++t) {
        threads.emplace_back([&, t] {
            for (int i = 0; i < 25; ++i)
                context.RegisterService<Service>(std::make_shared<Numbered>(t * 100 + i));
        });
    }
    cms::ServiceTracker<Service> tracker(context, &customizer);
    tracker.Open();  // opens while the registrations are under way
    for (auto& thread : threads)
        thread.join();
    EXPECT_EQ(tracker.Size(), 100u);
    EXPECT_EQ(customizer.added.size(), 100u);
}

std::shared_ptr<Service> waitFor(std::optional<std::chrono::milliseconds> limit,
                                 const char* filter = nullptr) {
    return i_waitForService<Service>(limit, filter ? cms::LDAPFilter(filter) : cms::LDAPFilter());
}

// A registered service comes back at once, and stays usable after it is unregistered; a wait with a
// time limit ends with null, and a zero limit returns at once even when the service is there.
TEST_F(Started, WaitReturnsARegisteredServiceAtOnceOrNullWhenTheLimitPasses) {
    const auto start = std::chrono::steady_clock::now();
    EXPECT_EQ(waitFor(60ms), nullptr);
    const auto waited = std::chrono::steady_clock::now() - start;
    EXPECT_GE(waited, 60ms);
    EXPECT_LT(waited, 2s);
    EXPECT_EQ(waitFor(-5ms), nullptr);
    auto registration = context.RegisterService<Service>(std::make_shared<Numbered>(1));
    context.RegisterService<Service>(std::make_shared<Numbered>(2));
    EXPECT_EQ(waitFor(0ms), nullptr);
    const auto first = waitFor(std::nullopt);
    ASSERT_NE(first, nullptr);
    EXPECT_EQ(first->id(), 1);                           // the first reference the registry returns
    EXPECT_EQ(waitFor(10ms, "(role=second)"), nullptr);  // the filter matches nothing
    context.RegisterService<Service>(std::make_shared<Numbered>(3), {{"role", "second"}});
    const auto second = waitFor(10ms, "(role=second)");
    ASSERT_NE(second, nullptr);
    EXPECT_EQ(second->id(), 3);
    registration.Unregister();
    framework.Stop();
    EXPECT_EQ(first->id(), 1);
    EXPECT_THAT([] { waitFor(std::nullopt); },
                ThrowsMessage<std::runtime_error>("The bundle context is no longer valid"));
    setFramework(std::nullopt);
    EXPECT_THAT([] { waitFor(std::nullopt); }, ThrowsMessage<std::runtime_error>("No BundleContext"));
}

// Waiters with and without a limit and filter each get the first arrival they accept; later arrivals do
// not touch a fulfilled wait.
TEST_F(Started, WaitBlocksUntilAMatchingServiceIsRegistered) {
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

}  // namespace
