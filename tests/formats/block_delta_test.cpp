// The block-delta transfer against the real test servers. What goes over the wire is counted where
// it arrives, in the servers' access logs: which ranges were asked for and how many body bytes left.
// The same cases run natively (libcurl) and under Wine (WinHTTP).
#include "formats/block_delta.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <optional>
#include <string>
#include <vector>

#include "core/file_util.h"
#include "core/paths.h"
#include "file_builders.h"
#include "formats/codec/compression_algorithm.h"
#include "formats/orvb.h"
#include "support/fake_clock.h"
#include "support/game_folder_view.h"
#include "support/noise_bytes.h"
#include "support/scoped_folders.h"
#include "support/test_channel.h"
#include "test_servers.h"
#include "update/http_client.h"
#include "update/sha256.h"

namespace orv {

namespace {

using testing::HasSubstr;
using testing::Not;

constexpr std::uint32_t kBlock = 4096;

// Block i: a random prefix whose length changes with i, then one repeated byte; the blocks compress
// to lengths of their own and the longest prefixes are stored raw.
std::string Content(std::size_t blocks, std::size_t tail, std::uint32_t seed) {
  std::string bytes = NoiseBytes(blocks * kBlock + tail, seed);
  for (std::size_t i = 0; i * kBlock < bytes.size(); ++i) {
    const std::size_t end = std::min(bytes.size(), (i + 1) * kBlock);
    const std::size_t random_end = i * kBlock + 64 + (i * 1531) % kBlock;
    for (std::size_t k = random_end; k < end; ++k) bytes[k] = static_cast<char>('a' + i % 26);
  }
  return bytes;
}

// Fills block `index` with fresh random bytes: its digest is new and it is stored raw.
void Scramble(std::string& bytes, std::size_t index, std::uint32_t seed) {
  const std::size_t length = std::min(bytes.size() - index * kBlock, std::size_t{kBlock});
  bytes.replace(index * kBlock, length, NoiseBytes(length, seed));
}

std::uint64_t BodyBytes(const std::vector<AccessEntry>& requests) {
  std::uint64_t sum = 0;
  for (const AccessEntry& r : requests) sum += r.body_bytes;
  return sum;
}

// One file as the publisher puts it on the server: the .orvb, and the manifest entry naming it.
struct Published {
  ManifestEntry entry;
  OrvbTable table;
  std::string uri;   // URL path of the .orvb
  std::string name;  // "caminho" with forward slashes

  // The range covering blocks first..last of the .orvb.
  [[nodiscard]] std::string BlockRange(std::size_t first, std::size_t last) const {
    return "bytes=" + std::to_string(table.blocks[first].offset) + "-" +
           std::to_string(table.blocks[last].offset + table.blocks[last].stored_length - 1);
  }
  [[nodiscard]] std::uint64_t Stored(const std::vector<std::size_t>& blocks) const {
    std::uint64_t sum = 0;
    for (const std::size_t k : blocks) sum += table.blocks[k].stored_length;
    return sum;
  }
};

class BlockDelta : public ServedTest {
 protected:
  // `caminho` uses backslashes, as manifests written on Windows do; URLs must not.
  Published Publish(const std::string& caminho, const std::string& content) {
    Published p;
    p.name = caminho;
    std::replace(p.name.begin(), p.name.end(), '\\', '/');
    // Served as the publisher lays it out; the manifest keeps the backslashes.
    p.entry = TestChannel(served_.path()).Serve(p.name, content, TestChannel::Variant::kOrvb, kBlock);
    p.entry.caminho = caminho;
    const std::string orvb = ReadTestFile(JoinRelative(served_.path(), p.name + ".orvb"));
    std::string error;
    EXPECT_TRUE(ReadOrvbTable({reinterpret_cast<const std::uint8_t*>(orvb.data()), orvb.size()}, p.table, error));
    p.uri = served_.UrlPath(p.name + ".orvb");
    return p;
  }

  // A file of 160 blocks with nothing installed to reuse: the whole .orvb comes.
  Published PublishWhole() { return Publish("inteiro/novo.pak", Content(160, 0, 22)); }
  [[nodiscard]] std::filesystem::path Nowhere() const { return folders_.root() / "jogo/nao-existe.pak"; }

  std::filesystem::path Installed(const Published& p, const std::string& bytes) {
    const auto path = folders_.root() / ("jogo/" + p.name);
    WriteTestFile(path, bytes);
    return path;
  }
  [[nodiscard]] std::filesystem::path Target(const Published& p) const {
    return folders_.root() / (".atualizando/" + p.name);
  }
  std::filesystem::path Beside(const Published& p, const char* suffix) const { return WithSuffix(Target(p), suffix); }

  // The installed file's block digests, as verification hands them over.
  static std::string Blocks(const Published& p, const std::filesystem::path& installed) {
    return Sha256OfBlocks(installed, static_cast<std::uint32_t>(p.entry.bloco), nullptr);
  }

  // `digests` stands in for the installed file's own block digests when given.
  int Run(const Published& p, const std::filesystem::path& installed, const std::string& server_base,
          const std::optional<std::string>& digests = std::nullopt) {
    error_ = "intocado";
    return BlockDeltaDownload(
        p.entry, installed, digests.value_or(Blocks(p, installed)), Target(p), server_base + served_.UrlPath(""),
        [this](std::uint64_t n) {
          progress_ += n;
          if (cancel_on_progress_) cancel_ = 1;
        },
        &cancel_, clock_, error_);
  }

  // A whole-length .orvb.part that must not be kept: the run fails with `error` and leaves neither
  // work file, so the next run starts clean and succeeds.
  void ExpectPartialThrownAway(const Published& p, const std::string& partial, const std::string& error) {
    WriteTestFile(Beside(p, ".orvb.part"), partial);
    EXPECT_EQ(Run(p, Nowhere(), nginx_.base_url), -1);
    EXPECT_EQ(error_, error);
    EXPECT_FALSE(PathExists(Beside(p, ".orvb.part")));
    EXPECT_FALSE(PathExists(Beside(p, ".bloco")));
    ASSERT_EQ(Run(p, Nowhere(), nginx_.base_url), 0) << error_;
  }

  // Serves `orvb` in place of the published .orvb.
  void Serve(const Published& p, const std::string& orvb) { (void)served_.Put(p.name + ".orvb", orvb); }
  // `orvb` with the table entry at byte `at` changed.
  static std::string WithEntry(std::string orvb, std::size_t at, std::uint64_t offset, std::uint32_t length) {
    std::string entry;
    PutLe64(entry, offset);
    PutLe32(entry, length);
    orvb.replace(at, 12, entry);
    return orvb;
  }

  ScopedFolders folders_;  // the log goes to the temporary data folder
  FakeClock clock_;
  CancelFlag cancel_{0};
  bool cancel_on_progress_ = false;
  std::uint64_t progress_ = 0;
  std::string error_;
};

// Every block still there, in another order: rebuilt from the installed file alone, only the
// header and table are asked for.
TEST_F(BlockDelta, AFileWhoseBlocksAllMovedIsRebuiltFromTheInstalledOne) {
  const std::string fresh = Content(40, 1000, 11);
  std::string moved;
  for (std::size_t i = 40; i-- > 0;) moved += fresh.substr(i * kBlock, kBlock);
  moved += fresh.substr(40 * kBlock);
  const Published p = Publish("dados\\movido.pak", fresh);
  ASSERT_EQ(Run(p, Installed(p, moved), nginx_.base_url), 0) << error_;
  EXPECT_EQ(ReadTestFile(Target(p)), fresh);
  EXPECT_FALSE(PathExists(Beside(p, ".bloco")));
  const auto requests = RequestsFor(nginx_, p.uri);
  ASSERT_EQ(requests.size(), 1u);
  EXPECT_EQ(requests[0].range, "bytes=0-683");
  EXPECT_EQ(requests[0].body_bytes, 684u);  // the header and the table of 41 blocks, nothing else
  EXPECT_EQ(progress_, fresh.size()) << "only the final hash of the assembled file";
  EXPECT_THAT(TakeLauncherLog(),
              HasSubstr("por bloco dados\\movido.pak: 0 de 41 blocos baixados (0 bytes), o resto do instalado"));
}

// Four changed blocks, two of them adjacent, one the short last block: three ranges that carry
// exactly their stored bytes, nothing more.
TEST_F(BlockDelta, OnlyTheChangedBlocksComeInOneRangePerRun) {
  const std::string old = Content(40, 1000, 12);
  std::string fresh = old;
  for (const std::size_t k : {3u, 20u, 21u, 40u}) fresh[k * kBlock + 7] ^= 0x5a;
  const Published p = Publish("dados\\editado.pak", fresh);
  ASSERT_EQ(Run(p, Installed(p, old), nginx_.base_url), 0) << error_;
  EXPECT_EQ(ReadTestFile(Target(p)), fresh);
  const auto requests = RequestsFor(nginx_, p.uri, 4);
  ASSERT_EQ(requests.size(), 4u);
  EXPECT_EQ(requests[0].range, "bytes=0-683");
  EXPECT_EQ(requests[1].range, p.BlockRange(3, 3));
  EXPECT_EQ(requests[2].range, p.BlockRange(20, 21));
  EXPECT_EQ(requests[3].range, p.BlockRange(40, 40));
  for (const AccessEntry& r : requests) EXPECT_EQ(r.status, 206);
  const std::uint64_t stored = p.Stored({3, 20, 21, 40});
  EXPECT_EQ(BodyBytes(requests), 684 + stored);  // header and table of 41 blocks, then the ranges
  EXPECT_EQ(progress_, stored + fresh.size());   // the ranges (not the header), then the final hash
  EXPECT_THAT(TakeLauncherLog(), HasSubstr("por bloco dados\\editado.pak: 4 de 41 blocos baixados (" +
                                           std::to_string(stored) + " bytes), o resto do instalado"));
}

// 33 adjacent missing blocks: 32 in one request, the last one in a second.
TEST_F(BlockDelta, ALongRunOfMissingBlocksIsSplitIntoRequestsOf32) {
  const std::string old = Content(80, 0, 13);
  std::string fresh = old;
  for (std::size_t k = 10; k <= 42; ++k) fresh[k * kBlock] ^= 0x33;
  const Published p = Publish("dados\\trecho.pak", fresh);
  std::vector<std::size_t> changed(33);
  for (std::size_t k = 0; k < 33; ++k) changed[k] = 10 + k;
  ASSERT_LE(static_cast<double>(p.Stored(changed)), 0.6 * static_cast<double>(p.entry.bTamanho));
  ASSERT_EQ(Run(p, Installed(p, old), nginx_.base_url), 0) << error_;
  EXPECT_EQ(ReadTestFile(Target(p)), fresh);
  const auto requests = RequestsFor(nginx_, p.uri, 3);
  ASSERT_EQ(requests.size(), 3u);
  EXPECT_EQ(requests[1].range, p.BlockRange(10, 41));
  EXPECT_EQ(requests[2].range, p.BlockRange(42, 42));
  EXPECT_EQ(BodyBytes(requests), 1308 + p.Stored(changed));  // header and table of 80 blocks, then the ranges
}

// Missing bytes exactly 0.6 of the manifest's .orvb size still take ranges; one byte less of
// .orvb and the whole file is asked for instead. (That manifest understates the real .orvb, so the
// whole download fails; how it stops at the size given:
// HostileServer.EndlessFileBodiesStopAtTheManifestSizes.)
TEST_F(BlockDelta, AtTheThresholdRangesAboveItTheWholeFile) {
  const std::string old = Content(20, 100, 21);
  std::string fresh = old;
  for (const std::size_t k : {5u, 6u, 7u}) Scramble(fresh, k, static_cast<std::uint32_t>(k));
  Published p = Publish("limite.pak", fresh);
  for (const std::size_t k : {5u, 6u, 7u}) ASSERT_NE(p.table.blocks[k].stored_flag, 0u);
  const auto installed = Installed(p, old);
  p.entry.bTamanho = 20480;  // the three raw blocks, 12288 bytes, are 0.6 of it
  ASSERT_EQ(Run(p, installed, nginx_.base_url), 0) << error_;
  EXPECT_EQ(ReadTestFile(Target(p)), fresh);
  p.entry.bTamanho -= 1;
  EXPECT_EQ(Run(p, installed, nginx_.base_url), -1);
  const auto requests = RequestsFor(nginx_, p.uri, 4);
  ASSERT_GE(requests.size(), 4u);
  EXPECT_EQ(requests[1].range, p.BlockRange(5, 7));
  EXPECT_EQ(requests[2].range, "bytes=0-363");
  EXPECT_EQ(requests[3].range, "-");
}

// No installed file: everything is missing. The download breaks off after 300000 bytes, the retry
// asks for the rest only. (More than one 256 KiB read arrives before the cut: WinHTTP under Wine
// drops a read that a reset interrupts.)
TEST_F(BlockDelta, WithNothingInstalledTheWholeOrvbComesAndACutOneResumes) {
  const Published whole = PublishWhole();
  const std::uint64_t size = whole.entry.bTamanho;
  ASSERT_GT(size, 320000u);
  ArmFaults(2, "cut/300000", whole.uri);  // the header request is short enough to get through whole
  ASSERT_EQ(Run(whole, Nowhere(), fault_.base_url), 0) << error_;
  EXPECT_EQ(ReadTestFile(Target(whole)), Content(160, 0, 22));
  EXPECT_EQ(clock_.sleeps_ms, std::vector<std::uint32_t>{2000});
  const std::string log = TakeLauncherLog();
  EXPECT_THAT(log, HasSubstr("por bloco inteiro/novo.pak: inteiro (160 de 160 blocos faltavam)"));
  EXPECT_FALSE(PathExists(Beside(whole, ".orvb.part")));
  const std::size_t line = log.find("download inteiro/novo.pak falhou (conexao caiu (");
  ASSERT_NE(line, std::string::npos) << log;
  EXPECT_NE(log.substr(line, log.find('\r', line) - line).find("), tentativa 1"), std::string::npos);
  const auto requests = RequestsFor(fault_, whole.uri, 3);
  ASSERT_EQ(requests.size(), 3u);
  EXPECT_EQ(requests[1].range, "-");
  EXPECT_LE(requests[1].body_bytes, 300000u);
  EXPECT_EQ(requests[2].status, 206);
  EXPECT_LT(requests[2].body_bytes, size);
  EXPECT_EQ(requests[2].range, "bytes=" + std::to_string(size - requests[2].body_bytes) + "-");
}

// A partial .orvb left by an earlier run is continued, not fetched again.
TEST_F(BlockDelta, APartialOrvbLeftByAnEarlierRunIsContinued) {
  const Published whole = PublishWhole();
  const std::uint64_t size = whole.entry.bTamanho;
  const std::string orvb = ReadTestFile(served_.path() / "inteiro/novo.pak.orvb");
  WriteTestFile(Beside(whole, ".orvb.part"), orvb.substr(0, 5000));
  ASSERT_EQ(Run(whole, Nowhere(), nginx_.base_url), 0) << error_;
  const auto requests = RequestsFor(nginx_, whole.uri, 2);
  ASSERT_EQ(requests.size(), 2u);
  EXPECT_EQ(requests[1].range, "bytes=5000-");
  EXPECT_EQ(requests[1].body_bytes, size - 5000);
  EXPECT_FALSE(PathExists(Beside(whole, ".orvb.part")));
}

// A whole-length .orvb.part that is not the .orvb (the server answers 416 to it) fails to decode;
// it is thrown away so the next call starts clean.
TEST_F(BlockDelta, AWholeLengthPartialThatIsNotTheOrvbIsThrownAway) {
  const Published whole = PublishWhole();
  const std::string orvb = ReadTestFile(served_.path() / "inteiro/novo.pak.orvb");
  ExpectPartialThrownAway(whole, "X" + orvb.substr(1), "arquivo em blocos invalido");
}

// A whole .orvb.part of the previous publication, exactly as long as the new .orvb: it decodes,
// but to the old file. It must not be kept, or every later run would resume it and fail alike.
TEST_F(BlockDelta, AWholePartialOfThePreviousPublicationIsNotKept) {
  std::string before = Content(20, 0, 23);
  Scramble(before, 3, 1);
  std::string after = before;
  Scramble(after, 3, 2);  // stored raw both times: the .orvb keeps its size
  const std::string stale = ReadTestFile(served_.path() / (Publish("republicado.pak", before).name + ".orvb"));
  const Published republished = Publish("republicado.pak", after);
  ASSERT_EQ(stale.size(), republished.entry.bTamanho);
  ExpectPartialThrownAway(republished, stale, "arquivo montado com hash errado");
  EXPECT_EQ(ReadTestFile(Target(republished)), after);
}

// One changed block (stored raw: 4096 bytes to cut short) fetched through the fault server.
class BlockDeltaFailures : public BlockDelta {
 protected:
  void SetUp() override {
    BlockDelta::SetUp();
    Scramble(fresh_, 9, 99);
    p_ = Publish("dados\\falhas.pak", fresh_);
    installed_ = Installed(p_, old_);
  }
  // Requests for the .orvb at the fault server, waiting for `n`.
  std::size_t FaultRequests(std::size_t n) { return RequestsFor(fault_, p_.uri, n).size(); }

  const std::string old_ = Content(16, 300, 31);
  std::string fresh_ = old_;
  Published p_;
  std::filesystem::path installed_;
};

// The header fails twice, then comes: two pauses, no log line for them.
TEST_F(BlockDeltaFailures, TheHeaderFailsTwiceThenComesWithoutALogLine) {
  ArmFaults(2, "status/500", p_.uri);
  ASSERT_EQ(Run(p_, installed_, fault_.base_url), 0) << error_;
  EXPECT_EQ(clock_.sleeps_ms, (std::vector<std::uint32_t>{2000, 4000}));
  EXPECT_THAT(TakeLauncherLog(), Not(HasSubstr("falhou")));
  EXPECT_EQ(FaultRequests(4), 4u);  // three for the header, one range
}

// Eight header failures give up with the last reason (the pauses: RetryTransferTest).
TEST_F(BlockDeltaFailures, EightHeaderFailuresGiveUpWithTheLastReason) {
  ArmFaults(8, "status/500", p_.uri);
  EXPECT_EQ(Run(p_, installed_, fault_.base_url), -1);
  EXPECT_EQ(error_, "HTTP 500");
  EXPECT_EQ(FaultRequests(8), 8u);
}

// A range that ends early is logged and asked again.
TEST_F(BlockDeltaFailures, AShortRangeIsLoggedAndAskedAgain) {
  ArmFaults(2, "short/1000", p_.uri);
  ASSERT_EQ(Run(p_, installed_, fault_.base_url), 0) << error_;
  EXPECT_EQ(ReadTestFile(Target(p_)), fresh_);
  EXPECT_EQ(clock_.sleeps_ms, std::vector<std::uint32_t>{2000});
  EXPECT_THAT(TakeLauncherLog(), HasSubstr("faixa de dados\\falhas.pak falhou (intervalo incompleto), tentativa 1"));
  EXPECT_EQ(FaultRequests(3), 3u);
}

// ...and gives up after the eighth.
TEST_F(BlockDeltaFailures, AShortRangeGivesUpAfterTheEighthAttempt) {
  ArmFaults(9, "short/1000", p_.uri);
  EXPECT_EQ(Run(p_, installed_, fault_.base_url), -1);
  EXPECT_EQ(error_, "intervalo incompleto");
  EXPECT_EQ(FaultRequests(9), 9u);
}

// A block that decodes to other bytes than the manifest says is not asked again.
TEST_F(BlockDeltaFailures, ACorruptBlockIsNotAskedAgain) {
  Published lying = p_;
  lying.entry.blocos.replace(32 * 9, 32, std::string(32, '0'));
  EXPECT_EQ(Run(lying, installed_, fault_.base_url), -1);
  EXPECT_EQ(error_, "bloco 9 veio corrompido");
  EXPECT_TRUE(clock_.sleeps_ms.empty());
  EXPECT_EQ(FaultRequests(2), 2u);
}

// The assembled file is checked whole; a wrong one is deleted and its digest logged.
TEST_F(BlockDeltaFailures, AWrongAssembledFileIsDeletedAndItsDigestLogged) {
  Published lying = p_;
  lying.entry.sha256 = std::string(64, 'f');
  EXPECT_EQ(Run(lying, installed_, fault_.base_url), -1);
  EXPECT_EQ(error_, "arquivo montado com hash errado");
  EXPECT_FALSE(PathExists(Beside(p_, ".bloco")));
  EXPECT_FALSE(PathExists(Target(p_)));
  EXPECT_THAT(TakeLauncherLog(), HasSubstr("por bloco dados\\falhas.pak: hash errado (" + p_.entry.sha256 + ")"));
  EXPECT_EQ(FaultRequests(2), 2u);
}

// A table that disagrees with the manifest stops before any block.
TEST_F(BlockDeltaFailures, ATableThatDisagreesWithTheManifestStopsBeforeAnyBlock) {
  Published lying = p_;
  lying.entry.tamanho += 1;
  EXPECT_EQ(Run(lying, installed_, fault_.base_url), -1);
  EXPECT_EQ(error_, "tabela em blocos nao bate com o manifesto");
  EXPECT_EQ(FaultRequests(1), 1u);
}

// Cancelled while a range arrives: the transfer reports it and the partial .bloco stays.
TEST_F(BlockDeltaFailures, CancelledWhileARangeArrivesKeepsThePartialBlockFile) {
  cancel_on_progress_ = true;
  EXPECT_EQ(Run(p_, installed_, fault_.base_url), -1);
  EXPECT_EQ(error_, "cancelado");
  EXPECT_TRUE(PathExists(Beside(p_, ".bloco")));
  EXPECT_EQ(FaultRequests(2), 2u);
}

// Cancelled during a whole-file download: the .orvb.part is kept for the next run.
TEST_F(BlockDeltaFailures, CancelledDuringAWholeDownloadKeepsThePartialOrvb) {
  cancel_on_progress_ = true;
  EXPECT_EQ(Run(p_, Nowhere(), nginx_.base_url, ""), -1);
  EXPECT_EQ(error_, "cancelado");
  EXPECT_GT(FileSizeOf(Beside(p_, ".orvb.part")), 0);
}

// The table comes from the server and is not trusted. Blocks 0 to 2 are missing: one run, fetched
// with one range. Each lie below is caught before it reads outside the range buffer or asks for (and
// reserves) more than the run's stored bytes: a lie about the last block before any range is asked
// for, one about a middle block when the run's true range has come.
TEST_F(BlockDelta, AHostileTableCostsNeitherMemoryNorAReadOutsideTheRange) {
  const std::string old = Content(40, 1000, 41);
  std::string fresh = old;
  for (const std::size_t k : {0u, 1u, 2u}) fresh[k * kBlock + 7] ^= 0x5a;
  const Published p = Publish("hostil.pak", fresh);
  const std::string published = ReadTestFile(served_.path() / "hostil.pak.orvb");
  const auto installed = Installed(p, old);
  const OrvbBlock b0 = p.table.blocks[0], b1 = p.table.blocks[1], b2 = p.table.blocks[2];
  ASSERT_GT(b1.stored_length, b0.offset + 100) << "the wrap below needs a first offset under block 1's length";

  struct Lie {
    const char* what;
    std::size_t at;  // the changed table entry: block 1's at byte 44, block 2's at byte 60
    std::uint64_t offset;
    std::uint32_t length;
    bool range_asked;
  };
  const std::vector<Lie> lies = {
      // offset - first + length wraps around to a small number that passes an unsigned comparison
      {"meio perto de 2^64", 44, ~0ull - 99, b1.stored_length, true},
      // adjacent in the table, a terabyte apart in the file: one range of a terabyte
      {"ultimo a 1 TiB", 60, 1ull << 40, b2.stored_length, false},
      {"ultimo no fim do espaco", 60, ~0ull - b2.stored_length + 1, b2.stored_length, false},
      // ten bytes of gap: more than the stored lengths the run needs
      {"lacuna", 60, b2.offset + 10, b2.stored_length, false},
      {"meio antes do primeiro", 44, b0.offset - 1, b1.stored_length, true},
      {"meio alem do ultimo", 44, b2.offset + 1, b2.stored_length, true},
  };
  std::size_t requests = 0;
  for (const Lie& lie : lies) {
    SCOPED_TRACE(lie.what);
    Serve(p, WithEntry(published, lie.at, lie.offset, lie.length));
    EXPECT_EQ(Run(p, installed, nginx_.base_url), -1);
    EXPECT_EQ(error_, "tabela em blocos invalida");
    requests += lie.range_asked ? 2 : 1;
    const auto seen = RequestsFor(nginx_, p.uri, requests);
    ASSERT_EQ(seen.size(), requests);
    EXPECT_EQ(seen.back().range, lie.range_asked ? p.BlockRange(0, 2) : std::string("bytes=0-683"));
    EXPECT_TRUE(clock_.sleeps_ms.empty()) << "a bad table is not retried";
  }

  Serve(p, published);
  ASSERT_EQ(Run(p, installed, nginx_.base_url), 0) << error_;
  EXPECT_EQ(ReadTestFile(Target(p)), fresh);
  EXPECT_EQ(RequestsFor(nginx_, p.uri, requests + 2).back().range, p.BlockRange(0, 2));
}

// A whole .orvb whose header claims more than "tamanho" (every entry naming one small stored block)
// would expand to many times the file; it is refused before ".bloco" is created.
TEST_F(BlockDelta, AWholeOrvbThatDisagreesWithTheManifestWritesNothing) {
  const Published p = Publish("bomba.pak", Content(60, 0, 43));
  // 4000 entries name one raw block, stored right after the table (at 64028): 16384000 bytes.
  const std::vector<OrvbEntry> entries(4000, OrvbEntry{64028, kBlock, 1});
  std::string bomb = OrvbHead(kAlgorithmXpressHuff, kBlock, 16384000, 4000, entries);
  ASSERT_GT(16384000u, 50 * p.entry.tamanho);
  ASSERT_LE(bomb.size() + kBlock, p.entry.bTamanho);
  bomb.resize(p.entry.bTamanho, 'z');
  // Exactly as long as the published .orvb: taken as a finished download (the server answers 416).
  ExpectPartialThrownAway(p, bomb, "tabela em blocos nao bate com o manifesto");
  EXPECT_EQ(ReadTestFile(Target(p)), Content(60, 0, 43));
}

// The installed file's block digests come from verification and are trusted to find candidates, not
// to place bytes: each reused block is checked when it is read.
TEST_F(BlockDelta, UsesTheDigestsVerificationMadeAndStillChecksWhatItCopies) {
  const std::string old = Content(12, 0, 51);
  std::string fresh = old;
  fresh[4 * kBlock] ^= 1;
  const Published p = Publish("digestos.pak", fresh);
  const auto installed = Installed(p, old);

  // No digests handed over: nothing is reused although the file is there; every block comes.
  ASSERT_EQ(Run(p, installed, nginx_.base_url, ""), 0) << error_;
  EXPECT_EQ(ReadTestFile(Target(p)), fresh);
  EXPECT_THAT(TakeLauncherLog(), HasSubstr("digestos.pak: inteiro (12 de 12 blocos faltavam)"));

  // Digests that say installed block 0 holds new block 4: it is read, found different, and the call
  // stops rather than download it.
  std::string lying = Blocks(p, installed);
  lying.replace(0, 32, p.entry.blocos.substr(4 * 32, 32));
  EXPECT_EQ(Run(p, installed, nginx_.base_url, lying), -1);
  EXPECT_EQ(error_, "nao reaproveitou o bloco 4 do arquivo instalado");
}

}  // namespace

}  // namespace orv
