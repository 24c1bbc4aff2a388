// libcurl backend, shaped after the WinHTTP one so that callers cannot tell them apart:
// - the same user agent, headers (no Accept, no compression), HTTP/1.1, redirects followed
//   automatically for 301/302/303/307/308 (at most 10, never from https to http), proxy from the
//   usual environment variables (WinHTTP's automatic proxy has no Linux counterpart);
// - timeouts: 10 s to connect (name resolution included), and 30 s without any byte received
//   (WinHTTP's receive timeout); there is no separate send timeout;
// - the status is decided when the final response's headers are complete, and the handler sees
//   the body in pieces of at most the read buffer's size, the cancel test before each piece;
// - errors: no final response (refused, DNS, TLS, timeout, too many redirects) is
//   "sem resposta do servidor (N)", a failure while reading the body is "conexao caiu (N)", with N
//   the CURLcode instead of the Windows error number. A body that ends before its announced length
//   (CURLE_PARTIAL_FILE) ends like a normal end of body, as WinHTTP's read then returns 0 bytes.
#include <curl/curl.h>
#include <strings.h>

#include <cstdlib>
#include <exception>
#include <memory>
#include <string_view>

#include "update/http_client.h"
#include "update/http_transport.h"

namespace orv {

namespace {

struct EasyCleanup {
  void operator()(CURL* easy) const { curl_easy_cleanup(easy); }
};
struct ListFree {
  void operator()(curl_slist* list) const { curl_slist_free_all(list); }
};
struct UrlCleanup {
  void operator()(CURLU* url) const { curl_url_cleanup(url); }
};
struct TextFree {
  void operator()(char* text) const { curl_free(text); }
};

void InitCurlOnce() {
  // Function-local statics are initialised once even when threads race to the first call.
  [[maybe_unused]] static const CURLcode once = curl_global_init(CURL_GLOBAL_DEFAULT);
}

// WinHTTP escapes blanks, control characters and non-ASCII bytes in the path before sending it;
// libcurl refuses them. Escaping them here gives the server the same request line.
std::string EscapeUnsafeBytes(const std::string& url) {
  static constexpr char kDigits[] = "0123456789ABCDEF";
  std::string out;
  out.reserve(url.size());
  for (const unsigned char c : url) {
    if (c <= 0x20 || c >= 0x7F) {
      out += '%';
      out += kDigits[c >> 4];
      out += kDigits[c & 0x0F];
    } else {
      out += static_cast<char>(c);
    }
  }
  return out;
}

// The URLs WinHttpCrackUrl takes: http or https with a host.
bool IsHttpUrl(const std::string& url) {
  std::unique_ptr<CURLU, UrlCleanup> parsed(curl_url());
  if (!parsed || curl_url_set(parsed.get(), CURLUPART_URL, url.c_str(), 0) != CURLUE_OK) return false;
  char* raw = nullptr;
  if (curl_url_get(parsed.get(), CURLUPART_SCHEME, &raw, 0) != CURLUE_OK) return false;
  const std::unique_ptr<char, TextFree> scheme(raw);
  return strcasecmp(scheme.get(), "http") == 0 || strcasecmp(scheme.get(), "https") == 0;
}

bool StartsWithNoCase(std::string_view text, std::string_view prefix) {
  return text.size() >= prefix.size() && strncasecmp(text.data(), prefix.data(), prefix.size()) == 0;
}

// Follows one exchange through libcurl's callbacks and drives the handler at the points where the
// WinHTTP backend would: the final status, then each body piece.
class Exchange {
 public:
  Exchange(CURL* easy, ResponseHandler& handler) : easy_(easy), handler_(handler) {}

  // An exception must not unwind through libcurl's C frames: it is kept, the transfer aborted, and
  // Finish throws it again on the caller's side, as the WinHTTP backend's handler calls would.
  static std::size_t HeaderThunk(char* data, std::size_t size, std::size_t count, void* self) {
    auto* exchange = static_cast<Exchange*>(self);
    try {
      return exchange->OnHeaderLine(std::string_view(data, size * count));
    } catch (...) {
      exchange->Keep(std::current_exception());
      return 0;
    }
  }
  static std::size_t BodyThunk(char* data, std::size_t size, std::size_t count, void* self) {
    auto* exchange = static_cast<Exchange*>(self);
    try {
      return exchange->OnBody(reinterpret_cast<const std::uint8_t*>(data), size * count);
    } catch (...) {
      exchange->Keep(std::current_exception());
      return CURL_WRITEFUNC_ERROR;
    }
  }

  // Hands the end of the exchange to the handler; returns the status for HttpGet.
  int Finish(CURLcode result, std::string& reason) {
    if (thrown_) std::rethrow_exception(thrown_);
    if (stopped_) return status_;
    if (!final_) {
      reason = "sem resposta do servidor (" + std::to_string(static_cast<int>(result)) + ")";
      return 0;
    }
    if (result == CURLE_OK || result == CURLE_PARTIAL_FILE) {
      // WinHTTP tests the cancel flag before the read that finds the end, too.
      static_cast<void>(handler_.BeforeRead());
    } else {
      handler_.OnReadError(static_cast<unsigned long>(result));
    }
    return status_;
  }

 private:
  std::size_t OnHeaderLine(std::string_view line) {
    if (final_) return line.size();  // trailers of a chunked body
    if (StartsWithNoCase(line, "HTTP/")) {
      const std::size_t space = line.find(' ');
      status_ = space == std::string_view::npos ? 0 : std::atoi(std::string(line.substr(space + 1)).c_str());
      location_.clear();
      return line.size();
    }
    if (StartsWithNoCase(line, "Location:")) {
      location_ = line.substr(9);
      while (!location_.empty() && (location_.front() == ' ' || location_.front() == '\t')) location_.erase(0, 1);
      return line.size();
    }
    if (line != "\r\n" && line != "\n") return line.size();
    // The end of one response's headers: interim and followed responses are libcurl's business.
    if ((status_ >= 100 && status_ < 200) || WillFollow()) return line.size();
    final_ = true;
    if (status_ == 0 || !handler_.OnStatus(status_)) {
      stopped_ = true;
      return 0;  // any other count aborts the transfer
    }
    return line.size();
  }

  std::size_t OnBody(const std::uint8_t* data, std::size_t size) {
    if (!final_ || size == 0) return size;
    if (!handler_.BeforeRead() || !handler_.OnChunk(data, size)) {
      stopped_ = true;
      return CURL_WRITEFUNC_ERROR;
    }
    return size;
  }

  // WinHTTP's default redirect policy: the usual redirect codes with a Location, except from
  // https to http, which ends the exchange with the 3xx status instead.
  [[nodiscard]] bool WillFollow() const {
    const bool redirect = status_ == 301 || status_ == 302 || status_ == 303 || status_ == 307 || status_ == 308;
    if (!redirect || location_.empty()) return false;
    char* current = nullptr;
    curl_easy_getinfo(easy_, CURLINFO_EFFECTIVE_URL, &current);
    const bool from_secure = current != nullptr && StartsWithNoCase(current, "https:");
    return !(from_secure && StartsWithNoCase(location_, "http:"));
  }

  void Keep(std::exception_ptr thrown) {
    thrown_ = std::move(thrown);
    stopped_ = true;
  }

  CURL* const easy_;
  ResponseHandler& handler_;
  std::exception_ptr thrown_;
  int status_ = 0;
  std::string location_;
  bool final_ = false;    // the final response's headers are complete
  bool stopped_ = false;  // the handler ended the exchange
};

}  // namespace

int HttpGet(const std::string& url, const std::string& extra_headers, std::size_t read_buffer_size,
            ResponseHandler& handler, std::string& reason) {
  InitCurlOnce();
  const std::string target = EscapeUnsafeBytes(url);
  if (!IsHttpUrl(target)) {
    reason = "URL invalida";
    return 0;
  }
  const std::unique_ptr<CURL, EasyCleanup> easy(curl_easy_init());
  if (!easy) {
    reason = "WinHttpOpen";
    return 0;
  }
  // libcurl would send "Accept: */*"; WinHTTP's default accept types send nothing.
  std::unique_ptr<curl_slist, ListFree> headers(curl_slist_append(nullptr, "Accept:"));
  for (std::size_t start = 0; headers && start < extra_headers.size();) {
    std::size_t end = extra_headers.find("\r\n", start);
    if (end == std::string::npos) end = extra_headers.size();
    if (end > start) {
      curl_slist* grown = curl_slist_append(headers.get(), extra_headers.substr(start, end - start).c_str());
      if (!grown) headers.reset();
    }
    start = end + 2;
  }
  Exchange exchange(easy.get(), handler);
  CURL* e = easy.get();
  const std::string agent = HttpUserAgent();
  const bool configured =
      headers && curl_easy_setopt(e, CURLOPT_URL, target.c_str()) == CURLE_OK &&
      curl_easy_setopt(e, CURLOPT_PROTOCOLS_STR, "http,https") == CURLE_OK &&
      curl_easy_setopt(e, CURLOPT_REDIR_PROTOCOLS_STR, "http,https") == CURLE_OK &&
      curl_easy_setopt(e, CURLOPT_FOLLOWLOCATION, 1L) == CURLE_OK &&
      curl_easy_setopt(e, CURLOPT_MAXREDIRS, 10L) == CURLE_OK &&
      curl_easy_setopt(e, CURLOPT_HTTP_VERSION, static_cast<long>(CURL_HTTP_VERSION_1_1)) == CURLE_OK &&
      curl_easy_setopt(e, CURLOPT_HTTP_CONTENT_DECODING, 0L) == CURLE_OK &&
      curl_easy_setopt(e, CURLOPT_USERAGENT, agent.c_str()) == CURLE_OK &&
      curl_easy_setopt(e, CURLOPT_HTTPHEADER, headers.get()) == CURLE_OK &&
      curl_easy_setopt(e, CURLOPT_SUPPRESS_CONNECT_HEADERS, 1L) == CURLE_OK &&  // a proxy's CONNECT answer
      curl_easy_setopt(e, CURLOPT_NOSIGNAL, 1L) == CURLE_OK &&
      curl_easy_setopt(e, CURLOPT_CONNECTTIMEOUT_MS, 10000L) == CURLE_OK &&
      curl_easy_setopt(e, CURLOPT_LOW_SPEED_LIMIT, 1L) == CURLE_OK &&
      curl_easy_setopt(e, CURLOPT_LOW_SPEED_TIME, 30L) == CURLE_OK &&
      curl_easy_setopt(e, CURLOPT_BUFFERSIZE, static_cast<long>(read_buffer_size)) == CURLE_OK &&
      curl_easy_setopt(e, CURLOPT_HEADERFUNCTION, &Exchange::HeaderThunk) == CURLE_OK &&
      curl_easy_setopt(e, CURLOPT_HEADERDATA, &exchange) == CURLE_OK &&
      curl_easy_setopt(e, CURLOPT_WRITEFUNCTION, &Exchange::BodyThunk) == CURLE_OK &&
      curl_easy_setopt(e, CURLOPT_WRITEDATA, &exchange) == CURLE_OK;
  if (!configured) {
    reason = "conexao";
    return 0;
  }
  return exchange.Finish(curl_easy_perform(e), reason);
}

}  // namespace orv
