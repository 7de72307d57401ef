#include <gtest/gtest.h>

#include <atomic>
#include <filesystem>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "quorvanta/function_registry.hpp"
#include "temp_folder.hpp"

namespace {

using Quorvanta::FunctionOrigin;
using Quorvanta::functionRegistry;

// Readers look names up while another thread keeps dropping the caches; every answer must still be
// the right one, whichever cache state it met.
TEST(FunctionRegistryThreads, LookupsStayConsistentWhileCachesAreCleared) {
    TempFolder folder;
    for (int k = 0; k < 20; ++k)
        folder.write("user_fn_" + std::to_string(k) + ".ost");
    functionRegistry::setSearchPath({folder.path()});

    std::vector<std::pair<std::u16string, FunctionOrigin>> expected = {
        {u"sin", FunctionOrigin::BuiltIn},       {u"regexprep", FunctionOrigin::BuiltIn},
        {u"movmean", FunctionOrigin::Library},   {u"zscore", FunctionOrigin::Library},
        {u"not_there", FunctionOrigin::Unknown}, {u"User_fn_1", FunctionOrigin::Unknown},
    };
    for (int k = 0; k < 20; ++k) {
        const std::string name = "user_fn_" + std::to_string(k);
        expected.emplace_back(std::u16string(name.begin(), name.end()), FunctionOrigin::User);
    }

    std::atomic<bool> stop{false};
    std::atomic<long> wrong{0};
    std::atomic<long> lookups{0};
    std::vector<std::thread> readers;
    for (int t = 0; t < 4; ++t) {
        readers.emplace_back([&, t] {
            for (std::size_t i = t; !stop.load(std::memory_order_relaxed); ++i) {
                const auto& [name, origin] = expected[i % expected.size()];
                if (functionRegistry::lookup(name) != origin) ++wrong;
                ++lookups;
            }
        });
    }
    for (int round = 0; round < 2000; ++round)
        functionRegistry::clearCaches(round % 2 == 0);
    // Give the readers a last stretch on warm caches too.
    while (lookups.load() < 20000)
        std::this_thread::yield();
    stop = true;
    for (auto& reader : readers)
        reader.join();

    EXPECT_EQ(wrong.load(), 0) << "of " << lookups.load() << " look-ups";
    functionRegistry::setSearchPath({});
}

// Changing the path while readers run must not crash; afterwards the new path alone counts.
TEST(FunctionRegistryThreads, PathChangesUnderLoadSettleOnTheLastPath) {
    TempFolder first;
    TempFolder second;
    first.write("from_first.ost");
    second.write("from_second.ost");

    std::atomic<bool> stop{false};
    std::vector<std::thread> readers;
    for (int t = 0; t < 3; ++t) {
        readers.emplace_back([&] {
            while (!stop.load(std::memory_order_relaxed)) {
                const auto a = functionRegistry::lookup(u"from_first");
                const auto b = functionRegistry::lookup(u"from_second");
                // Each name is a user function or unknown, never anything else.
                EXPECT_NE(a, FunctionOrigin::BuiltIn);
                EXPECT_NE(b, FunctionOrigin::Library);
            }
        });
    }
    for (int round = 0; round < 500; ++round) {
        functionRegistry::setSearchPath({round % 2 == 0 ? first.path() : second.path()});
    }
    stop = true;
    for (auto& reader : readers)
        reader.join();

    functionRegistry::setSearchPath({second.path()});
    EXPECT_EQ(functionRegistry::lookup(u"from_first"), FunctionOrigin::Unknown);
    EXPECT_EQ(functionRegistry::lookup(u"from_second"), FunctionOrigin::User);
    functionRegistry::setSearchPath({});
}

}  // namespace
