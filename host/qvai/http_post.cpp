#include "qvai/http_post.hpp"

#include <curl/curl.h>

#include <algorithm>
#include <memory>
#include <mutex>
#include <stdexcept>

namespace qvai {

namespace {

struct Transfer {
    std::string body;
    std::size_t maxBodyBytes = 0;
    bool oversized = false;
    const std::atomic<bool>* cancelled = nullptr;
};

std::size_t collectBody(char* data, std::size_t size, std::size_t count, void* user) {
    auto& transfer = *static_cast<Transfer*>(user);
    const std::size_t bytes = size * count;
    if (transfer.body.size() + bytes > transfer.maxBodyBytes) {
        transfer.oversized = true;
        return 0;  // makes curl abort the transfer
    }
    transfer.body.append(data, bytes);
    return bytes;
}

int checkCancelled(void* user, curl_off_t, curl_off_t, curl_off_t, curl_off_t) {
    return static_cast<Transfer*>(user)->cancelled->load() ? 1 : 0;
}

void initialiseCurlOnce() {
    static std::once_flag once;
    std::call_once(once, [] { curl_global_init(CURL_GLOBAL_DEFAULT); });
}

struct CurlDeleter {
    void operator()(CURL* handle) const { curl_easy_cleanup(handle); }
};
struct HeaderListDeleter {
    void operator()(curl_slist* list) const { curl_slist_free_all(list); }
};

// One transfer in a multi handle of its own, taken out again before either goes.
class MultiTransfer {
  public:
    explicit MultiTransfer(CURL* handle) : multi_(curl_multi_init()), handle_(handle) {
        if (!multi_ || curl_multi_add_handle(multi_, handle_) != CURLM_OK) {
            if (multi_) curl_multi_cleanup(multi_);
            throw std::runtime_error("cannot start an HTTP transfer");
        }
    }
    ~MultiTransfer() {
        curl_multi_remove_handle(multi_, handle_);
        curl_multi_cleanup(multi_);
    }
    MultiTransfer(const MultiTransfer&) = delete;
    MultiTransfer& operator=(const MultiTransfer&) = delete;

    // curl calls its progress callback only every 200 ms or so while the server is silent, so a
    // cancelled call would hold its worker that long: the flag is looked at between short waits instead.
    CURLcode run(const std::atomic<bool>& cancelled) {
        constexpr int kPollMs = 20;
        for (;;) {
            int running = 0;
            if (curl_multi_perform(multi_, &running) != CURLM_OK) return CURLE_FAILED_INIT;
            if (running == 0) break;
            if (cancelled.load()) return CURLE_ABORTED_BY_CALLBACK;
            if (curl_multi_poll(multi_, nullptr, 0, kPollMs, nullptr) != CURLM_OK) return CURLE_FAILED_INIT;
        }
        int left = 0;
        while (const CURLMsg* message = curl_multi_info_read(multi_, &left)) {
            if (message->msg == CURLMSG_DONE && message->easy_handle == handle_) return message->data.result;
        }
        return CURLE_FAILED_INIT;
    }

  private:
    CURLM* multi_;
    CURL* handle_;
};

}  // namespace

HttpReply postJson(const std::string& url, const std::string& body, const std::vector<std::string>& headers,
                   const HttpLimits& limits, const std::atomic<bool>& cancelled) {
    initialiseCurlOnce();
    std::unique_ptr<CURL, CurlDeleter> curl(curl_easy_init());
    if (!curl) throw std::runtime_error("cannot create an HTTP transfer");

    std::unique_ptr<curl_slist, HeaderListDeleter> headerList;
    auto addHeader = [&](const std::string& header) {
        curl_slist* extended = curl_slist_append(headerList.get(), header.c_str());
        if (!extended) throw std::runtime_error("cannot build the HTTP headers");
        headerList.release();
        headerList.reset(extended);
    };
    addHeader("Content-Type: application/json");
    addHeader("Accept: application/json");
    for (const auto& header : headers)
        addHeader(header);

    Transfer transfer;
    transfer.maxBodyBytes = limits.maxBodyBytes;
    transfer.cancelled = &cancelled;
    const long timeout = limits.timeoutMs > 0 ? limits.timeoutMs : 1;

    CURL* handle = curl.get();
    curl_easy_setopt(handle, CURLOPT_URL, url.c_str());
    curl_easy_setopt(handle, CURLOPT_PROTOCOLS_STR, "http,https");
    curl_easy_setopt(handle, CURLOPT_POST, 1L);
    curl_easy_setopt(handle, CURLOPT_POSTFIELDS, body.data());
    curl_easy_setopt(handle, CURLOPT_POSTFIELDSIZE_LARGE, static_cast<curl_off_t>(body.size()));
    curl_easy_setopt(handle, CURLOPT_HTTPHEADER, headerList.get());
    curl_easy_setopt(handle, CURLOPT_WRITEFUNCTION, &collectBody);
    curl_easy_setopt(handle, CURLOPT_WRITEDATA, &transfer);
    curl_easy_setopt(handle, CURLOPT_NOPROGRESS, 0L);
    curl_easy_setopt(handle, CURLOPT_XFERINFOFUNCTION, &checkCancelled);
    curl_easy_setopt(handle, CURLOPT_XFERINFODATA, &transfer);
    curl_easy_setopt(handle, CURLOPT_TIMEOUT_MS, timeout);
    curl_easy_setopt(handle, CURLOPT_CONNECTTIMEOUT_MS, timeout);
    curl_easy_setopt(handle, CURLOPT_NOSIGNAL, 1L);  // time-outs without SIGALRM, safe on worker threads
    curl_easy_setopt(handle, CURLOPT_FOLLOWLOCATION, 0L);

    MultiTransfer multi(handle);
    const CURLcode result = multi.run(cancelled);
    if (transfer.oversized)
        throw std::runtime_error("reply body from " + url + " exceeds " +
                                 std::to_string(limits.maxBodyBytes) + " bytes");
    if (result == CURLE_ABORTED_BY_CALLBACK) throw std::runtime_error("request to " + url + " cancelled");
    // Said with the limit, which the user can raise.
    if (result == CURLE_OPERATION_TIMEDOUT)
        throw std::runtime_error("no reply from " + url + " within " + std::to_string(timeout) + " ms");
    if (result != CURLE_OK)
        throw std::runtime_error("request to " + url + " failed: " + curl_easy_strerror(result));

    HttpReply reply;
    curl_easy_getinfo(handle, CURLINFO_RESPONSE_CODE, &reply.status);
    if (const char* location = nullptr;
        curl_easy_getinfo(handle, CURLINFO_REDIRECT_URL, &location) == CURLE_OK && location != nullptr)
        reply.redirect = location;
    reply.body = std::move(transfer.body);
    return reply;
}

std::string joinUrl(std::string base, const std::string& path) {
    const std::size_t query = base.find('?');
    const std::string rest = query == std::string::npos ? "" : base.substr(query);
    base.resize(std::min(query, base.size()));
    while (!base.empty() && base.back() == '/')
        base.pop_back();
    if (base.size() >= path.size() && base.compare(base.size() - path.size(), path.size(), path) == 0)
        return base + rest;
    return base + path + rest;
}

}  // namespace qvai
