#pragma once

#include <unistd.h>

#include <atomic>
#include <filesystem>
#include <fstream>
#include <string>
#include <system_error>

namespace testing_support {

// A fresh folder below the system's temporary folder, removed with everything in it at the end.
class TempFolder {
  public:
    TempFolder() {
        static std::atomic<int> counter{0};
        path_ = std::filesystem::temp_directory_path() /
                ("ostrel-test-" + std::to_string(::getpid()) + "-" + std::to_string(counter++));
        std::filesystem::remove_all(path_);
        std::filesystem::create_directories(path_);
    }
    ~TempFolder() {
        std::error_code ignored;
        std::filesystem::remove_all(path_, ignored);
    }
    TempFolder(const TempFolder&) = delete;
    TempFolder& operator=(const TempFolder&) = delete;

    const std::filesystem::path& path() const { return path_; }
    // Writes through a temporary and a rename, as editors do, so that a reader never sees half a file;
    // returns the file's path.
    std::string write(const std::string& name, const std::string& text) const {
        const auto temporary = (path_ / name).string() + ".tmp";
        std::ofstream(temporary, std::ios::binary | std::ios::trunc) << text;
        std::filesystem::rename(temporary, path_ / name);
        return (path_ / name).string();
    }
    void remove(const std::string& name) const { std::filesystem::remove(path_ / name); }

  private:
    std::filesystem::path path_;
};

}  // namespace testing_support
