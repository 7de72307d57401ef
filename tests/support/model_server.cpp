#include "support/model_server.hpp"

#include <nlohmann/json.hpp>

namespace testing_support {

std::string chatReply(const std::string& content) {
    nlohmann::json body;
    body["choices"][0]["message"] = {{"role", "assistant"}, {"content", content}};
    return body.dump();
}

ModelServer::ModelServer(std::string body, bool held)
    : body_(std::move(body)), held_(held), loopback_([this](httplib::Server& server) {
          server.Post(".*", [this](const httplib::Request& request, httplib::Response& response) {
              std::unique_lock lock(mutex_);
              requests_.push_back(request);
              arrived_.notify_all();
              released_.wait(lock, [this] { return !held_; });
              released_.wait_for(lock, delay_, [this] { return closing_; });
              response.status = status_;
              response.set_content(body_, "application/json");
          });
      }) {}

ModelServer::~ModelServer() {
    const std::lock_guard lock(mutex_);
    held_ = false;
    closing_ = true;
    released_.notify_all();
}

void ModelServer::answer(std::string body, int status, std::chrono::milliseconds delay) {
    const std::lock_guard lock(mutex_);
    body_ = std::move(body);
    status_ = status;
    delay_ = delay;
    requests_.clear();
}

void ModelServer::release() {
    const std::lock_guard lock(mutex_);
    held_ = false;
    released_.notify_all();
}

std::vector<httplib::Request> ModelServer::requests() const {
    const std::lock_guard lock(mutex_);
    return requests_;
}

httplib::Request ModelServer::last() const {
    const std::lock_guard lock(mutex_);
    return requests_.empty() ? httplib::Request() : requests_.back();
}

std::vector<std::string> ModelServer::headers(const std::string& name) const {
    std::vector<std::string> values;
    for (const auto& request : requests())
        values.push_back(request.get_header_value(name));
    return values;
}

bool ModelServer::awaitRequests(std::size_t count) {
    std::unique_lock lock(mutex_);
    return arrived_.wait_for(lock, std::chrono::seconds(5), [&] { return requests_.size() >= count; });
}

}  // namespace testing_support
