#include "foundation/log/diagnostic_logger.hpp"

#include <boost/log/attributes/constant.hpp>
#include <boost/log/core.hpp>
#include <boost/log/sources/record_ostream.hpp>
#include <exception>

#include "fl/i18n.hpp"

namespace foundation::log {

namespace {

void pushRecord(std::string_view channel, severity_mask severity, const std::string& text) {
    auto core = boost::log::core::get();
    if (!core->get_logging_enabled()) return;
    boost::log::attribute_set attributes;
    attributes.insert("Channel", boost::log::attributes::constant<std::string>(std::string(channel)));
    attributes.insert("Severity", boost::log::attributes::constant<severity_mask>(severity));
    boost::log::record rec = core->open_record(attributes);
    if (!rec) return;
    {
        boost::log::record_ostream stream(rec);
        stream << text;
        stream.flush();
    }
    core->push_record(boost::move(rec));
}

}  // namespace

diagnostic_record::diagnostic_record(std::string_view channel, severity_mask severity)
    : channel_(channel), severity_(severity), uncaughtAtOpen_(std::uncaught_exceptions()) {}

diagnostic_record::~diagnostic_record() {
    // A record opened before an exception started is dropped rather than half-written.
    if (std::uncaught_exceptions() > uncaughtAtOpen_) return;
    try {
        pushRecord(channel_, severity_, text_);
    } catch (...) {
        // Logging must never take the caller down.
    }
}

diagnostic_record& diagnostic_record::operator<<(const fl::ustring& text) {
    fl::i18n::append_utf8(text_, text);
    return *this;
}
diagnostic_record& diagnostic_record::operator<<(std::u16string_view text) {
    fl::i18n::append_utf8(text_, text);
    return *this;
}
diagnostic_record& diagnostic_record::operator<<(const char16_t* text) {
    fl::i18n::append_utf8(text_, std::u16string_view(text));
    return *this;
}
diagnostic_record& diagnostic_record::operator<<(std::string_view text) {
    text_ += text;
    return *this;
}
diagnostic_record& diagnostic_record::operator<<(const char* text) {
    text_ += text;
    return *this;
}
diagnostic_record& diagnostic_record::operator<<(const std::string& text) {
    text_ += text;
    return *this;
}
diagnostic_record& diagnostic_record::operator<<(char c) {
    text_ += c;
    return *this;
}

template <typename CharT>
basic_diagnostic_logger<CharT>::basic_diagnostic_logger(std::string channel)
    : channel_(std::move(channel)), mask_(channel_mask(channel_)) {}

template class basic_diagnostic_logger<char>;

function_trace::function_trace(const diagnostic_logger& logger, std::string_view signature,
                               std::string_view source, int line)
    : logger_(logger),
      signature_(signature),
      source_(source),
      line_(line),
      uncaughtAtEntry_(std::uncaught_exceptions()) {
    if (logger_.is_enabled(kSeverityTrace)) {
        logger_.record(kSeverityTrace) << "enter " << signature_ << " (" << source_ << ':' << line_ << ')';
    }
}

function_trace::~function_trace() {
    if (!logger_.is_enabled(kSeverityTrace)) return;
    const bool throwing = std::uncaught_exceptions() > uncaughtAtEntry_;
    try {
        // Written directly: a diagnostic_record would drop itself while an exception is in flight.
        std::string text = "exit ";
        text.append(signature_)
            .append(" (")
            .append(source_)
            .append(":")
            .append(std::to_string(line_))
            .append(")");
        if (throwing) text += " [throw]";
        pushRecord(logger_.channel(), kSeverityTrace, text);
    } catch (...) {
    }
}

}  // namespace foundation::log
