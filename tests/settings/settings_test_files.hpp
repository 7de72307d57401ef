#pragma once

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <optional>
#include <string>

#include "support/temp_folder.hpp"

namespace testing_support {

using TempDir = TempFolder;

// Writes the whole file through a temporary and a rename, as editors do, so a poll never sees half of it.
inline void writeFile(const std::filesystem::path& path, const std::string& text) {
    const auto temporary = path.string() + ".tmp";
    {
        std::ofstream out(temporary, std::ios::binary | std::ios::trunc);
        out << text;
    }
    std::filesystem::rename(temporary, path);
}

// Sets an environment variable for a scope and restores it afterwards.
class ScopedEnv {
  public:
    ScopedEnv(const char* name, const char* value) : name_(name) {
        if (const char* old = std::getenv(name)) old_ = old;
        ::setenv(name, value, 1);
    }
    ~ScopedEnv() {
        if (old_)
            ::setenv(name_, old_->c_str(), 1);
        else
            ::unsetenv(name_);
    }
    ScopedEnv(const ScopedEnv&) = delete;
    ScopedEnv& operator=(const ScopedEnv&) = delete;

  private:
    const char* name_;
    std::optional<std::string> old_;
};

}  // namespace testing_support
