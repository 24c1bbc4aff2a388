// The publisher end to end, in process: a small build folder published with the command line the
// release scripts use, its manifest read back by the launcher's own reader and checked against the
// build; a republication; the support commands. Runs natively and under Wine. (Update runs against
// channels orvpack wrote: HostileServer.FileNamesWithUrlCharactersArrive and the crash test.)
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "core/file_util.h"
#include "core/paths.h"
#include "support/noise_bytes.h"
#include "support/scoped_folders.h"
#include "tools/orvpack/inspect.h"
#include "tools/orvpack/orvpack.h"
#include "tools/orvpack/publish.h"
#include "update/manifest.h"
#include "update/sha256.h"

namespace orv {

namespace {

std::string Text(std::size_t lines) {
  std::string text;
  for (std::size_t i = 0; i < lines; ++i) text += "linha " + std::to_string(i) + ": o vale de Valdren\n";
  return text;
}

// Half noise, half a repeated byte in every 4 KiB: compresses, but not to nothing.
std::string Pack(std::size_t size) {
  std::string bytes = NoiseBytes(size, 77);
  for (std::size_t i = 0; i < size; ++i) {
    if (i % 4096 >= 2048) bytes[i] = 'p';
  }
  return bytes;
}

const std::vector<std::pair<std::string, std::string>>& BuildFiles() {
  static const std::vector<std::pair<std::string, std::string>> files{
      {"leia-me.txt", Text(800)},                    // compresses: .orvz
      {"bin/motor.dll", NoiseBytes(5000, 3)},        // does not: plain only
      {"mapas/região/mundo.pak", Pack(300000)},      // above --bloco-minimo: .orvb
      {"mapas/região/árvore ç.cfg", "largura=3\n"},  // tiny, non-ASCII name
      {"vazio.dat", ""},
  };
  return files;
}

ManifestEntry EntryOf(const Manifest& manifest, const std::string& caminho) {
  for (const ManifestEntry& e : manifest.arquivos) {
    if (e.caminho == caminho) return e;
  }
  ADD_FAILURE() << "no entry " << caminho;
  return ManifestEntry{};
}

class Orvpack : public ::testing::Test {
 protected:
  void SetUp() override {
    for (const auto& [name, bytes] : BuildFiles()) WriteTestFile(JoinRelative(build_, name), bytes);
  }

  int Main(std::vector<std::string> args) { return OrvpackMain(args); }

  [[nodiscard]] std::filesystem::path Out(std::string_view name) const { return JoinRelative(channel_, name); }

  // The channel as the launcher reads it.
  [[nodiscard]] Manifest ReadManifest() const {
    Manifest manifest;
    EXPECT_TRUE(ParseManifest(ReadTestFile(channel_ / "manifest.json"), ManifestUrl(), manifest));
    return manifest;
  }
  [[nodiscard]] static std::string ManifestUrl() { return "https://cdn.exemplo/canal/manifest.json"; }
  // What the release scripts pass: 64 KiB blocks for files of 200000 bytes and more.
  [[nodiscard]] PublishOptions Options(const std::string& versao) const {
    PublishOptions options;
    options.build = build_;
    options.channel = channel_;
    options.versao = versao;
    options.servidor = "42";
    options.block_size = 65536;
    options.block_min = 200000;
    return options;
  }

  ScopedFolders folders_;
  const std::filesystem::path build_ = folders_.root() / "build";
  const std::filesystem::path channel_ = folders_.root() / "canal";
  std::string error_;
};

TEST_F(Orvpack, PublishesAChannelTheLauncherAccepts) {
  ASSERT_EQ(Main({"publicar", PathToUtf8(build_), PathToUtf8(channel_), "--versao", "1.0.7", "--servidor", "42",
                  "--bloco", "65536", "--bloco-minimo", "200000"}),
            0);

  // Every entry matches its build file, and every variant named is there with the size named.
  const Manifest manifest = ReadManifest();
  EXPECT_EQ(manifest.versao, "1.0.7");
  EXPECT_EQ(manifest.servidor, "42");
  ASSERT_EQ(manifest.arquivos.size(), BuildFiles().size());
  for (const ManifestEntry& e : manifest.arquivos) {
    SCOPED_TRACE(e.caminho);
    const auto source = JoinRelative(build_, e.caminho);
    EXPECT_EQ(e.sha256, Sha256OfFile(source, {}, nullptr));
    EXPECT_EQ(e.tamanho, static_cast<std::uint64_t>(FileSizeOf(source)));
    EXPECT_EQ(ReadTestFile(Out(e.caminho)), ReadTestFile(source));
    EXPECT_EQ(static_cast<std::int64_t>(e.zTamanho), e.zTamanho ? FileSizeOf(Out(e.caminho + ".orvz")) : 0);
    EXPECT_EQ(PathExists(Out(e.caminho + ".orvz")), e.zTamanho > 0);
    EXPECT_EQ(PathExists(Out(e.caminho + ".orvb")), e.HasBlockVariant());
    if (e.HasBlockVariant()) {
      EXPECT_EQ(e.blocos, Sha256OfBlocks(source, static_cast<std::uint32_t>(e.bloco), nullptr));
      EXPECT_EQ(static_cast<std::int64_t>(e.bTamanho), FileSizeOf(Out(e.caminho + ".orvb")));
    }
  }
  EXPECT_EQ(EntryOf(manifest, "mapas/região/mundo.pak").bloco, 65536u);
  EXPECT_EQ(EntryOf(manifest, "mapas/região/mundo.pak").zTamanho, 0u);
  EXPECT_GT(EntryOf(manifest, "leia-me.txt").zTamanho, 0u);
  EXPECT_EQ(EntryOf(manifest, "bin/motor.dll").zTamanho, 0u);  // would not save 10 %
  EXPECT_FALSE(EntryOf(manifest, "leia-me.txt").HasBlockVariant());

  // Both packed forms unpack to the original bytes.
  const auto& out = folders_.root().path();
  ASSERT_EQ(Main({"desempacotar", PathToUtf8(Out("leia-me.txt.orvz")), PathToUtf8(out / "a.txt")}), 0);
  EXPECT_EQ(ReadTestFile(out / "a.txt"), Text(800));
  ASSERT_EQ(Main({"desempacotar", PathToUtf8(Out("mapas/região/mundo.pak.orvb")), PathToUtf8(out / "b.pak")}), 0);
  EXPECT_EQ(ReadTestFile(out / "b.pak"), Pack(300000));
}

// One file changed: the others keep their outputs, untouched on disk.
TEST_F(Orvpack, RepublishingReusesWhatDidNotChange) {
  PublishSummary before, summary;
  ASSERT_TRUE(PublishChannel(Options("1.0.7"), {}, nullptr, before, error_)) << error_;
  const Manifest first = ReadManifest();
  const std::uint64_t orvb_time = FileWriteTime(Out("mapas/região/mundo.pak.orvb"));
  const std::uint64_t dll_time = FileWriteTime(Out("bin/motor.dll"));
  WriteTestFile(build_ / "leia-me.txt", Text(900));
  ASSERT_TRUE(PublishChannel(Options("1.0.8"), {}, nullptr, summary, error_)) << error_;
  EXPECT_EQ(summary.files, BuildFiles().size());
  EXPECT_EQ(summary.reused, BuildFiles().size() - 1);
  EXPECT_EQ(summary.blocked, 1u);
  EXPECT_EQ(FileWriteTime(Out("mapas/região/mundo.pak.orvb")), orvb_time);
  EXPECT_EQ(FileWriteTime(Out("bin/motor.dll")), dll_time);
  const Manifest second = ReadManifest();
  EXPECT_EQ(second.versao, "1.0.8");
  for (const ManifestEntry& e : second.arquivos) {
    if (e.caminho == "leia-me.txt") {
      EXPECT_EQ(e.sha256, Sha256OfFile(build_ / "leia-me.txt", {}, nullptr));
      EXPECT_EQ(static_cast<std::int64_t>(e.zTamanho), FileSizeOf(Out("leia-me.txt.orvz")));
    } else if (e.caminho == "mapas/região/mundo.pak") {
      EXPECT_EQ(e.blocos, EntryOf(first, e.caminho).blocos);
      EXPECT_EQ(e.bTamanho, EntryOf(first, e.caminho).bTamanho);
    }
  }
  const auto unpacked = folders_.root() / "c.txt";
  ASSERT_EQ(Main({"desempacotar", PathToUtf8(Out("leia-me.txt.orvz")), PathToUtf8(unpacked)}), 0);
  EXPECT_EQ(ReadTestFile(unpacked), Text(900));
}

// A missing version, a channel inside the build, a build that is not there, bad options: no manifest.
TEST_F(Orvpack, BadPublishInputSaysWhyAndWritesNoManifest) {
  PublishSummary summary;
  PublishOptions options = Options("");
  EXPECT_FALSE(PublishChannel(options, {}, nullptr, summary, error_));
  EXPECT_EQ(error_, "--versao e --servidor sao obrigatorios");
  options.versao = "1";
  options.channel = build_ / "canal";
  EXPECT_FALSE(PublishChannel(options, {}, nullptr, summary, error_));
  EXPECT_EQ(error_, "a pasta do canal nao pode ficar dentro da pasta do build");
  EXPECT_FALSE(PathExists(build_ / "canal"));
  options.build = folders_.root() / "nao-existe";
  options.channel = channel_;
  EXPECT_FALSE(PublishChannel(options, {}, nullptr, summary, error_));
  EXPECT_EQ(error_, "pasta do build nao encontrada: " + PathToUtf8(options.build));
  EXPECT_FALSE(PathExists(channel_ / "manifest.json"));
  // Unknown or out-of-range options are a usage error before anything is read.
  EXPECT_EQ(Main({"publicar", PathToUtf8(build_), PathToUtf8(channel_), "--versao", "1", "--nivel", "12"}), 64);
  EXPECT_EQ(Main({"publicar", PathToUtf8(build_), PathToUtf8(channel_), "--versao"}), 64);
  EXPECT_EQ(Main({"empacotar"}), 64);
  EXPECT_FALSE(PathExists(channel_ / "manifest.json"));
}

// Unpacking a file that is not a packed one, is missing, or is cut short leaves no output behind.
TEST_F(Orvpack, BadPackedFilesSayWhyAndLeaveNoOutput) {
  const auto out = folders_.root() / "saida.bin";
  const auto broken = folders_.root() / "quebrado";
  WriteTestFile(broken, "isto nao e um pacote");
  EXPECT_FALSE(UnpackFile(broken, out, error_));
  EXPECT_EQ(error_, "nao e um arquivo ORVZ nem ORVB");
  EXPECT_FALSE(UnpackFile(folders_.root() / "nao-existe.orvz", out, error_));
  EXPECT_EQ(error_, "nao abriu o arquivo");
  EXPECT_EQ(Main({"desempacotar", PathToUtf8(broken), PathToUtf8(out)}), 1);
  EXPECT_FALSE(PathExists(out));

  PublishSummary summary;
  ASSERT_TRUE(PublishChannel(Options("1"), {}, nullptr, summary, error_)) << error_;
  const std::string orvb = ReadTestFile(Out("mapas/região/mundo.pak.orvb"));
  const std::string orvz = ReadTestFile(Out("leia-me.txt.orvz"));
  WriteTestFile(broken, orvb.substr(0, orvb.size() - 1000));
  EXPECT_FALSE(UnpackFile(broken, out, error_));
  EXPECT_EQ(error_, "arquivo em blocos truncado");
  EXPECT_FALSE(PathExists(out));
  WriteTestFile(broken, orvz.substr(0, orvz.size() - 10));
  EXPECT_FALSE(UnpackFile(broken, out, error_));
  EXPECT_EQ(error_, "arquivo comprimido truncado");
  EXPECT_FALSE(PathExists(out));
  // An output that was already there survives a failed unpack.
  WriteTestFile(out, "anterior");
  EXPECT_FALSE(UnpackFile(broken, out, error_));
  EXPECT_EQ(ReadTestFile(out), "anterior");
}

}  // namespace

}  // namespace orv
