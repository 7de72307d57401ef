#pragma once

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <optional>
#include <random>
#include <string>

namespace testing_support {

// A fresh directory under the system's temporary directory, removed with everything in it.
class TempDir {
  public:
    TempDir() {
        std::random_device seed;
        path_ = std::filesystem::temp_directory_path() / ("ostrel-settings-" + std::to_string(seed()));
        std::filesystem::create_directories(path_);
    }
    ~TempDir() {
        std::error_code ec;
        std::filesystem::remove_all(path_, ec);
    }
    TempDir(const TempDir&) = delete;
    TempDir& operator=(const TempDir&) = delete;
    const std::filesystem::path& path() const { return path_; }

  private:
    std::filesystem::path path_;
};

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
