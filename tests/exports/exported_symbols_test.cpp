// The editor loads libmtcc into its own process, so the library must show nothing but its three
// interfaces: any other exported symbol could clash with the editor's own copies of the same code.
#include <cxxabi.h>
#include <dlfcn.h>
#include <gtest/gtest.h>

#include <algorithm>
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

bool startsWithAny(const std::string& text, std::initializer_list<const char*> prefixes) {
    return std::any_of(prefixes.begin(), prefixes.end(), [&](const char* p) { return text.starts_with(p); });
}

}  // namespace

TEST(ExportedSymbols, OnlyTheInterfacesAreVisibleAndALoadedLibraryResolvesThem) {
    const auto symbols = exportedSymbols(MTCC_LIBRARY_PATH);
    ASSERT_FALSE(symbols.empty()) << "nm listed nothing for " << MTCC_LIBRARY_PATH;
    for (const auto& s : symbols)
        EXPECT_TRUE(startsWithAny(
            s.demangled,
            {"mtcc::AutoCompletion::GetInfo(", "mtcc::AutoCompletion::ClearFunctionRegistryCache(",
             "mtcc::cache::SettingsValues::", "typeinfo for mtcc::cache::SettingsValues",
             "typeinfo name for mtcc::cache::SettingsValues"}))
            << "also exported: " << s.demangled;
    std::unique_ptr<void, int (*)(void*)> library(dlopen(MTCC_LIBRARY_PATH, RTLD_NOW | RTLD_LOCAL), &dlclose);
    ASSERT_TRUE(library) << dlerror();
    for (const char* name :
         {"mtcc::AutoCompletion::GetInfo(", "mtcc::AutoCompletion::ClearFunctionRegistryCache(",
          "mtcc::cache::SettingsValues::SettingsValues(",
          "mtcc::cache::SettingsValues::setUserPreferenceSettings("}) {
        const auto s = std::find_if(symbols.begin(), symbols.end(),
                                    [&](const Symbol& symbol) { return symbol.demangled.starts_with(name); });
        ASSERT_NE(s, symbols.end()) << name;
        EXPECT_NE(dlsym(library.get(), s->mangled.c_str()), nullptr) << name;
    }
}
