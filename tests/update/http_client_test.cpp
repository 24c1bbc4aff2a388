// The HTTP client against real servers: nginx for plain answers, the fault server for the rest. The
// same cases run natively (libcurl) and under Wine (WinHTTP); both must give the same results.
#include <gtest/gtest.h>

#include <numeric>
#include <string>
#include <vector>

#include "core/file_util.h"
#include "core/paths.h"
#include "support/noise_bytes.h"
#include "support/temp_dir.h"
#include "test_servers.h"
#include "update/http_client.h"

namespace orv {

namespace {

constexpr std::uint64_t kReadBuffer = 256u << 10;

struct ChunkLog {
  std::vector<std::uint64_t> chunks;
  ProgressCallback Callback() {
    return [this](std::uint64_t n) { chunks.push_back(n); };
  }
  [[nodiscard]] std::uint64_t Total() const { return std::accumulate(chunks.begin(), chunks.end(), std::uint64_t{0}); }
  [[nodiscard]] std::uint64_t Largest() const {
    return chunks.empty() ? 0 : *std::max_element(chunks.begin(), chunks.end());
  }
};

class HttpClient : public ServedTest {
 protected:
  TempDir local_;
  std::string reason_;
};

TEST_F(HttpClient, FetchToMemoryReadsTheWholeBodyWithoutCaching) {
  const std::string content = NoiseBytes(200000);  // several 64 KiB reads
  const std::string path = served_.Put("manifest.json", content);
  std::string body = "antigo";
  reason_ = "intocado";
  EXPECT_EQ(FetchToMemory(nginx_.base_url + path, body, reason_), 200);
  EXPECT_EQ(body, content);
  EXPECT_EQ(reason_, "intocado");  // success leaves the reason alone
  const auto requests = RequestsFor(nginx_, path);
  ASSERT_EQ(requests.size(), 1u);
  EXPECT_EQ(requests[0].cache_control, "no-cache");
  EXPECT_EQ(requests[0].range, "-");
  EXPECT_EQ(requests[0].user_agent, "OrvLauncher/1.2.5");

  // Any other status: the status comes back, the body is left as it was.
  body = "antigo";
  EXPECT_EQ(FetchToMemory(nginx_.base_url + served_.UrlPath("nao-existe.json"), body, reason_), 404);
  EXPECT_EQ(reason_, "HTTP 404");
  EXPECT_EQ(body, "antigo");
  EXPECT_EQ(FetchToMemory(fault_.base_url + "/status/500" + path, body, reason_), 500);
  EXPECT_EQ(reason_, "HTTP 500");
}

// What a download asks for depends on the file already there, and the answer decides what becomes
// of it. None, or an empty one: no Range, the whole file (parents made). A partial one: the rest;
// 206 appends it; 416 (as long as the remote file) leaves the file whole and alone, even when its
// bytes differ; 200 (Range ignored) restarts from byte 0.
TEST_F(HttpClient, DownloadAsksForWhatTheLocalFileLacks) {
  const std::string content = NoiseBytes((1 << 20) + 3);
  const struct {
    const char* server;
    const char* local_kind;
    std::string local;  // the file before the call
    int status;
  } cases[] = {{"", "none", "", 200},
               {"", "empty", "", 200},
               {"", "prefix", content.substr(0, 300000), 206},
               {"", "as-long", NoiseBytes(content.size(), 7), 416},
               {"/norange", "wrong-prefix", std::string(5000, 'x'), 200}};
  for (const auto& c : cases) {
    SCOPED_TRACE(c.local_kind);
    const std::string path = served_.Put(std::string(c.local_kind) + ".pak", content);
    const bool on_nginx = c.server[0] == '\0';
    const auto target = local_ / c.local_kind / "jogo.pak";
    if (c.local_kind != std::string("none")) WriteTestFile(target, c.local);
    ChunkLog progress;
    reason_ = "intocado";
    EXPECT_TRUE(DownloadToFile((on_nginx ? nginx_.base_url : fault_.base_url + c.server) + path, target,
                               progress.Callback(), nullptr, reason_));
    EXPECT_EQ(reason_, "intocado");  // success leaves the reason alone
    const bool kept = c.status == 416;
    EXPECT_EQ(ReadTestFile(target), kept ? c.local : content);
    EXPECT_EQ(progress.Total(), c.status == 206 ? content.size() - c.local.size() : kept ? 0 : content.size());
    EXPECT_EQ(progress.chunks.empty(), kept);
    EXPECT_LE(progress.Largest(), kReadBuffer);
    const auto requests = RequestsFor(on_nginx ? nginx_ : fault_, c.server + path);
    ASSERT_EQ(requests.size(), 1u);
    EXPECT_EQ(requests[0].range, c.local.empty() ? "-" : "bytes=" + std::to_string(c.local.size()) + "-");
    EXPECT_EQ(requests[0].status, c.status);
    EXPECT_EQ(requests[0].cache_control, "-");
    EXPECT_EQ(requests[0].user_agent, "OrvLauncher/1.2.5");
  }
}

TEST_F(HttpClient, FetchRangeTakesItsSliceFromA206OrA200) {
  const std::string content = NoiseBytes(1 << 20);
  const std::string path = served_.Put("blocos.orvb", content);
  std::vector<std::uint8_t> buffer(10, 0xEE);  // cleared first

  ChunkLog progress;
  ASSERT_TRUE(FetchRange(nginx_.base_url + path, 1000, 400999, buffer, progress.Callback(), nullptr, reason_))
      << reason_;
  EXPECT_EQ(std::string(buffer.begin(), buffer.end()), content.substr(1000, 400000));
  EXPECT_EQ(progress.Total(), 400000u);
  const auto requests = RequestsFor(nginx_, path);
  ASSERT_EQ(requests.size(), 1u);
  EXPECT_EQ(requests[0].range, "bytes=1000-400999");
  EXPECT_EQ(requests[0].cache_control, "-");

  // The whole file comes instead: leading bytes skipped, the rest not read, no progress.
  ChunkLog ignored;
  ASSERT_TRUE(
      FetchRange(fault_.base_url + "/norange" + path, 600000, 600099, buffer, ignored.Callback(), nullptr, reason_))
      << reason_;
  EXPECT_EQ(std::string(buffer.begin(), buffer.end()), content.substr(600000, 100));
  EXPECT_TRUE(ignored.chunks.empty());
}

TEST_F(HttpClient, AnEarlyEndFailsARangeButNotADownload) {
  const std::string content = NoiseBytes(10000);
  const std::string path = served_.Put("jogo.pak", content);
  std::vector<std::uint8_t> buffer;
  // The server closes cleanly after 1000 of the promised bytes.
  EXPECT_FALSE(FetchRange(fault_.base_url + "/short/1000" + path, 0, 4999, buffer, {}, nullptr, reason_));
  EXPECT_EQ(reason_, "intervalo incompleto");
  // A range past the end of the file: nginx sends only what there is.
  reason_.clear();
  EXPECT_FALSE(FetchRange(nginx_.base_url + path, 9000, 10999, buffer, {}, nullptr, reason_));
  EXPECT_EQ(reason_, "intervalo incompleto");

  // The length of a download is not checked: the caller's digest does that.
  const auto target = local_ / "jogo.pak";
  EXPECT_TRUE(DownloadToFile(fault_.base_url + "/short/1000" + path, target, {}, nullptr, reason_)) << reason_;
  EXPECT_EQ(ReadTestFile(target), content.substr(0, 1000));
}

TEST_F(HttpClient, FailuresAreReportedWithTheirTexts) {
  const std::string content = NoiseBytes(300000);
  const std::string path = served_.Put("jogo.pak", content);
  const auto target = local_ / "jogo.pak";
  std::vector<std::uint8_t> buffer;
  std::string body;

  EXPECT_FALSE(DownloadToFile(nginx_.base_url + served_.UrlPath("falta.pak"), target, {}, nullptr, reason_));
  EXPECT_EQ(reason_, "HTTP 404");
  EXPECT_FALSE(PathExists(target));
  EXPECT_FALSE(FetchRange(fault_.base_url + "/status/500" + path, 0, 9, buffer, {}, nullptr, reason_));
  EXPECT_EQ(reason_, "HTTP 500");
  EXPECT_FALSE(DownloadToFile(fault_.base_url + "/status/500" + path, target, {}, nullptr, reason_));
  EXPECT_EQ(reason_, "HTTP 500");

  // Nobody listens on port 1; a server that closes without answering is the same to the client.
  EXPECT_EQ(FetchToMemory("http://127.0.0.1:1/manifest.json", body, reason_), 0);
  EXPECT_EQ(reason_.rfind("sem resposta do servidor (", 0), 0u) << reason_;
  EXPECT_EQ(reason_.back(), ')');
  reason_.clear();
  EXPECT_FALSE(DownloadToFile(fault_.base_url + "/drop" + path, target, {}, nullptr, reason_));
  EXPECT_EQ(reason_.rfind("sem resposta do servidor (", 0), 0u) << reason_;

  // An https URL is spoken TLS to (a plain request would get "HTTP 400" from this port), and a
  // certificate nobody trusts ends the exchange before any answer.
  ASSERT_FALSE(nginx_.tls_base_url.empty());
  EXPECT_EQ(FetchToMemory(nginx_.tls_base_url + path, body, reason_), 0);
  EXPECT_EQ(reason_.rfind("sem resposta do servidor (", 0), 0u) << reason_;

  for (const char* garbage : {"isto nao e url", "", "ftp://127.0.0.1/jogo.pak", "http://"}) {
    reason_.clear();
    EXPECT_EQ(FetchToMemory(garbage, body, reason_), 0) << garbage;
    EXPECT_EQ(reason_, "URL invalida") << garbage;
  }

  // The body breaks off after 50000 bytes.
  EXPECT_FALSE(DownloadToFile(fault_.base_url + "/cut/50000" + path, target, {}, nullptr, reason_));
  EXPECT_EQ(reason_.rfind("conexao caiu (", 0), 0u) << reason_;
  EXPECT_LE(FileSizeOf(target), 50000);
  EXPECT_FALSE(FetchRange(fault_.base_url + "/cut/50000" + path, 0, 99999, buffer, {}, nullptr, reason_));
  EXPECT_EQ(reason_.rfind("conexao caiu (", 0), 0u) << reason_;

  // A device that takes no bytes: the first write fails. Under Wine the rooted path is on the
  // current drive, Z:, which is the Linux root.
  const std::filesystem::path full("/dev/full");
  reason_.clear();
  EXPECT_FALSE(DownloadToFile(nginx_.base_url + path, full, {}, nullptr, reason_));
  EXPECT_EQ(reason_, "disco cheio ou sem permissao");

  // A folder where the file should go cannot be opened for writing, even by root.
  const auto folder = local_ / "pasta";
  ASSERT_TRUE(CreateFolder(folder));
  EXPECT_FALSE(DownloadToFile(nginx_.base_url + path, folder, {}, nullptr, reason_));
  EXPECT_EQ(reason_, "nao abriu " + PathToUtf8(folder));
}

TEST_F(HttpClient, CancelKeepsThePartialFileForTheNextCall) {
  const std::string content = NoiseBytes(4 << 20);
  const std::string path = served_.Put("grande.pak", content);
  const std::string url = nginx_.base_url + path;
  const auto target = local_ / "grande.pak";
  std::vector<std::uint8_t> buffer;

  CancelFlag cancel{1};
  EXPECT_FALSE(FetchRange(url, 0, 99, buffer, {}, &cancel, reason_));
  EXPECT_EQ(reason_, "cancelado");
  EXPECT_FALSE(DownloadToFile(url, target, {}, &cancel, reason_));
  EXPECT_EQ(reason_, "cancelado");
  EXPECT_EQ(FileSizeOf(target), 0);  // opened for the answer, nothing read

  // Raised while the first chunk is reported: that chunk is on disk, nothing after it.
  cancel = 0;
  ChunkLog progress;
  const auto raise = [&](std::uint64_t n) { progress.chunks.push_back(n), cancel = 1; };
  EXPECT_FALSE(DownloadToFile(url, target, raise, &cancel, reason_));
  EXPECT_EQ(reason_, "cancelado");
  ASSERT_EQ(progress.chunks.size(), 1u);
  const std::int64_t partial = FileSizeOf(target);
  EXPECT_EQ(static_cast<std::uint64_t>(partial), progress.Total());
  EXPECT_GT(partial, 0);
  EXPECT_EQ(ReadTestFile(target), content.substr(0, static_cast<std::size_t>(partial)));

  cancel = 0;
  ASSERT_TRUE(DownloadToFile(url, target, {}, &cancel, reason_)) << reason_;
  EXPECT_EQ(ReadTestFile(target), content);
  const auto requests = RequestsFor(nginx_, path, 4);
  ASSERT_EQ(requests.size(), 4u);
  EXPECT_EQ(requests[3].range, "bytes=" + std::to_string(partial) + "-");

  // Raised during the only chunk: the flag is still seen before the read that would find the end,
  // so the call reports the cancel although the file is whole.
  const std::string small = served_.Put("pequeno.pak", "poucos bytes");
  const auto small_target = local_ / "pequeno.pak";
  EXPECT_FALSE(DownloadToFile(
      nginx_.base_url + small, small_target, [&](std::uint64_t) { cancel = 1; }, &cancel, reason_));
  EXPECT_EQ(reason_, "cancelado");
  EXPECT_EQ(ReadTestFile(small_target), "poucos bytes");
}

TEST_F(HttpClient, RedirectsAndUnsafeCharactersBehaveAlike) {
  const std::string content = NoiseBytes(3000);
  const std::string path = served_.Put("com espaco.pak", content);
  std::string body;
  // A blank in the path goes out escaped.
  EXPECT_EQ(FetchToMemory(nginx_.base_url + path, body, reason_), 200) << reason_;
  EXPECT_EQ(body, content);
  EXPECT_EQ(RequestsFor(nginx_, served_.UrlPath("com%20espaco.pak")).size(), 1u);

  body.clear();
  EXPECT_EQ(FetchToMemory(fault_.base_url + "/redirect/302" + served_.UrlPath("com%20espaco.pak"), body, reason_), 200)
      << reason_;
  EXPECT_EQ(body, content);
}

}  // namespace

}  // namespace orv
