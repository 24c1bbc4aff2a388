#include "update/manifest.h"

#include <gtest/gtest.h>

#include <string>
#include <tuple>
#include <vector>

#include "core/paths.h"
#include "support/game_folder_view.h"
#include "support/scoped_folders.h"
#include "support/test_channel.h"
#include "update/self_update.h"
#include "update/verification.h"

namespace orv {

namespace {

const std::string kHash(64, 'a');

std::string Entry(const std::string& caminho, const std::string& sha = kHash, const std::string& extra = "") {
  return "{\"caminho\":\"" + caminho + "\",\"sha256\":\"" + sha + "\",\"tamanho\":10" + extra + "}";
}

TEST(Manifest, RejectsTextsThatAreNotAManifest) {
  Manifest m;
  for (const char* bad : {"", "nada", "{\"arquivos\":{}}", "{\"arquivos\":\"x\"}", "{}", "[]", "{\"arquivos\":[]"}) {
    EXPECT_FALSE(ParseManifest(bad, "https://h/c/manifest.json", m)) << bad;
  }
}

// Shapes that would cost gigabytes as a tree are refused before parsing, without recursion: deep
// nesting of arrays or objects, closed or not, anywhere; millions of values. A large real manifest
// is not.
TEST(Manifest, RefusesDeepNestingAndMillionsOfValuesButNotALargeGame) {
  Manifest m;
  const auto nested = [](std::size_t depth) { return std::string(depth, '[') + std::string(depth, ']'); };
  // One entry whose "tamanho", and a key beside the list, are nested `depth` levels deep.
  const auto entry_nested = [&](std::size_t depth) {
    return "{\"arquivos\":[{\"caminho\":\"a.txt\",\"sha256\":\"" + kHash + "\",\"tamanho\":" + nested(depth) +
           "}],\"x\":" + nested(depth) + "}";
  };
  for (const std::string& bad :
       {"{\"x\":" + std::string(1 << 20, '['), "{\"arquivos\":[],\"x\":" + std::string(100000, '{') + "}",
        "{\"arquivos\":[],\"x\":" + nested(70) + "}", entry_nested(100000)}) {
    EXPECT_FALSE(ParseManifest(bad, "https://h/m", m)) << bad.substr(0, 40);
  }
  EXPECT_TRUE(ParseManifest("{\"arquivos\":[],\"x\":" + nested(60) + "}", "https://h/m", m));
  ASSERT_TRUE(ParseManifest(entry_nested(40), "https://h/m", m));
  ASSERT_EQ(m.arquivos.size(), 1u);
  EXPECT_EQ(m.arquivos[0].tamanho, 0u);  // an array is no size
  std::string flat = "{\"arquivos\":[],\"x\":[0";
  for (int i = 0; i < 2'000'000; ++i) flat += ",0";
  EXPECT_FALSE(ParseManifest(flat + "]}", "https://h/m", m));
  // Brackets and commas inside strings are text, not structure.
  EXPECT_TRUE(
      ParseManifest("{\"arquivos\":[],\"x\":\"" + std::string(100, '[') + "\\\"" + std::string(3'000'000, ',') + "\"}",
                    "https://h/m", m));
  // 120,000 entries with every variant field.
  std::string large = "{\"arquivos\":[";
  for (int i = 0; i < 120'000; ++i) {
    large += (i == 0 ? "" : ",") + Entry("dados/" + std::to_string(i) + ".pak", kHash,
                                         ",\"zTamanho\":5,\"bloco\":8,\"bTamanho\":6,"
                                         "\"blocos\":\"" +
                                             std::string(64, 'c') + "\"");
  }
  ASSERT_TRUE(ParseManifest(large + "]}", "https://h/m", m));
  EXPECT_EQ(m.arquivos.size(), 120'000u);
}

TEST(Manifest, DefaultsVersionsAndBase) {
  Manifest m;
  ASSERT_TRUE(ParseManifest("{\"arquivos\":[]}", "https://cdn.exemplo/oficial/manifest.json", m));
  EXPECT_EQ(m.versao, "?");
  EXPECT_EQ(m.servidor, "?");
  EXPECT_EQ(m.base, "https://cdn.exemplo/oficial/");
  EXPECT_FALSE(m.launcher.present);

  ASSERT_TRUE(ParseManifest(R"({"arquivos":[],"versao":"1.4","servidor":7,"base":"https://b/x"})", "https://h/m", m));
  EXPECT_EQ(m.versao, "1.4");
  EXPECT_EQ(m.servidor, "?");  // not a string
  EXPECT_EQ(m.base, "https://b/x/");
  ASSERT_TRUE(ParseManifest(R"({"arquivos":[],"base":"https://b/x/"})", "https://h/m", m));
  EXPECT_EQ(m.base, "https://b/x/");
}

// The publisher's text, spelled out: one entry per line, optional keys only when set, quoting through
// JsonQuote; and the reader gives back every value it was written from.
TEST(Manifest, WrittenTextIsFixedAndReadsBackToTheSameValues) {
  Manifest written;
  written.versao = "2.0";
  written.servidor = "sul \"7\"";
  const ManifestEntry plain = UnservedEntry("dados\\a b.pak", kHash, 10);
  ManifestEntry packed = UnservedEntry("ç.bin", kHash, 9);
  packed.zTamanho = 4;
  ManifestEntry blocks = UnservedEntry("c.pak", kHash, 9);
  blocks.bloco = 8;
  blocks.blocos = std::string(64, 'b');
  blocks.bTamanho = 30;
  written.arquivos = {plain, packed, blocks};
  const std::string sha = "\"sha256\":\"" + kHash + "\"";
  EXPECT_EQ(ManifestText(written),
            "{\n  \"versao\": \"2.0\",\n  \"servidor\": \"sul \\\"7\\\"\",\n  \"arquivos\": [\n"
            "    {\"caminho\":\"dados\\\\a b.pak\"," +
                sha +
                ",\"tamanho\":10},\n"
                "    {\"caminho\":\"ç.bin\"," +
                sha +
                ",\"tamanho\":9,\"zTamanho\":4},\n"
                "    {\"caminho\":\"c.pak\"," +
                sha + ",\"tamanho\":9,\"bloco\":8,\"bTamanho\":30,\"blocos\":\"" + std::string(64, 'b') +
                "\"}\n  ]\n}\n");

  written.base = "https://cdn/x/";
  written.launcher = LauncherEntry{.present = true, .versao = "1.3", .sha256 = kHash, .arquivo = "bin/L.exe"};
  Manifest read;
  ASSERT_TRUE(ParseManifest(ManifestText(written), "https://h/m.json", read));
  EXPECT_EQ(read.versao, "2.0");
  EXPECT_EQ(read.servidor, "sul \"7\"");
  EXPECT_EQ(read.base, "https://cdn/x/");
  EXPECT_TRUE(read.launcher.present);
  EXPECT_EQ(read.launcher.versao + read.launcher.sha256 + read.launcher.arquivo, "1.3" + kHash + "bin/L.exe");
  ASSERT_EQ(read.arquivos.size(), 3u);
  for (std::size_t i = 0; i < 3; ++i) {
    const ManifestEntry& a = written.arquivos[i];
    const ManifestEntry& b = read.arquivos[i];
    EXPECT_EQ(std::tie(a.caminho, a.sha256, a.tamanho, a.zTamanho, a.bloco, a.blocos, a.bTamanho),
              std::tie(b.caminho, b.sha256, b.tamanho, b.zTamanho, b.bloco, b.blocos, b.bTamanho))
        << i;
  }

  // Nothing to list: the array closes on its line; no base, no launcher.
  Manifest empty;
  empty.versao = "1";
  empty.servidor = "2";
  EXPECT_EQ(ManifestText(empty), "{\n  \"versao\": \"1\",\n  \"servidor\": \"2\",\n  \"arquivos\": []\n}\n");
}

// Entries that are unsafe, malformed or could only do harm are skipped and logged: names that leave
// the folder or are rooted, no name, digests of the wrong length, no object; a NUL (the name on disk
// would stop there), the launcher's own folders however spelled, and a second entry for a file
// already listed (the first one counts). Case is not judged here: an uppercase digest just never
// matches.
TEST(Manifest, UnsafeMalformedOrHarmfulEntriesAreSkippedAndLogged) {
  ScopedFolders folders;
  const std::vector<std::string> kept = {"ok/arquivo.pak", "Maiúsculo", "dados/x.pak", ".atualizando2/ok",
                                         "x.orvlauncher"};
  std::string list = Entry(kept[0]) + "," + Entry(kept[1], std::string(64, 'A'));
  for (std::size_t i = 2; i < kept.size(); ++i) list += "," + Entry(kept[i]);
  for (const char* caminho : {"../fora.txt", "a/../../b", "C:/Windows/x.dll", "x:y.txt", "/abs", "\\\\abs",
                              "\\\\servidor\\x", "", "a.pak\\u0000b.pak", ".atualizando", ".atualizando/diario.json",
                              ".orvlauncher\\\\hashes.json", ".ORVLAUNCHER/x", "./.atualizando/y", ".orvlauncher. /z",
                              "ok/arquivo.pak", "./ok/arquivo.pak", "dados//x.pak", "dados\\\\x.pak"}) {
    list += "," + Entry(caminho);
  }
  list += "," + Entry("curto", std::string(63, 'a')) + "," + Entry("longo", std::string(65, 'a')) +
          ",5,{\"sha256\":\"" + kHash + "\"}";
  Manifest m;
  ASSERT_TRUE(ParseManifest("{\"arquivos\":[" + list + "]}", "https://h/m.json", m));
  ASSERT_EQ(m.arquivos.size(), kept.size());
  for (std::size_t i = 0; i < kept.size(); ++i) EXPECT_EQ(m.arquivos[i].caminho, kept[i]);
  EXPECT_EQ(m.total_bytes, 10 * kept.size());
  const std::string log = LauncherLog();
  for (const char* skipped : {"../fora.txt", "a/../../b", "C:/Windows/x.dll", "x:y.txt", "/abs", "\\abs", "", "curto",
                              "longo", ".atualizando/diario.json", ".ORVLAUNCHER/x", "./.atualizando/y",
                              "./ok/arquivo.pak", "a.pak"}) {  // the NUL entry, cut in the log only
    EXPECT_NE(log.find(std::string("] entrada ignorada: ") + skipped + "\r\n"), std::string::npos) << skipped;
  }
}

TEST(Manifest, BlockVariantMustAgreeWithSizeAndBlockCount) {
  const std::string two_blocks(64, 'b');
  Manifest m;
  ASSERT_TRUE(ParseManifest(
      "{\"arquivos\":[" + Entry("a", kHash, ",\"bloco\":8,\"bTamanho\":30,\"blocos\":\"" + two_blocks + "\"") + "," +
          Entry("falta-um", kHash, ",\"bloco\":4,\"bTamanho\":30,\"blocos\":\"" + two_blocks + "\",\"zTamanho\":7") +
          "," + Entry("sem-b", kHash, ",\"bloco\":8,\"blocos\":\"" + two_blocks + "\"") + "," +
          Entry("gigante", kHash, ",\"bloco\":4294967296,\"bTamanho\":9,\"blocos\":\"" + std::string(32, 'c') + "\"") +
          "]}",
      "https://h/m", m));
  ASSERT_EQ(m.arquivos.size(), 4u);
  EXPECT_TRUE(m.arquivos[0].HasBlockVariant());
  EXPECT_EQ(m.arquivos[0].BlockCount(), 2u);
  for (size_t i = 1; i < 4; ++i) {
    EXPECT_FALSE(m.arquivos[i].HasBlockVariant()) << m.arquivos[i].caminho;
    EXPECT_TRUE(m.arquivos[i].blocos.empty());
    EXPECT_EQ(m.arquivos[i].bTamanho, 0u);
  }
  EXPECT_EQ(m.arquivos[1].zTamanho, 7u);  // the compressed variant remains
}

TEST(Manifest, LauncherEntryAndVersionRule) {
  Manifest m;
  const auto due = [&](const std::string& launcher) {
    EXPECT_TRUE(ParseManifest("{\"arquivos\":[],\"launcher\":" + launcher + "}", "https://h/m", m));
    return LauncherUpdateDue(m.launcher);
  };
  const std::string sha = "\"sha256\":\"" + kHash + "\"";
  // Against our own 1.2.5 (how versions compare: CompareVersions).
  EXPECT_FALSE(due("{\"versao\":\"1.2.5.0\"," + sha + "}"));
  EXPECT_TRUE(due("{\"versao\":\"1.2.6\"," + sha + "}"));
  EXPECT_FALSE(due("{\"versao\":\"9\",\"sha256\":\"" + std::string(40, 'a') + "\"}"));
  EXPECT_FALSE(due("{" + sha + "}"));  // versao defaults to "0"
  EXPECT_FALSE(due("[1]"));
  EXPECT_TRUE(due("{\"versao\":\"2\"," + sha + "}"));
  EXPECT_EQ(m.launcher.arquivo, "OrvLauncher.exe");  // no "arquivo": the default name
  EXPECT_TRUE(due("{\"versao\":\"2\"," + sha + ",\"arquivo\":5}"));
  EXPECT_EQ(m.launcher.arquivo, "OrvLauncher.exe");
  EXPECT_TRUE(due("{\"versao\":\"2\"," + sha + ",\"arquivo\":\"novo/Launcher.exe\"}"));
  EXPECT_EQ(m.launcher.arquivo, "novo/Launcher.exe");
}

TEST(Manifest, EntryUrlUsesForwardSlashesAndEscapesEverySegmentByte) {
  EXPECT_EQ(EntryUrl("https://h/c/", "a\\b\\c.pak", ".orvz"), "https://h/c/a/b/c.pak.orvz");
  EXPECT_EQ(EntryUrl("https://h/c/", "x.txt"), "https://h/c/x.txt");
  // Only the path's own bytes are escaped; the base is the server's and stays as given.
  EXPECT_EQ(EntryUrl("https://h/a%20b/", "100% pronto.txt"), "https://h/a%20b/100%25%20pronto.txt");
  EXPECT_EQ(EntryUrl("https://h/", "C#/notas.txt"), "https://h/C%23/notas.txt");
  EXPECT_EQ(EntryUrl("https://h/", "%41.txt"), "https://h/%2541.txt");
  EXPECT_EQ(EntryUrl("https://h/", "que?.txt", ".orvz"), "https://h/que%3F.txt.orvz");
  EXPECT_EQ(EntryUrl("https://h/", "ação + reação;x=1&y.txt"),
            "https://h/a%C3%A7%C3%A3o%20%2B%20rea%C3%A7%C3%A3o%3Bx%3D1%26y.txt");
  EXPECT_EQ(EntryUrl("https://h/", "A-z_0.9~"), "https://h/A-z_0.9~");
}

TEST(Verification, BlockEstimateCountsBlocksFoundNowhereInTheInstalledFile) {
  ManifestEntry entry;
  entry.bTamanho = 1000;
  const std::string a(32, 'a'), b(32, 'b'), c(32, 'c'), d(32, 'd');
  entry.blocos = a + b + c + d;
  EXPECT_EQ(BlockTransferEstimate(entry, d + c + b + a), 1u);  // moved, none missing: at least 1
  EXPECT_EQ(BlockTransferEstimate(entry, a + a + a), 750u);
  EXPECT_EQ(BlockTransferEstimate(entry, ""), 1000u);                       // unreadable installed file: all missing
  EXPECT_EQ(BlockTransferEstimate(entry, b + std::string(31, 'x')), 750u);  // partial digest ignored
  entry.bTamanho = 10;
  entry.blocos = a + b + c;
  EXPECT_EQ(BlockTransferEstimate(entry, a), 6u);  // 10 x 2/3 truncated
  // Multiplied before it is divided: 90 x 7 / 10 is 63, where 90 x (7 / 10) falls just short of it.
  entry.bTamanho = 90;
  entry.blocos.clear();
  for (char k = 'a'; k < 'a' + 10; ++k) entry.blocos += std::string(32, k);
  EXPECT_EQ(BlockTransferEstimate(entry, a + b + c), 63u);
  entry.bTamanho = 670;
  EXPECT_EQ(BlockTransferEstimate(entry, c + b + a), 469u);
}

TEST(SelfUpdate, SwapScriptForAnOrdinaryPathIsExactlyTheKnownText) {
  const std::filesystem::path novo = PathFromUtf8("C:\\Jogos\\Valdren\\OrvLauncher.exe.novo");
  const std::filesystem::path exe = PathFromUtf8("C:\\Jogos\\Valdren\\OrvLauncher.exe");
  EXPECT_EQ(SwapScriptText(novo, exe),
            "@echo off\r\nset /a n=0\r\n:espera\r\ntimeout /t 1 /nobreak >nul\r\nset /a n+=1\r\n"
            "move /y \"C:\\Jogos\\Valdren\\OrvLauncher.exe.novo\" \"C:\\Jogos\\Valdren\\OrvLauncher.exe\" >nul 2>&1 "
            "|| (if %n% lss 20 goto espera)\r\nstart \"\" \"C:\\Jogos\\Valdren\\OrvLauncher.exe\"\r\n"
            "del \"%~f0\"\r\n");
}

TEST(SelfUpdate, SwapScriptKeepsAwkwardPathsLiteral) {
  const std::filesystem::path exe = PathFromUtf8("C:\\A & B\\100% ^x (y)\\Ação\\OrvLauncher.exe");
  const std::string script = SwapScriptText(WithSuffix(exe, ".novo"), exe);
  // "%" doubled (batch files expand it even inside quotes); "&", "^" and parentheses stay literal in
  // quotes; a UTF-8 code page before any non-ASCII path.
  EXPECT_NE(script.find("start \"\" \"C:\\A & B\\100%% ^x (y)\\Ação\\OrvLauncher.exe\"\r\n"), std::string::npos);
  EXPECT_EQ(script.rfind("@echo off\r\nchcp 65001 >nul\r\nset /a n=0\r\n", 0), 0u);
  EXPECT_NE(script.find("move /y \"C:\\A & B\\100%% ^x (y)\\Ação\\OrvLauncher.exe.novo\" \""), std::string::npos);
}

}  // namespace

}  // namespace orv
