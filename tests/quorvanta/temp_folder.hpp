#pragma once

#include <unistd.h>

#include <atomic>
#include <filesystem>
#include <fstream>
#include <string>
#include <system_error>

// A fresh folder below the system's temporary folder, removed with everything in it at the end.
class TempFolder {
  public:
    TempFolder() {
        static std::atomic<int> counter{0};
        path_ = std::filesystem::temp_directory_path() /
                ("quorvanta-test-" + std::to_string(::getpid()) + "-" + std::to_string(counter++));
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

    void write(const std::string& name,
               const std::string& text = "function y = f(x)\n    y = x;\nend\n") const {
        std::ofstream(path_ / name) << text;
    }
    void remove(const std::string& name) const { std::filesystem::remove(path_ / name); }

  private:
    std::filesystem::path path_;
};
