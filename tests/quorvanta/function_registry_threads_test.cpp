#include <gtest/gtest.h>

#include <atomic>
#include <filesystem>
#include <functional>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "quorvanta/function_registry.hpp"
#include "support/temp_folder.hpp"

using testing_support::TempFolder;

namespace {

const char* const kFunctionFile = "function y = f(x)\n    y = x;\nend\n";

using Quorvanta::FunctionOrigin;
using Quorvanta::functionRegistry;

// Runs `read(i)` for i = t, t + 1, ... on each of `count` threads t while `work` runs.
void whileReading(int count, const std::function<void(std::size_t)>& read,
                  const std::function<void()>& work) {
    std::atomic<bool> stop{false};
    std::vector<std::thread> readers;
    for (int t = 0; t < count; ++t) {
        readers.emplace_back([&, t] {
            for (std::size_t i = t; !stop.load(std::memory_order_relaxed); ++i)
                read(i);
        });
    }
    work();
    stop = true;
    for (auto& reader : readers)
        reader.join();
}

// Every answer must be the right one, whichever cache state it met.
TEST(FunctionRegistryThreads, LookupsStayConsistentWhileCachesAreCleared) {
    TempFolder folder;
    std::vector<std::pair<std::u16string, FunctionOrigin>> expected = {
        {u"sin", FunctionOrigin::BuiltIn},       {u"regexprep", FunctionOrigin::BuiltIn},
        {u"movmean", FunctionOrigin::Library},   {u"zscore", FunctionOrigin::Library},
        {u"not_there", FunctionOrigin::Unknown}, {u"User_fn_1", FunctionOrigin::Unknown}};
    for (int k = 0; k < 20; ++k) {
        const std::string name = "user_fn_" + std::to_string(k);
        folder.write(name + ".ost", kFunctionFile);
        expected.emplace_back(std::u16string(name.begin(), name.end()), FunctionOrigin::User);
    }
    functionRegistry::setSearchPath({folder.path()});

    std::atomic<long> wrong{0}, lookups{0};
    const auto read = [&](std::size_t i) {
        const auto& [name, origin] = expected[i % expected.size()];
        if (functionRegistry::lookup(name) != origin) ++wrong;
        ++lookups;
    };
    whileReading(4, read, [&] {
        for (int round = 0; round < 2000; ++round)
            functionRegistry::clearCaches(round % 2 == 0);
        while (lookups.load() < 20000)  // a last stretch on warm caches too
            std::this_thread::yield();
    });
    EXPECT_EQ(wrong.load(), 0) << "of " << lookups.load() << " look-ups";
    functionRegistry::setSearchPath({});
}

// Changing the path while readers run must not crash; afterwards the new path alone counts.
TEST(FunctionRegistryThreads, PathChangesUnderLoadSettleOnTheLastPath) {
    TempFolder first;
    TempFolder second;
    first.write("from_first.ost", kFunctionFile);
    second.write("from_second.ost", kFunctionFile);
    std::atomic<long> wrong{0};
    const auto read = [&](std::size_t) {
        // Each name is a user function or unknown, never anything else.
        if (functionRegistry::lookup(u"from_first") == FunctionOrigin::BuiltIn) ++wrong;
        if (functionRegistry::lookup(u"from_second") == FunctionOrigin::Library) ++wrong;
    };
    whileReading(3, read, [&] {
        for (int round = 0; round < 500; ++round)
            functionRegistry::setSearchPath({round % 2 == 0 ? first.path() : second.path()});
    });
    EXPECT_EQ(wrong.load(), 0);

    functionRegistry::setSearchPath({second.path()});
    EXPECT_EQ(functionRegistry::lookup(u"from_first"), FunctionOrigin::Unknown);
    EXPECT_EQ(functionRegistry::lookup(u"from_second"), FunctionOrigin::User);
    functionRegistry::setSearchPath({});
}

}  // namespace
