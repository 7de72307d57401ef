#include "support/pipeline_host.hpp"

#include <unistd.h>

#include <fstream>

#include "cppmicroservices/framework_factory.hpp"
#include "foundation/cppmicroservices/framework_access.hpp"
#include "qvai/ai_client.hpp"

namespace testing_support {

struct PipelineHost::Impl {
    cppmicroservices::Framework framework = cppmicroservices::FrameworkFactory().NewFramework();
    cppmicroservices::ServiceRegistration<qvai::IQvaiClient> registration;
};

PipelineHost::PipelineHost(const qvai::ClientOptions& options) : impl_(std::make_unique<Impl>()) {
    impl_->framework.Start();
    impl_->registration = impl_->framework.GetBundleContext().RegisterService<qvai::IQvaiClient>(
        std::make_shared<qvai::AiClient>(options));
    foundation::cppmicroservices::setFramework(impl_->framework);
}

PipelineHost::~PipelineHost() {
    foundation::cppmicroservices::setFramework(std::nullopt);
    impl_->framework.Stop();
}

ReplyFileHost::ReplyFileHost(qvai::ClientOptions options)
    : file_(std::filesystem::temp_directory_path() / ("ostrel-reply-" + std::to_string(getpid()) + ".txt")) {
    options.Backend = "reply-file";
    options.ReplyFile = file_.string();
    host_ = std::make_unique<PipelineHost>(options);
}

ReplyFileHost::~ReplyFileHost() {
    std::error_code ignored;
    std::filesystem::remove(file_, ignored);
}

void ReplyFileHost::setReply(const std::string& utf8) const {
    std::ofstream(file_, std::ios::binary | std::ios::trunc) << utf8;
}

}  // namespace testing_support
