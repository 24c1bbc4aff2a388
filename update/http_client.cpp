#include "update/http_client.h"

#include <algorithm>

#include "core/file.h"
#include "core/file_util.h"
#include "core/paths.h"
#include "core/version.h"
#include "update/http_transport.h"

namespace orv {

namespace {

constexpr std::size_t kMemoryBuffer = 64u << 10;     // manifest fetches
constexpr std::size_t kMaxMemoryBody = 64u << 20;    // far above any real manifest
constexpr std::size_t kTransferBuffer = 256u << 10;  // ranges and file downloads

std::string RangeHeader(std::uint64_t first, std::uint64_t last) {
  return "Range: bytes=" + std::to_string(first) + "-" + std::to_string(last) + "\r\n";
}

std::string OpenRangeHeader(std::uint64_t first) { return "Range: bytes=" + std::to_string(first) + "-\r\n"; }

std::string HttpStatusText(int status) { return "HTTP " + std::to_string(status); }

std::string DroppedText(unsigned long code) { return "conexao caiu (" + std::to_string(code) + ")"; }

// The manifest: 200 or nothing; a body cut short just ends it.
class MemoryFetch final : public ResponseHandler {
 public:
  MemoryFetch(std::string& body, std::string& reason) : body_(body), reason_(reason) {}

  bool OnStatus(int status) override {
    if (status != 200) {
      reason_ = HttpStatusText(status);
      return false;
    }
    body_.clear();
    return true;
  }
  bool BeforeRead() override { return true; }
  bool OnChunk(const std::uint8_t* data, std::size_t size) override {
    if (size > kMaxMemoryBody - body_.size()) {
      // A wrong URL or an endless answer must not grow memory without bound.
      reason_ = "resposta grande demais";
      std::string().swap(body_);
      return false;
    }
    body_.append(reinterpret_cast<const char*>(data), size);
    return true;
  }
  void OnReadError(unsigned long) override {}

 private:
  std::string& body_;
  std::string& reason_;
};

// What the two body handlers share: the cancel test before each read, a dropped connection, and
// the first failure's text.
class CancellableHandler : public ResponseHandler {
 public:
  bool BeforeRead() override {
    if (!IsSet(cancel_)) return true;
    Fail("cancelado");
    return false;
  }
  void OnReadError(unsigned long code) override { Fail(DroppedText(code)); }

 protected:
  CancellableHandler(const CancelFlag* cancel, std::string& reason) : cancel_(cancel), reason_(reason) {}

  void Fail(std::string text) {
    reason_ = std::move(text);
    failed_ = true;
  }
  [[nodiscard]] bool failed() const { return failed_; }
  std::string& reason() { return reason_; }

 private:
  const CancelFlag* cancel_;
  std::string& reason_;
  bool failed_ = false;
};

// Bytes first..last of a file. A server that ignores the range sends the file from byte 0 with
// 200: the leading bytes are skipped and the exchange is dropped once the slice is complete.
class RangeFetch final : public CancellableHandler {
 public:
  RangeFetch(std::uint64_t first, std::uint64_t last, std::vector<std::uint8_t>& buffer,
             const ProgressCallback& progress, const CancelFlag* cancel, std::string& reason)
      : CancellableHandler(cancel, reason),
        first_(first),
        expected_(last - first + 1),
        buffer_(buffer),
        progress_(progress) {}

  bool OnStatus(int status) override {
    if (status != 206 && status != 200) {
      Fail(HttpStatusText(status));
      return false;
    }
    partial_ = status == 206;
    skip_ = partial_ ? 0 : first_;
    buffer_.reserve(expected_);
    return true;
  }
  bool OnChunk(const std::uint8_t* data, std::size_t size) override {
    std::size_t used = 0;
    if (skip_ > 0) {
      used = static_cast<std::size_t>(std::min<std::uint64_t>(skip_, size));
      skip_ -= used;
    }
    const std::uint64_t wanted = expected_ - buffer_.size();
    const std::size_t take = static_cast<std::size_t>(std::min<std::uint64_t>(wanted, size - used));
    buffer_.insert(buffer_.end(), data + used, data + used + take);
    // A server that ignored the range sends bytes nobody asked for: they are not progress.
    if (partial_ && progress_) progress_(size);
    if (buffer_.size() < expected_) return true;
    complete_ = true;
    return false;
  }

  [[nodiscard]] bool Finish() {
    if (failed()) return false;
    if (complete_) return true;
    reason() = "intervalo incompleto";
    return false;
  }

 private:
  const std::uint64_t first_;
  const std::uint64_t expected_;
  std::vector<std::uint8_t>& buffer_;
  const ProgressCallback& progress_;
  bool partial_ = false;
  std::uint64_t skip_ = 0;
  bool complete_ = false;
};

// A whole file into `path`, appending to a partial file when the server answers the open-ended
// range with 206. The body's content is not checked (the caller's digest decides), only that the
// file never grows past `max_bytes`.
class FileDownload final : public CancellableHandler {
 public:
  FileDownload(const std::filesystem::path& path, std::int64_t existing, std::uint64_t max_bytes,
               const ProgressCallback& progress, const CancelFlag* cancel, std::string& reason)
      : CancellableHandler(cancel, reason),
        path_(path),
        existing_(existing),
        max_bytes_(max_bytes),
        progress_(progress) {}

  bool OnStatus(int status) override {
    // 416: the range starts at or past the end, so the partial file is already whole.
    if (status == 416) return false;
    if (status != 200 && status != 206) {
      Fail(HttpStatusText(status));
      return false;
    }
    // 200 means the server sends the whole file: it is rewritten from byte 0.
    const bool append = status == 206 && existing_ >= 1;
    const bool opened = append ? file_.Open(path_, File::Access::kOpenOrCreate) && file_.SeekToEnd()
                               : file_.Open(path_, File::Access::kCreate);
    if (!opened) {
      Fail("nao abriu " + PathToUtf8(path_));
      return false;
    }
    size_ = append ? static_cast<std::uint64_t>(existing_) : 0;
    return true;
  }
  bool OnChunk(const std::uint8_t* data, std::size_t size) override {
    if (size > max_bytes_ || size_ > max_bytes_ - size) {
      // An endless or oversized body would fill the disk; what was written stays within the limit.
      Fail("arquivo maior que o esperado");
      return false;
    }
    size_ += size;
    if (!file_.Write(data, size)) {
      Fail("disco cheio ou sem permissao");
      return false;
    }
    if (progress_) progress_(size);
    return true;
  }

  [[nodiscard]] bool Finish() {
    file_.Close();
    return !failed();
  }

 private:
  const std::filesystem::path& path_;
  const std::int64_t existing_;
  const std::uint64_t max_bytes_;
  const ProgressCallback& progress_;
  File file_;
  std::uint64_t size_ = 0;  // the file's size so far
};

}  // namespace

int FetchToMemory(const std::string& url, std::string& body, std::string& reason) {
  MemoryFetch fetch(body, reason);
  return HttpGet(url, "Cache-Control: no-cache\r\n", kMemoryBuffer, fetch, reason);
}

bool FetchRange(const std::string& url, std::uint64_t first, std::uint64_t last, std::vector<std::uint8_t>& buffer,
                const ProgressCallback& progress, const CancelFlag* cancel, std::string& reason) {
  buffer.clear();
  if (last < first) {
    // Nobody asks for this; refusing it keeps expected (last - first + 1) from wrapping around.
    reason = "intervalo incompleto";
    return false;
  }
  RangeFetch fetch(first, last, buffer, progress, cancel, reason);
  if (HttpGet(url, RangeHeader(first, last), kTransferBuffer, fetch, reason) == 0) return false;
  return fetch.Finish();
}

bool DownloadToFile(const std::string& url, const std::filesystem::path& path, const ProgressCallback& progress,
                    const CancelFlag* cancel, std::string& reason, std::uint64_t max_bytes) {
  EnsureParentFolder(path);
  const std::int64_t existing = std::max<std::int64_t>(FileSizeOf(path), 0);
  const std::string range = existing >= 1 ? OpenRangeHeader(static_cast<std::uint64_t>(existing)) : std::string();
  FileDownload download(path, existing, max_bytes, progress, cancel, reason);
  if (HttpGet(url, range, kTransferBuffer, download, reason) == 0) return false;
  return download.Finish();
}

std::string HttpUserAgent() { return std::string("OrvLauncher/") + kLauncherVersion; }

}  // namespace orv
