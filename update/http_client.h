// The launcher's only network code: blocking HTTP(S) GETs on the update worker thread. WinHTTP on
// Windows, libcurl elsewhere, with the same statuses, headers, Range rules, cancel points and error
// texts. Every call opens and closes its own session; nothing is reused between calls.
//
// Failures return 0/false and replace `reason` with a short Portuguese text:
//   "URL invalida", "WinHttpOpen", "conexao", "sem resposta do servidor (N)", "HTTP N", "cancelado",
//   "conexao caiu (N)", "intervalo incompleto", "nao abriu <path>", "disco cheio ou sem permissao",
//   "arquivo maior que o esperado".
// Success leaves `reason` untouched. N is the Windows error number on Windows and the CURLcode
// elsewhere (refused connection: 12029 / 7; reset mid-body: 12030 or 10054 / 56). A body that
// ends before its announced length is an early end, not "conexao caiu", on both (see
// http_client_posix.cpp for the other ways libcurl is made to behave like WinHTTP).
//
// The cancel flag is tested before every body read, including the one that finds the end of the
// body; it is not seen while a read waits, so a stalled server delays a cancel up to the 30 s
// receive timeout.
#pragma once

#include <cstdint>
#include <filesystem>
#include <string>
#include <vector>

#include "core/callbacks.h"

namespace orv {

// GET with "Cache-Control: no-cache". Returns the HTTP status (0 when no response was had). On 200
// `body` holds the body (a read failure mid-body just ends it); any other status sets "HTTP N". A body
// past 64 MiB is dropped: 200 with an empty `body` and "resposta grande demais".
[[nodiscard]] int FetchToMemory(const std::string& url, std::string& body, std::string& reason);

// GET of bytes first..last (inclusive) into `buffer` (cleared, capacity kept). A 200 answer (range
// ignored) still yields the slice: leading bytes are skipped, the rest of the body is not read, and
// progress is reported only for 206 answers. Fewer bytes than asked: "intervalo incompleto" (also
// given, without a request, when last < first).
[[nodiscard]] bool FetchRange(const std::string& url, std::uint64_t first, std::uint64_t last,
                              std::vector<std::uint8_t>& buffer, const ProgressCallback& progress,
                              const CancelFlag* cancel, std::string& reason);

// Downloads into `path`, resuming from the size of a partial file already there (open-ended Range).
// 416 means the partial file is already whole: success, file untouched. 200 rewrites from byte 0.
// A failed or cancelled download leaves the partial file for the next call. A body that would make
// the file larger than `max_bytes` stops the download: "arquivo maior que o esperado", the file left
// at most `max_bytes` long.
[[nodiscard]] bool DownloadToFile(const std::string& url, const std::filesystem::path& path,
                                  const ProgressCallback& progress, const CancelFlag* cancel, std::string& reason,
                                  std::uint64_t max_bytes = UINT64_MAX);

// "OrvLauncher/" and kLauncherVersion, e.g. "OrvLauncher/1.2.5".
[[nodiscard]] std::string HttpUserAgent();

}  // namespace orv
