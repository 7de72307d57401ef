#pragma once

#include <cstdint>
#include <memory>
#include <sstream>
#include <string>
#include <string_view>
#include <type_traits>

#include "fl/ustring.hpp"

namespace foundation::log {

// Severity bits. A channel's mask is the OR of the bits enabled for it.
using severity_mask = std::uint32_t;
inline constexpr severity_mask kSeverityValue = 4;   // value dumps, recoverable errors
inline constexpr severity_mask kSeverityStage = 8;   // stage messages
inline constexpr severity_mask kSeverityTrace = 32;  // function entry and exit

// One record being written. It collects its text and pushes it to the logging core when it is
// destroyed, unless a new exception started in flight since it was opened. fl::ustring values are
// written as UTF-8 (unpaired surrogates become U+FFFD).
class diagnostic_record {
  public:
    diagnostic_record(std::string_view channel, severity_mask severity);
    ~diagnostic_record();
    diagnostic_record(const diagnostic_record&) = delete;
    diagnostic_record& operator=(const diagnostic_record&) = delete;

    diagnostic_record& operator<<(const fl::ustring& text);
    diagnostic_record& operator<<(std::u16string_view text);
    diagnostic_record& operator<<(const char16_t* text);
    diagnostic_record& operator<<(std::string_view text);
    diagnostic_record& operator<<(const char* text);
    diagnostic_record& operator<<(const std::string& text);
    diagnostic_record& operator<<(char c);
    template <typename T>
    requires std::is_arithmetic_v<T> diagnostic_record& operator<<(T value) {
        text_ += std::to_string(value);
        return *this;
    }

  private:
    std::string_view channel_;
    severity_mask severity_;
    int uncaughtAtOpen_;
    std::string text_;
};

// The logger of one channel. Construction reads the channel's mask once; a site tests its bit with
// is_enabled() before it formats anything.
template <typename CharT>
class basic_diagnostic_logger {
  public:
    explicit basic_diagnostic_logger(std::string channel);

    const std::string& channel() const noexcept { return channel_; }
    severity_mask mask() const noexcept { return mask_; }
    bool is_enabled(severity_mask severity) const noexcept { return (mask_ & severity) != 0; }

    // Opens a record; write into it with <<. Call only after is_enabled(severity).
    diagnostic_record record(severity_mask severity) const { return diagnostic_record(channel_, severity); }

  private:
    std::string channel_;
    severity_mask mask_;
};

extern template class basic_diagnostic_logger<char>;
using diagnostic_logger = basic_diagnostic_logger<char>;

// Writes an entry record when built and an exit record when destroyed, both at kSeverityTrace; the
// exit record ends in " [throw]" when the scope is left by an exception.
class function_trace {
  public:
    function_trace(const diagnostic_logger& logger, std::string_view signature, std::string_view source,
                   int line);
    ~function_trace();
    function_trace(const function_trace&) = delete;
    function_trace& operator=(const function_trace&) = delete;

  private:
    const diagnostic_logger& logger_;
    std::string_view signature_;
    std::string_view source_;
    int line_;
    int uncaughtAtEntry_;
};

// Program-side configuration. Masks are off (0) for every channel until a program sets them.
void set_channel_mask(std::string_view channel, severity_mask mask);
void set_default_mask(severity_mask mask);  // for channels without a mask of their own
severity_mask channel_mask(std::string_view channel);

// Sinks. Each record is written as "[<severity>] <channel>: <text>" and a line end.
void add_stderr_sink();
void add_file_sink(const std::string& path);
void remove_all_sinks();

}  // namespace foundation::log
