// The libFuzzer entry of one target; OSTREL_FUZZ_TARGET names it (see CMakeLists.txt).
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string_view>

#include "targets/fuzz_targets.hpp"

namespace {

auto targetRun() {
    for (const auto& target : ostrel_fuzz::allTargets())
        if (target.name == OSTREL_FUZZ_TARGET) return target.run;
    std::abort();  // a build mistake: the program names no target
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    static const auto run = targetRun();
    run(std::string_view(reinterpret_cast<const char*>(data), size));
    return 0;
}
