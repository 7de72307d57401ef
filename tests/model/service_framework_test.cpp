#include <gtest/gtest.h>

#include <atomic>
#include <stdexcept>
#include <thread>
#include <vector>

#include "cppmicroservices/framework_factory.hpp"
#include "cppmicroservices/ldap_filter.hpp"
#include "cppmicroservices/service_tracker.hpp"

namespace cms = cppmicroservices;

namespace {

struct Greeter {
    virtual ~Greeter() = default;
    virtual int id() const = 0;
};

struct NumberedGreeter : Greeter {
    explicit NumberedGreeter(int n) : n(n) {}
    int id() const override { return n; }
    int n;
};

struct Other {
    virtual ~Other() = default;
};

cms::Framework startedFramework() {
    auto framework = cms::FrameworkFactory().NewFramework();
    framework.Start();
    return framework;
}

TEST(LDAPFilterTest, EmptyFilterIsFalseAndMatchesEverything) {
    cms::LDAPFilter empty;
    EXPECT_FALSE(empty);
    EXPECT_EQ(empty.ToString(), "");
    EXPECT_TRUE(empty.Match({{"a", "b"}}));
    cms::LDAPFilter copy = empty;
    EXPECT_FALSE(copy);
}

TEST(LDAPFilterTest, MatchesItemsAndCompositions) {
    const cms::ServiceProperties props{
        {"Backend", "local"}, {"service.ranking", "10"}, {"name", "ostrel client"}};
    EXPECT_TRUE(cms::LDAPFilter("(backend=local)").Match(props));   // keys are case-insensitive
    EXPECT_FALSE(cms::LDAPFilter("(backend=Local)").Match(props));  // values are not
    EXPECT_TRUE(cms::LDAPFilter("(backend=*)").Match(props));
    EXPECT_FALSE(cms::LDAPFilter("(missing=*)").Match(props));
    EXPECT_TRUE(cms::LDAPFilter("(name=ostrel*)").Match(props));
    EXPECT_TRUE(cms::LDAPFilter("(name=*tr*cli*)").Match(props));
    EXPECT_FALSE(cms::LDAPFilter("(name=*client*x)").Match(props));
    EXPECT_TRUE(cms::LDAPFilter("(service.ranking>=9)").Match(props));  // numeric, not textual
    EXPECT_FALSE(cms::LDAPFilter("(service.ranking<=9)").Match(props));
    EXPECT_TRUE(cms::LDAPFilter("(name~=OSTRELCLIENT)").Match(props));
    EXPECT_TRUE(cms::LDAPFilter("(&(backend=local)(!(name=x)))").Match(props));
    EXPECT_TRUE(cms::LDAPFilter("(|(backend=openai)(backend=local))").Match(props));
    EXPECT_FALSE(cms::LDAPFilter("(&(backend=local)(backend=openai))").Match(props));
    EXPECT_TRUE(cms::LDAPFilter("(name=\\(x\\))").Match({{"name", "(x)"}}));

    cms::LDAPFilter filter("(backend=local)");
    EXPECT_TRUE(filter);
    EXPECT_EQ(filter.ToString(), "(backend=local)");
}

TEST(LDAPFilterTest, MalformedFiltersAreRejected) {
    for (const char* text : {"", "backend=local", "(backend=local", "(=x)", "(&)", "(a=b))", "(a=(b))"}) {
        EXPECT_THROW(cms::LDAPFilter{text}, std::invalid_argument) << text;
    }
}

TEST(FrameworkTest, ContextIsValidOnlyWhileStarted) {
    auto framework = cms::FrameworkFactory().NewFramework();
    EXPECT_FALSE(framework.GetBundleContext());
    EXPECT_EQ(framework.GetState(), cms::Bundle::STATE_INSTALLED);
    framework.Start();
    auto context = framework.GetBundleContext();
    EXPECT_TRUE(context);
    EXPECT_EQ(framework.GetState(), cms::Bundle::STATE_ACTIVE);
    framework.Stop();
    EXPECT_FALSE(context);  // copies taken earlier see the stop too
    try {
        context.GetServiceReferences<Greeter>();
        FAIL() << "no exception";
    } catch (const std::runtime_error& e) {
        EXPECT_STREQ(e.what(), "The bundle context is no longer valid");
    }
    EXPECT_THROW(context.RegisterService<Greeter>(std::make_shared<NumberedGreeter>(1)), std::runtime_error);
}

TEST(FrameworkTest, RegistryFindsByInterfaceAndFilterInRegistrationOrder) {
    auto framework = startedFramework();
    auto context = framework.GetBundleContext();
    auto first = std::make_shared<NumberedGreeter>(1);
    auto second = std::make_shared<NumberedGreeter>(2);
    context.RegisterService<Greeter>(first, {{"kind", "b"}});
    auto registration = context.RegisterService<Greeter>(second, {{"kind", "a"}});
    context.RegisterService<Other>(std::make_shared<Other>());

    auto all = context.GetServiceReferences<Greeter>();
    ASSERT_EQ(all.size(), 2u);
    EXPECT_EQ(context.GetServiceObjects(all[0]).GetService(), first);
    EXPECT_EQ(context.GetService(all[1]), second);
    EXPECT_EQ(all[1].GetProperty("kind"), "a");

    auto filtered = context.GetServiceReferences<Greeter>("(kind=a)");
    ASSERT_EQ(filtered.size(), 1u);
    EXPECT_EQ(context.GetService(filtered[0])->id(), 2);
    EXPECT_THROW(context.GetServiceReferences<Greeter>("(kind=a"), std::invalid_argument);

    registration.Unregister();
    EXPECT_THROW(registration.Unregister(), std::logic_error);
    EXPECT_EQ(context.GetServiceReferences<Greeter>().size(), 1u);
    // An object already handed out stays usable; a new request through the old reference gets nothing.
    EXPECT_EQ(second->id(), 2);
    EXPECT_EQ(context.GetServiceObjects(filtered[0]).GetService(), nullptr);
    EXPECT_THROW(context.RegisterService<Greeter>(nullptr), std::invalid_argument);
}

TEST(FrameworkTest, StopUnregistersEveryServiceAndRestartStartsEmpty) {
    auto framework = startedFramework();
    auto context = framework.GetBundleContext();
    std::vector<int> unregistering;
    auto token = context.AddServiceListener([&](const cms::ServiceEvent& event) {
        if (event.GetType() == cms::ServiceEvent::SERVICE_UNREGISTERING)
            unregistering.push_back(std::stoi(event.GetServiceReference().GetProperty("n")));
    });
    context.RegisterService<Greeter>(std::make_shared<NumberedGreeter>(1), {{"n", "1"}});
    context.RegisterService<Greeter>(std::make_shared<NumberedGreeter>(2), {{"n", "2"}});
    framework.Stop();
    EXPECT_EQ(unregistering, (std::vector<int>{1, 2}));
    framework.Start();
    EXPECT_TRUE(framework.GetBundleContext().GetServiceReferences<Greeter>().empty());
}

class RecordingCustomizer : public cms::ServiceTrackerCustomizer<Greeter> {
  public:
    explicit RecordingCustomizer(cms::BundleContext context) : context_(std::move(context)) {}
    std::shared_ptr<Greeter> AddingService(const cms::ServiceReference<Greeter>& reference) override {
        auto service = context_.GetService(reference);
        if (service->id() < 0) return nullptr;  // declines to track
        added.push_back(service->id());
        return service;
    }
    void ModifiedService(const cms::ServiceReference<Greeter>&, const std::shared_ptr<Greeter>&) override {}
    void RemovedService(const cms::ServiceReference<Greeter>&,
                        const std::shared_ptr<Greeter>& service) override {
        removed.push_back(service->id());
    }
    std::vector<int> added, removed;

  private:
    cms::BundleContext context_;
};

TEST(ServiceTrackerTest, TracksExistingAndLaterServicesUntilClosed) {
    auto framework = startedFramework();
    auto context = framework.GetBundleContext();
    context.RegisterService<Greeter>(std::make_shared<NumberedGreeter>(1));
    RecordingCustomizer customizer(context);
    cms::ServiceTracker<Greeter> tracker(context, &customizer);
    EXPECT_TRUE(tracker.IsEmpty());  // nothing before Open
    tracker.Open();
    tracker.Open();  // a second Open changes nothing
    auto later = context.RegisterService<Greeter>(std::make_shared<NumberedGreeter>(2));
    context.RegisterService<Greeter>(std::make_shared<NumberedGreeter>(-1));
    context.RegisterService<Other>(std::make_shared<Other>());
    EXPECT_EQ(customizer.added, (std::vector<int>{1, 2}));
    EXPECT_EQ(tracker.Size(), 2u);
    EXPECT_EQ(tracker.GetService()->id(), 1);

    later.Unregister();
    EXPECT_EQ(customizer.removed, (std::vector<int>{2}));
    tracker.Close();
    EXPECT_EQ(customizer.removed, (std::vector<int>{2, 1}));
    context.RegisterService<Greeter>(std::make_shared<NumberedGreeter>(3));
    EXPECT_EQ(customizer.added, (std::vector<int>{1, 2}));  // closed trackers hear nothing
}

TEST(ServiceTrackerTest, FilterRestrictsAndInvalidContextIsRejected) {
    auto framework = startedFramework();
    auto context = framework.GetBundleContext();
    cms::ServiceTracker<Greeter> tracker(context, cms::LDAPFilter("(backend=openai)"));
    tracker.Open();
    context.RegisterService<Greeter>(std::make_shared<NumberedGreeter>(1), {{"backend", "local"}});
    context.RegisterService<Greeter>(std::make_shared<NumberedGreeter>(2), {{"backend", "openai"}});
    ASSERT_EQ(tracker.Size(), 1u);
    EXPECT_EQ(tracker.GetService()->id(), 2);

    try {
        cms::ServiceTracker<Greeter> invalid{cms::BundleContext()};
        FAIL() << "no exception";
    } catch (const std::invalid_argument& e) {
        EXPECT_STREQ(e.what(), "The bundle context cannot be null.");
    }
}

TEST(ServiceTrackerTest, WaitForServiceWakesOnRegistrationFromAnotherThread) {
    auto framework = startedFramework();
    auto context = framework.GetBundleContext();
    cms::ServiceTracker<Greeter> tracker(context);
    tracker.Open();
    EXPECT_EQ(tracker.WaitForService(std::chrono::milliseconds(10)), nullptr);
    std::thread registrar([&] {
        std::this_thread::sleep_for(std::chrono::milliseconds(20));
        context.RegisterService<Greeter>(std::make_shared<NumberedGreeter>(7));
    });
    auto service = tracker.WaitForService(std::chrono::seconds(5));
    registrar.join();
    ASSERT_NE(service, nullptr);
    EXPECT_EQ(service->id(), 7);
}

TEST(ServiceTrackerTest, ConcurrentRegistrationsAreEachTrackedOnce) {
    auto framework = startedFramework();
    auto context = framework.GetBundleContext();
    std::atomic<int> adds{0};
    struct Counting : cms::ServiceTrackerCustomizer<Greeter> {
        Counting(cms::BundleContext c, std::atomic<int>& n) : context(std::move(c)), adds(n) {}
        std::shared_ptr<Greeter> AddingService(const cms::ServiceReference<Greeter>& r) override {
            ++adds;
            return context.GetService(r);
        }
        void ModifiedService(const cms::ServiceReference<Greeter>&,
                             const std::shared_ptr<Greeter>&) override {}
        void RemovedService(const cms::ServiceReference<Greeter>&, const std::shared_ptr<Greeter>&) override {
        }
        cms::BundleContext context;
        std::atomic<int>& adds;
    } customizer(context, adds);

    std::vector<std::thread> threads;
    for (int t = 0; t < 4; ++t) {
        threads.emplace_back([&, t] {
            for (int i = 0; i < 25; ++i)
                context.RegisterService<Greeter>(std::make_shared<NumberedGreeter>(t * 100 + i));
        });
    }
    cms::ServiceTracker<Greeter> tracker(context, &customizer);
    tracker.Open();  // opens while the registrations are under way
    for (auto& thread : threads)
        thread.join();
    EXPECT_EQ(tracker.Size(), 100u);
    EXPECT_EQ(adds.load(), 100);
}

}  // namespace
