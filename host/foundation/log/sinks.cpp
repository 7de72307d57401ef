#include <boost/log/core.hpp>
#include <boost/log/expressions.hpp>
#include <boost/log/sinks/sync_frontend.hpp>
#include <boost/log/sinks/text_ostream_backend.hpp>
#include <boost/smart_ptr/make_shared_object.hpp>
#include <fstream>
#include <iostream>
#include <stdexcept>

#include "foundation/log/diagnostic_logger.hpp"

namespace foundation::log {
namespace {

namespace expr = boost::log::expressions;
using text_sink = boost::log::sinks::synchronous_sink<boost::log::sinks::text_ostream_backend>;

void addStreamSink(boost::shared_ptr<std::ostream> stream) {
    auto backend = boost::make_shared<boost::log::sinks::text_ostream_backend>();
    backend->add_stream(stream);
    backend->auto_flush(true);
    auto sink = boost::make_shared<text_sink>(backend);
    sink->set_formatter(expr::stream << "[" << expr::attr<severity_mask>("Severity") << "] "
                                     << expr::attr<std::string>("Channel") << ": " << expr::smessage);
    boost::log::core::get()->add_sink(sink);
}

}  // namespace

void add_stderr_sink() {
    addStreamSink(boost::shared_ptr<std::ostream>(&std::clog, [](std::ostream*) {}));
}

void add_file_sink(const std::string& path) {
    auto file = boost::make_shared<std::ofstream>(path, std::ios::app);
    if (!*file) throw std::runtime_error("cannot open log file '" + path + "'");
    addStreamSink(file);
}

void remove_all_sinks() {
    boost::log::core::get()->remove_all_sinks();
}

}  // namespace foundation::log
