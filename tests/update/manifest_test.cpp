#include "update/manifest.h"

#include <gtest/gtest.h>

#include <string>

#include "core/file_util.h"
#include "core/paths.h"
#include "support/scoped_folders.h"
#include "update/self_update.h"
#include "update/verification.h"

namespace {

const std::string kHash(64, 'a');

std::string Entry(const std::string& caminho, const std::string& sha = kHash, const std::string& extra = "") {
  return "{\"caminho\":\"" + caminho + "\",\"sha256\":\"" + sha + "\",\"tamanho\":10" + extra + "}";
}

std::string LogText() {
  std::string text;
  (void)ReadWholeFile(GetDataFolder() / "launcher.log", text);
  return text;
}

TEST(Manifest, RejectsTextsThatAreNotAManifest) {
  Manifest m;
  for (const char* bad : {"", "nada", "{\"arquivos\":{}}", "{\"arquivos\":\"x\"}", "{}", "[]", "{\"arquivos\":[]"}) {
    EXPECT_FALSE(ParseManifest(bad, "https://h/c/manifest.json", m)) << bad;
  }
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

TEST(Manifest, UnsafeOrMalformedEntriesAreSkippedAndLogged) {
  ScopedFolders folders;
  const std::string text = "{\"arquivos\":[" + Entry("ok/arquivo.pak") + "," + Entry("../fora.txt") + "," +
                           Entry("a/../../b") + "," + Entry("C:/Windows/x.dll") + "," + Entry("/abs") + "," +
                           Entry("\\\\servidor\\x") + "," + Entry("") + "," + Entry("curto", std::string(63, 'a')) +
                           "," + Entry("longo", std::string(65, 'a')) + "," + Entry("Maiúsculo", std::string(64, 'A')) +
                           ",5,{\"sha256\":\"" + kHash + "\"}]}";
  Manifest m;
  ASSERT_TRUE(ParseManifest(text, "https://h/m.json", m));
  ASSERT_EQ(m.arquivos.size(), 2u);
  EXPECT_EQ(m.arquivos[0].caminho, "ok/arquivo.pak");
  EXPECT_EQ(m.arquivos[1].caminho, "Maiúsculo");  // case is not judged here: it just never matches
  EXPECT_EQ(m.total_bytes, 20u);
  const std::string log = LogText();
  for (const char* skipped : {"../fora.txt", "a/../../b", "C:/Windows/x.dll", "/abs", "curto", "longo"}) {
    EXPECT_NE(log.find(std::string("] entrada ignorada: ") + skipped + "\r\n"), std::string::npos) << skipped;
  }
  EXPECT_NE(log.find("] entrada ignorada: \r\n"), std::string::npos);
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
  EXPECT_FALSE(due("{\"versao\":\"1.2.5\"," + sha + "}"));
  EXPECT_FALSE(due("{\"versao\":\"1.2.5.0\"," + sha + "}"));
  EXPECT_FALSE(due("{\"versao\":\"1.2.4\"," + sha + "}"));
  EXPECT_TRUE(due("{\"versao\":\"1.2.6\"," + sha + "}"));
  EXPECT_TRUE(due("{\"versao\":\"1.2.10\"," + sha + "}"));
  EXPECT_TRUE(due("{\"versao\":\"1.3\"," + sha + "}"));
  EXPECT_FALSE(due("{\"versao\":\"9\",\"sha256\":\"" + std::string(40, 'a') + "\"}"));
  EXPECT_FALSE(due("{" + sha + "}"));  // versao defaults to "0"
  EXPECT_FALSE(due("[1]"));
  EXPECT_TRUE(due("{\"versao\":\"2\"," + sha + ",\"arquivo\":5}"));
  EXPECT_EQ(m.launcher.arquivo, "OrvLauncher.exe");
  EXPECT_TRUE(due("{\"versao\":\"2\"," + sha + ",\"arquivo\":\"novo/Launcher.exe\"}"));
  EXPECT_EQ(m.launcher.arquivo, "novo/Launcher.exe");
}

// A server can send JSON nested a hundred thousand levels deep: the reader neither recurses nor
// crashes.
TEST(Manifest, DeepNestingIsNoCrash) {
  constexpr std::size_t kDeep = 100000;
  Manifest m;
  EXPECT_FALSE(ParseManifest(std::string(kDeep, '['), "https://h/c/manifest.json", m));
  EXPECT_FALSE(ParseManifest("{\"arquivos\":" + std::string(kDeep, '['), "https://h/c/manifest.json", m));
  const std::string sha(64, 'a');
  const std::string unclosed = "{\"arquivos\":[],\"extra\":" + std::string(kDeep, '{') + "}";
  EXPECT_FALSE(ParseManifest(unclosed, "https://h/c/manifest.json", m));
  const std::string valid = "{\"arquivos\":[{\"caminho\":\"a.txt\",\"sha256\":\"" + sha + "\",\"tamanho\":" +
                            std::string(kDeep, '[') + std::string(kDeep, ']') + "}],\"extra\":" +
                            std::string(kDeep, '[') + std::string(kDeep, ']') + "}";
  ASSERT_TRUE(ParseManifest(valid, "https://h/c/manifest.json", m));
  ASSERT_EQ(m.arquivos.size(), 1u);
  EXPECT_EQ(m.arquivos[0].tamanho, 0u);  // an array is no size
}

TEST(Manifest, EntryUrlUsesForwardSlashes) {
  EXPECT_EQ(EntryUrl("https://h/c/", "a\\b\\c.pak", ".orvz"), "https://h/c/a/b/c.pak.orvz");
  EXPECT_EQ(EntryUrl("https://h/c/", "x.txt"), "https://h/c/x.txt");
}

TEST(Verification, BlockEstimateCountsBlocksFoundNowhereInTheInstalledFile) {
  ManifestEntry entry;
  entry.bTamanho = 1000;
  const std::string a(32, 'a'), b(32, 'b'), c(32, 'c'), d(32, 'd');
  entry.blocos = a + b + c + d;
  EXPECT_EQ(BlockTransferEstimate(entry, d + c + b + a), 1u);  // moved, none missing: at least 1
  EXPECT_EQ(BlockTransferEstimate(entry, a + a + a), 750u);
  EXPECT_EQ(BlockTransferEstimate(entry, ""), 1000u);  // unreadable installed file: all missing
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
