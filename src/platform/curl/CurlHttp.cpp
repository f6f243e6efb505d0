#include "platform/curl/CurlHttp.h"

#include <curl/curl.h>

#include <algorithm>

namespace bkfd {
namespace {

// A question for the state waits this long for news of the network, so that a machine whose clock
// stands for another time doesn't count its seconds faster than they pass.
constexpr int kLongestPause = 5;  // milliseconds
constexpr long kSendBuffer = 512 * 1024;

/// The system's codes for what can go wrong on the way; anything else is an interruption.
struct NetworkError {
    CURLcode ours;
    std::uint32_t system;
};
constexpr NetworkError kNetworkErrors[] = {
    {CURLE_COULDNT_RESOLVE_HOST, SystemError::ResourceNotFound},
    {CURLE_COULDNT_RESOLVE_PROXY, SystemError::ResourceNotFound},
    {CURLE_COULDNT_CONNECT, SystemError::CannotConnect},
};

std::uint32_t SystemCode(CURLcode result) {
    const auto* known = std::ranges::find(kNetworkErrors, result, &NetworkError::ours);
    return known == std::end(kNetworkErrors) ? SystemError::DownloadFailure : known->system;
}

struct EasyCloser {
    void operator()(CURL* easy) const { curl_easy_cleanup(easy); }
};
struct MultiCloser {
    void operator()(CURLM* multi) const { curl_multi_cleanup(multi); }
};
struct ListCloser {
    void operator()(curl_slist* list) const { curl_slist_free_all(list); }
};

class CurlRequest final : public HttpRequest {
  public:
    CurlRequest() : easy_(curl_easy_init()), multi_(curl_multi_init()) {}
    ~CurlRequest() override { Detach(); }

    Status open(TextView method, TextView url) override {
        if (!easy_ || !multi_) return {SystemError::NotEnoughMemory};
        CURL* easy = easy_.get();
        curl_easy_setopt(easy, CURLOPT_URL, ToUtf8(url).c_str());
        curl_easy_setopt(easy, CURLOPT_CUSTOMREQUEST, ToUtf8(method).c_str());
        curl_easy_setopt(easy, CURLOPT_PROTOCOLS_STR, "http,https");
        curl_easy_setopt(easy, CURLOPT_NOSIGNAL, 1L);
        curl_easy_setopt(easy, CURLOPT_UPLOAD_BUFFERSIZE, kSendBuffer);
        curl_easy_setopt(easy, CURLOPT_HEADERDATA, this);
        curl_easy_setopt(easy, CURLOPT_HEADERFUNCTION, &CurlRequest::OnHeader);
        curl_easy_setopt(easy, CURLOPT_WRITEDATA, this);
        curl_easy_setopt(easy, CURLOPT_WRITEFUNCTION, &CurlRequest::OnBody);
        state_ = ReadyState::Opened;
        return {};
    }

    Status setRequestHeader(TextView name, TextView value) override {
        const std::string line = ToUtf8(name) + ": " + ToUtf8(value);
        curl_slist* longer = curl_slist_append(headers_.get(), line.c_str());
        if (longer == nullptr) return {SystemError::NotEnoughMemory};
        (void)headers_.release();
        headers_.reset(longer);
        return {};
    }

    Status send(TextView body) override {
        if (state_ != ReadyState::Opened || isAttached_) return {SystemError::InvalidFunction};
        body_ = ToBytes(body);
        (void)setRequestHeader(u"Expect", u"");  // large posts don't wait for a permission
        curl_easy_setopt(easy_.get(), CURLOPT_HTTPHEADER, headers_.get());
        curl_easy_setopt(easy_.get(), CURLOPT_POSTFIELDS, body_.data());
        curl_easy_setopt(easy_.get(), CURLOPT_POSTFIELDSIZE_LARGE,
                         static_cast<curl_off_t>(body_.size()));
        if (curl_multi_add_handle(multi_.get(), easy_.get()) != CURLM_OK) {
            return {SystemError::NotEnoughMemory};
        }
        isAttached_ = true;
        return {};
    }

    std::int32_t readyState() override {
        if (isAttached_) Drive();
        return state_;
    }

    Result<std::int32_t> status() override {
        if (!isAnswered_) return Status{error_};
        long code = 0;
        curl_easy_getinfo(easy_.get(), CURLINFO_RESPONSE_CODE, &code);
        return static_cast<std::int32_t>(code);
    }

    Text statusText() override { return statusText_; }

    void abort() override {
        Detach();
        state_ = ReadyState::NotOpened;
    }

  private:
    void Drive() {
        int running = 0;
        curl_multi_perform(multi_.get(), &running);
        if (running != 0) curl_multi_poll(multi_.get(), nullptr, 0, kLongestPause, nullptr);
        int left = 0;
        while (const CURLMsg* message = curl_multi_info_read(multi_.get(), &left)) {
            if (message->msg != CURLMSG_DONE) continue;
            End(message->data.result);
        }
        if (state_ == ReadyState::Complete) Detach();
    }

    /// An answer whose body was cut off has its status all the same, one whose headers were has
    /// none.
    void End(CURLcode result) {
        curl_off_t sent = 0;
        curl_easy_getinfo(easy_.get(), CURLINFO_SIZE_UPLOAD_T, &sent);
        state_ = ReadyState::Complete;
        if (result == CURLE_UNSUPPORTED_PROTOCOL && sent > 0) {
            // No HTTP, or a status that is none: it is an answer, and no yes.
            isAnswered_ = true;
            statusText_ = u"The server returned an invalid or unrecognized response.";
        } else if (!isAnswered_) {
            error_ = SystemCode(result);
        }
    }

    void Detach() {
        if (isAttached_) curl_multi_remove_handle(multi_.get(), easy_.get());
        isAttached_ = false;
    }

    /// "HTTP/1.1 404 Not Found": what stands behind the number.
    static std::string_view ReasonOf(std::string_view line) {
        for (int word = 0; word < 2; ++word) {
            line.remove_prefix(std::min(line.find(' '), line.size() - 1) + 1);
            if (line.empty()) break;
        }
        while (!line.empty() && (line.back() == '\r' || line.back() == '\n')) line.remove_suffix(1);
        return line;
    }

    /// A status line begins an answer, an empty line ends its headers; interim answers come first.
    static std::size_t OnHeader(char* data, std::size_t, std::size_t size, void* self) {
        auto& request = *static_cast<CurlRequest*>(self);
        const std::string_view line(data, size);
        if (line.starts_with("HTTP/")) request.statusText_ = FromBytes(ToBytesOf(ReasonOf(line)));
        long code = 0;
        curl_easy_getinfo(request.easy_.get(), CURLINFO_RESPONSE_CODE, &code);
        if (line.find_first_not_of("\r\n") == std::string_view::npos && code >= 200) {
            request.state_ = ReadyState::Answered;
            request.isAnswered_ = true;
        }
        return size;
    }

    static Bytes ToBytesOf(std::string_view text) { return {text.begin(), text.end()}; }

    static std::size_t OnBody(char*, std::size_t, std::size_t size, void* self) {
        static_cast<CurlRequest*>(self)->state_ = ReadyState::Receiving;
        return size;
    }

    std::unique_ptr<CURL, EasyCloser> easy_;
    std::unique_ptr<CURLM, MultiCloser> multi_;
    std::unique_ptr<curl_slist, ListCloser> headers_;
    Bytes body_;
    Text statusText_;
    std::int32_t state_ = ReadyState::NotOpened;
    bool isAttached_ = false;
    bool isAnswered_ = false;                              // else `error_` says why not
    std::uint32_t error_ = SystemError::ResourceNotFound;  // also for as long as nothing came
};

}  // namespace

Result<std::unique_ptr<HttpRequest>> CurlHttp::CreateXmlHttpRequest() {
    return std::unique_ptr<HttpRequest>(std::make_unique<CurlRequest>());
}

}  // namespace bkfd
