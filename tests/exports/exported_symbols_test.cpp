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

// The symbols the library defines, as nm lists them: its dynamic table (what a loader sees) or its full
// symbol table (everything linked in).
std::vector<Symbol> definedSymbols(const std::string& library, bool dynamicOnly) {
    const std::string command =
        std::string("nm ") + (dynamicOnly ? "-D " : "") + "--defined-only '" + library + "'";
    std::vector<Symbol> symbols;
    std::istringstream lines(testing_support::runShell(command).out);
    for (std::string line; std::getline(lines, line);) {
        std::istringstream fields(line);
        std::string address, type, name;
        if (!(fields >> address >> type >> name)) continue;
        if (type == "A") continue;  // version nodes, not code or data
        if (!dynamicOnly && type != "t" && type != "T") continue;
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

TEST(ExportedSymbols, OnlyTheInterfacesAreVisibleAndALoadedLibraryResolvesNothingElse) {
    const auto symbols = definedSymbols(MTCC_LIBRARY_PATH, true);
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

    // The pipeline's stages are linked in but hidden from the loader.
    std::size_t internal = 0;
    for (const auto& s : definedSymbols(MTCC_LIBRARY_PATH, false)) {
        if (!s.demangled.starts_with("mtcc::") || isInterface(s.demangled)) continue;
        ++internal;
        EXPECT_EQ(dlsym(library.get(), s.mangled.c_str()), nullptr) << "resolvable: " << s.demangled;
    }
    EXPECT_GT(internal, 20u) << "the library's own functions should be in its symbol table";
}
