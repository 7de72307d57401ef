// The editor loads libmtcc into its own process, so the library must show nothing but its three
// interfaces: any other exported symbol could clash with the editor's own copies of the same code.
#include <cxxabi.h>
#include <dlfcn.h>
#include <gtest/gtest.h>

#include <cstdlib>
#include <memory>
#include <sstream>
#include <string>
#include <vector>

#include "support/shell_run.hpp"

namespace {

struct Symbol {
    std::string mangled;
    std::string demangled;
};

std::string demangle(const std::string& mangled) {
    int status = 0;
    std::unique_ptr<char, decltype(&std::free)> text(
        abi::__cxa_demangle(mangled.c_str(), nullptr, nullptr, &status), &std::free);
    return status == 0 && text ? std::string(text.get()) : mangled;
}

// The symbols the library defines in its dynamic table, as nm lists them: all that a loader can resolve
// in it.
std::vector<Symbol> exportedSymbols(const std::string& library) {
    std::vector<Symbol> symbols;
    std::istringstream lines(testing_support::runShell("nm -D --defined-only '" + library + "'").out);
    for (std::string line; std::getline(lines, line);) {
        std::istringstream fields(line);
        std::string address, type, name;
        if (!(fields >> address >> type >> name)) continue;
        if (type == "A") continue;  // version nodes, not code or data
        symbols.push_back({name, demangle(name)});
    }
    return symbols;
}

bool isInterface(const std::string& demangled) {
    for (const char* prefix :
         {"mtcc::AutoCompletion::GetInfo(", "mtcc::AutoCompletion::ClearFunctionRegistryCache(",
          "mtcc::cache::SettingsValues::", "typeinfo for mtcc::cache::SettingsValues",
          "typeinfo name for mtcc::cache::SettingsValues"}) {
        if (demangled.starts_with(prefix)) return true;
    }
    return false;
}

const Symbol* find(const std::vector<Symbol>& symbols, const std::string& prefix) {
    for (const auto& s : symbols) {
        if (s.demangled.starts_with(prefix)) return &s;
    }
    return nullptr;
}

}  // namespace

TEST(ExportedSymbols, OnlyTheInterfacesAreVisibleAndALoadedLibraryResolvesThem) {
    const auto symbols = exportedSymbols(MTCC_LIBRARY_PATH);
    ASSERT_FALSE(symbols.empty()) << "nm listed nothing for " << MTCC_LIBRARY_PATH;
    for (const auto& s : symbols)
        EXPECT_TRUE(isInterface(s.demangled)) << "also exported: " << s.demangled;
    std::unique_ptr<void, int (*)(void*)> library(dlopen(MTCC_LIBRARY_PATH, RTLD_NOW | RTLD_LOCAL), &dlclose);
    ASSERT_TRUE(library) << dlerror();
    for (const char* name :
         {"mtcc::AutoCompletion::GetInfo(", "mtcc::AutoCompletion::ClearFunctionRegistryCache(",
          "mtcc::cache::SettingsValues::SettingsValues(",
          "mtcc::cache::SettingsValues::setUserPreferenceSettings("}) {
        const Symbol* s = find(symbols, name);
        ASSERT_NE(s, nullptr) << name;
        EXPECT_NE(dlsym(library.get(), s->mangled.c_str()), nullptr) << name;
    }
}
