// Game settings: the reading rules, the keys and the clamp of a save, the "config" text, and the table
// of hand-written INI files whose expected results the Windows profile functions and our own INI code
// share.
#include "game/game_settings.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <sstream>
#include <string>
#include <vector>

#include "core/file_util.h"
#include "core/json.h"
#include "core/paths.h"
#include "game/ini_text.h"
#include "game/profile.h"
#include "support/scoped_folders.h"
#include "wine_probe.h"

namespace orv {

namespace {

constexpr char kEngine[] = "/Script/Engine.GameUserSettings";
constexpr char kOptions[] = "/Script/ORV2.OrvOptionsSubsystem";

JsonValue Parse(const std::string& text) {
  JsonValue value;
  EXPECT_TRUE(ParseJson(text, value)) << text;
  return value;
}

std::string Read(const std::filesystem::path& file, const char* section, const char* key) {
  return ReadIniValue(file, section, key, "<ausente>", 64);
}

// The file as Wine's profile functions leave it: every line trimmed, blank lines dropped, and the
// blanks around the first "=" removed.
std::string Normalize(const std::string& text) {
  std::istringstream lines(text);
  std::string line;
  std::string out;
  const auto trim = [](std::string s) {
    const auto blank = [](char c) { return c == ' ' || c == '\t' || c == '\r'; };
    while (!s.empty() && blank(s.back())) s.pop_back();
    size_t start = 0;
    while (start < s.size() && blank(s[start])) ++start;
    return s.substr(start);
  };
  while (std::getline(lines, line)) {
    line = trim(line);
    if (line.empty()) continue;
    const size_t equals = line.find('=');
    if (line[0] != '[' && equals != std::string::npos) {
      line = trim(line.substr(0, equals)) + "=" + trim(line.substr(equals + 1));
    }
    out += line + "\r\n";
  }
  return out;
}

class GameSettingsTest : public ::testing::Test {
 protected:
  void WriteGameIni(const std::string& text) { ASSERT_TRUE(WriteWholeFile(GameIniPath(), text)); }
  void WriteLauncherIni(const std::string& text) { ASSERT_TRUE(WriteWholeFile(LauncherIniPath(), text)); }

  ScopedFolders folders_;
};

TEST_F(GameSettingsTest, WithNoFilesConfigShowsTheDefaults) {
  EXPECT_FALSE(PathExists(GameIniPath()));
  EXPECT_EQ(GameSettingsJson(LoadGameSettings()),
            "{\"resX\":1920,\"resY\":1080,\"modo\":1,\"qualidade\":2,\"sombras\":2,\"efeitos\":2,\"geral\":100,"
            "\"musica\":50,\"som\":50,\"instancias\":1,\"idioma\":\"pt-BR\"}");
  // Reading creates nothing.
  EXPECT_FALSE(PathExists(GameIniPath()));
  EXPECT_FALSE(PathExists(LauncherIniPath()));
}

TEST_F(GameSettingsTest, NumbersReadAsFloatingPointTruncatedTowardZero) {
  WriteGameIni(
      "[/Script/Engine.GameUserSettings]\r\nResolutionSizeX=1.5\r\nResolutionSizeY=75abc\r\nFullscreenMode=abc\r\n"
      "[ScalabilityGroups]\r\nsg.ViewDistanceQuality=0.9\r\nsg.ShadowQuality=-2.7\r\nsg.EffectsQuality=\r\n"
      "[/Script/ORV2.OrvOptionsSubsystem]\r\nMasterVolume=  40  \r\nMusicVolume=1e2\r\nSfxVolume=99999999999\r\n"
      "[Internationalization]\r\nCulture=\"es-ES\"\r\n");
  WriteLauncherIni("[Launcher]\r\nInstancias=9\r\n");
  // Text that is no number reads as 0 (not as the default), an empty value keeps the default, numbers
  // saturate, and reading does not clamp the instances.
  EXPECT_EQ(GameSettingsJson(LoadGameSettings()),
            "{\"resX\":1,\"resY\":75,\"modo\":0,\"qualidade\":0,\"sombras\":-2,\"efeitos\":2,\"geral\":40,"
            "\"musica\":100,\"som\":2147483647,\"instancias\":9,\"idioma\":\"es-ES\"}");
}

TEST_F(GameSettingsTest, LanguageIsCutToThirtyOneCharacters) {
  WriteGameIni("[Internationalization]\r\nCulture=abcdefghijklmnopqrstuvwxyz0123456789\r\n");
  EXPECT_EQ(LoadGameSettings().language, "abcdefghijklmnopqrstuvwxyz01234");
  WriteGameIni("[Internationalization]\r\nCulture=\r\n");
  EXPECT_EQ(LoadGameSettings().language, "") << "a present but empty key is not the default";
}

// Where every key goes is HandWrittenFilesKeepEveryOtherLine's; here the values out of range.
TEST_F(GameSettingsTest, SaveClampsOnlyTheInstances) {
  GameSettings s;
  s.res_x = -5;
  s.res_y = 100000;
  s.mode = 7;
  s.master_volume = 250;
  for (const auto& [instances, saved] :
       std::vector<std::pair<int, const char*>>{{9, "4"}, {0, "1"}, {-3, "1"}, {3, "3"}}) {
    s.instances = instances;
    EXPECT_TRUE(SaveGameSettings(s));
    EXPECT_EQ(Read(LauncherIniPath(), "Launcher", "Instancias"), saved) << instances;
  }
  const auto game = GameIniPath();
  EXPECT_EQ(Read(game, kEngine, "ResolutionSizeX"), "-5");
  EXPECT_EQ(Read(game, kEngine, "LastUserConfirmedResolutionSizeY"), "100000");
  EXPECT_EQ(Read(game, kEngine, "PreferredFullscreenMode"), "7");
  EXPECT_EQ(Read(game, kOptions, "MasterVolume"), "250");

  std::string log;
  ASSERT_TRUE(ReadWholeFile(GetDataFolder() / "launcher.log", log));
  EXPECT_NE(log.find("] configuracoes gravadas em " + PathToUtf8(game) + "\r\n"), std::string::npos) << log;
}

TEST_F(GameSettingsTest, QualityIsReadBackFromTheViewDistanceKeyAlone) {
  WriteGameIni("[ScalabilityGroups]\r\nsg.TextureQuality=0\r\nsg.ViewDistanceQuality=1\r\n");
  EXPECT_EQ(LoadGameSettings().quality, 1);
}

TEST(GameSettingsFields, EachFieldReplacesOnlyWhenGivenAsNumberOrText) {
  const GameSettings base;
  const GameSettings s = ApplySettingsFields(
      base, Parse("{\"resY\":\"720\",\"modo\":2.9,\"qualidade\":true,\"sombras\":null,\"efeitos\":{},"
                  "\"geral\":\"80%\",\"instancias\":-2,\"idioma\":5}"));
  // Booleans, null, objects and a language that is not text keep the loaded value; the instances are
  // not clamped here (the clamp belongs to the save).
  EXPECT_EQ(GameSettingsJson(s),
            "{\"resX\":1920,\"resY\":720,\"modo\":2,\"qualidade\":2,\"sombras\":2,\"efeitos\":2,\"geral\":80,"
            "\"musica\":50,\"som\":50,\"instancias\":-2,\"idioma\":\"pt-BR\"}");
  EXPECT_EQ(GameSettingsJson(ApplySettingsFields(base, Parse("[1,2]"))), GameSettingsJson(base));
}

TEST(GameSettingsJsonText, QuotesTheLanguage) {
  GameSettings s;
  s.language = "x\"\\\xC3\xA7";
  s.instances = 9;
  const std::string text = GameSettingsJson(s);
  EXPECT_NE(text.find("\"instancias\":9,\"idioma\":" + JsonQuote(s.language) + "}"), std::string::npos) << text;
  JsonValue parsed;
  ASSERT_TRUE(ParseJson(text, parsed));
  EXPECT_EQ(parsed.Find("idioma").text, s.language);
}

// Hand-written files: every key at its new value after a save, every other line as it was. On
// Windows the real profile functions do it; natively our INI code; both against the same expected
// files. Wine's profile functions rewrite the whole file, so under Wine the comparison is made on
// the text as Wine lays it out (the same expected file, normalised).
TEST_F(GameSettingsTest, HandWrittenFilesKeepEveryOtherLine) {
  const char* cases = std::getenv("ORV_INI_CASES");
  ASSERT_NE(cases, nullptr) << "ORV_INI_CASES not set";
  const JsonValue dados = Parse(
      "{\"resX\":2560,\"resY\":1440,\"modo\":2,\"qualidade\":3,\"sombras\":1,\"efeitos\":0,\"geral\":80,"
      "\"musica\":30,\"som\":70,\"instancias\":9,\"idioma\":\"en-US\"}");
  int checked = 0;
  for (const char* name : {"editado-a-mao", "sem-arquivos", "quebras-lf"}) {
    SCOPED_TRACE(name);
    ScopedFolders scope;
    const std::filesystem::path folder = PathFromUtf8(cases) / name;
    std::string text;
    if (ReadWholeFile(folder / "jogo.antes.ini", text)) WriteGameIni(text);
    if (ReadWholeFile(folder / "launcher.antes.ini", text)) WriteLauncherIni(text);
    SaveGameSettings(ApplySettingsFields(LoadGameSettings(), dados));

    for (const auto& [expected_name, written] :
         {std::pair{"jogo.depois.ini", GameIniPath()}, std::pair{"launcher.depois.ini", LauncherIniPath()}}) {
      std::string expected;
      std::string actual;
      ASSERT_TRUE(ReadWholeFile(folder / expected_name, expected)) << expected_name;
      ASSERT_TRUE(ReadWholeFile(written, actual)) << expected_name;
      EXPECT_EQ(actual, RunningUnderWine() ? Normalize(expected) : expected) << expected_name;
      ++checked;
    }
  }
  EXPECT_EQ(checked, 6);
}

TEST(IniText, LookupRules) {
  const std::string text =
      "top=0\r\n[Sec]\r\n  Key  =  a=b  \r\nquoted=\"q\"\r\nsingle='s'\r\nhalf=\"h\r\n; k=comment\r\n"
      "[other]\r\nkey=other\r\n[SEC]\r\nlate=1\r\n";
  EXPECT_EQ(IniLookup(text, "sec", "KEY"), "a=b");
  EXPECT_EQ(IniLookup(text, "Sec", "quoted"), "q");
  EXPECT_EQ(IniLookup(text, "Sec", "single"), "s");
  EXPECT_EQ(IniLookup(text, "Sec", "half"), "\"h");
  EXPECT_EQ(IniLookup(text, "other", "key"), "other");
  EXPECT_EQ(IniLookup(text, "Sec", "late"), std::nullopt) << "only the first section of a name counts";
  EXPECT_EQ(IniLookup(text, "Sec", "top"), std::nullopt) << "lines before any section belong to none";
  EXPECT_EQ(IniLookup(text, "Nada", "key"), std::nullopt);
  EXPECT_EQ(IniLookup("", "Sec", "key"), std::nullopt);
}

TEST_F(GameSettingsTest, ProfileWriteCreatesTheFileAndReadCutsToTheBuffer) {
  const auto file = folders_.root() / "nova/launcher.ini";
  ASSERT_TRUE(EnsureParentFolder(file));
  EXPECT_TRUE(WriteIniValue(file, "Launcher", "Instancias", "3"));
  EXPECT_EQ(ReadIniValue(file, "launcher", "instancias", "x", 64), "3");
  EXPECT_TRUE(WriteIniValue(file, "Launcher", "Longo", "\xC3\xA7\xC3\xA7\xC3\xA7\xC3\xA7"));
  EXPECT_EQ(ReadIniValue(file, "Launcher", "Longo", "", 3), "\xC3\xA7\xC3\xA7");
  EXPECT_EQ(ReadIniValue(file, "Launcher", "Nada", "padrao", 4), "pad");
  EXPECT_EQ(ReadIniValue(folders_.root() / "nenhum.ini", "A", "b", "padrao", 64), "padrao");
}

}  // namespace

}  // namespace orv
