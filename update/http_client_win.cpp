// WinHTTP backend: one synchronous session, connection and request per call, closed in reverse order
// on every exit. Redirects, proxy authentication and certificate errors are WinHTTP's defaults.
#include <windows.h>

#include <winhttp.h>

#include <memory>
#include <vector>

#include "core/text.h"
#include "update/http_client.h"
#include "update/http_transport.h"

namespace orv {

namespace {

struct InternetClose {
  void operator()(void* handle) const { WinHttpCloseHandle(handle); }
};
using Internet = std::unique_ptr<void, InternetClose>;

// Declared in this order so that destruction closes request, then connection, then session.
struct RequestHandles {
  Internet session;
  Internet connection;
  Internet request;
};

struct UrlParts {
  std::wstring host;
  std::wstring path;  // URL path followed directly by the extra information (query)
  INTERNET_PORT port = 80;
  bool secure = false;
};

bool ParseUrl(const std::wstring& url, UrlParts& parts) {
  std::vector<wchar_t> host(512), path(4096), extra(2048);
  URL_COMPONENTS c{};
  c.dwStructSize = sizeof c;
  c.lpszHostName = host.data();
  c.dwHostNameLength = static_cast<DWORD>(host.size());
  c.lpszUrlPath = path.data();
  c.dwUrlPathLength = static_cast<DWORD>(path.size());
  c.lpszExtraInfo = extra.data();
  c.dwExtraInfoLength = static_cast<DWORD>(extra.size());
  if (!WinHttpCrackUrl(url.c_str(), 0, 0, &c)) return false;
  parts.host.assign(c.lpszHostName, c.dwHostNameLength);
  parts.path.assign(c.lpszUrlPath, c.dwUrlPathLength);
  parts.path.append(c.lpszExtraInfo, c.dwExtraInfoLength);
  parts.port = c.nPort;
  parts.secure = c.nScheme == INTERNET_SCHEME_HTTPS;
  return true;
}

std::string NoAnswerText(DWORD code) { return "sem resposta do servidor (" + std::to_string(code) + ")"; }

// Sends the request and waits for the answer's headers. Returns the status, 0 on failure.
int OpenRequest(const std::string& url, const std::string& extra_headers, RequestHandles& h, std::string& reason) {
  UrlParts parts;
  if (!ParseUrl(Utf8ToWide(url), parts)) {
    reason = "URL invalida";
    return 0;
  }
  h.session.reset(WinHttpOpen(Utf8ToWide(HttpUserAgent()).c_str(), WINHTTP_ACCESS_TYPE_AUTOMATIC_PROXY,
                              WINHTTP_NO_PROXY_NAME, WINHTTP_NO_PROXY_BYPASS, 0));
  if (!h.session) {
    reason = "WinHttpOpen";
    return 0;
  }
  // Resolve, connect, send, receive. A failure here leaves the defaults, which are longer.
  WinHttpSetTimeouts(h.session.get(), 10000, 10000, 15000, 30000);
  h.connection.reset(WinHttpConnect(h.session.get(), parts.host.c_str(), parts.port, 0));
  if (h.connection) {
    h.request.reset(WinHttpOpenRequest(h.connection.get(), L"GET", parts.path.c_str(), nullptr, WINHTTP_NO_REFERER,
                                       WINHTTP_DEFAULT_ACCEPT_TYPES, parts.secure ? WINHTTP_FLAG_SECURE : 0));
  }
  if (!h.request) {
    reason = "conexao";
    return 0;
  }
  const std::wstring headers = Utf8ToWide(extra_headers);
  const wchar_t* header_text = headers.empty() ? WINHTTP_NO_ADDITIONAL_HEADERS : headers.c_str();
  const DWORD header_length = headers.empty() ? 0 : static_cast<DWORD>(-1L);  // -1: null-terminated
  const bool sent = WinHttpSendRequest(h.request.get(), header_text, header_length, WINHTTP_NO_REQUEST_DATA, 0, 0, 0);
  if (!sent || !WinHttpReceiveResponse(h.request.get(), nullptr)) {
    reason = NoAnswerText(GetLastError());
    return 0;
  }
  DWORD status = 0, size = sizeof status;
  if (!WinHttpQueryHeaders(h.request.get(), WINHTTP_QUERY_STATUS_CODE | WINHTTP_QUERY_FLAG_NUMBER,
                           WINHTTP_HEADER_NAME_BY_INDEX, &status, &size, WINHTTP_NO_HEADER_INDEX)) {
    return 0;
  }
  return static_cast<int>(status);
}

}  // namespace

int HttpGet(const std::string& url, const std::string& extra_headers, std::size_t read_buffer_size,
            ResponseHandler& handler, std::string& reason) {
  RequestHandles handles;
  const int status = OpenRequest(url, extra_headers, handles, reason);
  if (status == 0 || !handler.OnStatus(status)) return status;
  std::vector<std::uint8_t> buffer(read_buffer_size);
  const DWORD ask = static_cast<DWORD>(buffer.size());
  for (;;) {
    if (!handler.BeforeRead()) break;
    DWORD got = 0;
    if (!WinHttpReadData(handles.request.get(), buffer.data(), ask, &got)) {
      handler.OnReadError(GetLastError());
      break;
    }
    if (got == 0 || !handler.OnChunk(buffer.data(), got)) break;
  }
  return status;
}

}  // namespace orv
