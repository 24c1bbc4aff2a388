// The one primitive each HTTP backend supplies (http_client_win.cpp: WinHTTP; http_client_posix.cpp:
// libcurl). The operations of http_client.h are written once on top of it, so both platforms make
// the same decisions at the same points of an exchange.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

namespace orv {

// What one GET does with its answer. The backend calls, in this order: OnStatus once with the final
// status (after redirects); then, while every call returns true, BeforeRead and OnChunk for each
// piece of the body; then BeforeRead once more before the read that finds the body's end. A read
// failure calls OnReadError instead and ends the exchange.
class ResponseHandler {
 public:
  virtual ~ResponseHandler() = default;
  // False: the body is not read.
  [[nodiscard]] virtual bool OnStatus(int status) = 0;
  // False: stop before reading (cancelled).
  [[nodiscard]] virtual bool BeforeRead() = 0;
  // At most the read buffer's size, never empty. False: stop reading.
  [[nodiscard]] virtual bool OnChunk(const std::uint8_t* data, std::size_t size) = 0;
  // `code`: the platform's error number (GetLastError on Windows, the CURLcode elsewhere).
  virtual void OnReadError(unsigned long code) = 0;
};

// GET `url` with the user agent, proxy, timeouts and redirects of the launcher, plus `extra_headers`
// ("Name: value\r\n" lines, may be empty), reading the body `read_buffer_size` bytes at a time.
// Returns the final status, after which the handler has had its calls; 0 when there was no usable
// response: `reason` is then set ("URL invalida", "WinHttpOpen", "conexao", "sem resposta do
// servidor (N)"), except when only the status could not be read.
[[nodiscard]] int HttpGet(const std::string& url, const std::string& extra_headers, std::size_t read_buffer_size,
                          ResponseHandler& handler, std::string& reason);

}  // namespace orv
