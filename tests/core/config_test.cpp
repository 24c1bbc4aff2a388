#include <gtest/gtest.h>

#include <string>
#include <thread>
#include <vector>

#include "core/file_util.h"
#include "core/game_folder.h"
#include "core/json.h"
#include "core/launcher_config.h"
#include "core/log.h"
#include "core/paths.h"
#include "core/text.h"
#include "support/scoped_folders.h"

namespace orv {

namespace {

TEST(LauncherConfig, DefaultTextIsTheDocumentedShape) {
  const std::string text = kDefaultLauncherConfig;
  JsonValue root;
  ASSERT_TRUE(ParseJson(text, root));
  ASSERT_EQ(root.members.size(), 3u);
  EXPECT_EQ(root.members[0].key, "canais");
  EXPECT_EQ(root.members[1].key, "discord");
  EXPECT_EQ(root.members[2].key, "site");
  const JsonValue& channel = root.Find("canais").items.at(0);
  ASSERT_EQ(channel.members.size(), 4u);
  EXPECT_EQ(channel.members[0].key, "id");
  EXPECT_EQ(channel.members[3].key, "pasta");
  EXPECT_EQ(channel.Find("pasta").text, "Jogo");
  EXPECT_EQ(channel.Find("manifesto").text.rfind("https://", 0), 0u);
  EXPECT_NE(channel.Find("manifesto").text.find("/oficial/manifest.json"), std::string::npos);
  EXPECT_EQ(root.Find("discord").text.rfind("https://", 0), 0u);
  EXPECT_EQ(root.Find("site").text.rfind("https://", 0), 0u);
  // Two-space indentation, LF line ends, no final line end.
  EXPECT_EQ(text.find('\r'), std::string::npos);
  EXPECT_NE(text.back(), '\n');
  EXPECT_NE(text.find("\n  \"canais\": [\n    {\n      \"id\": \"oficial\",\n"), std::string::npos);
}

TEST(LauncherConfig, MissingFileGivesTheDefaultWithoutWritingIt) {
  ScopedFolders folders;
  const LauncherConfig missing = LoadLauncherConfig();
  ASSERT_EQ(missing.canais.size(), 1u);
  EXPECT_EQ(missing.canais[0].id, "oficial");
  EXPECT_EQ(missing.canais[0].nome, "Oficial");
  EXPECT_EQ(missing.canais[0].manifesto, kOfficialManifestUrl);
  EXPECT_EQ(missing.canais[0].pasta, GetDefaultGameFolder());
  EXPECT_EQ(missing.discord.rfind("https://", 0), 0u);
  EXPECT_FALSE(PathExists(GetModuleFolder() / "launcher.json"));  // never written back
}

TEST(LauncherConfig, BrokenFileGivesTheDefault) {
  ScopedFolders folders;
  WriteTestFile(GetModuleFolder() / "launcher.json", "{\"canais\": [");
  EXPECT_EQ(LoadLauncherConfig().canais.at(0).manifesto, kOfficialManifestUrl);
}

TEST(LauncherConfig, ChannelsGetTheirFoldersFromTheGameFolder) {
  ScopedFolders folders;
  const std::filesystem::path game = folders.root() / "G";
  const LauncherConfig two = LauncherConfigFromText(
      R"({"canais":[{"id":"oficial","nome":"Oficial","manifesto":"https://a/m.json","pasta":"X"},
                    {"id":"teste","nome":"Teste","manifesto":"https://b/m.json"}, 5],
          "discord":"https://d","extra":1})",
      game);
  ASSERT_EQ(two.canais.size(), 3u);
  EXPECT_EQ(two.canais[0].pasta, game);  // "pasta" in the file changes nothing
  EXPECT_EQ(two.canais[1].pasta, WithSuffix(game, " (Teste)"));
  EXPECT_EQ(two.canais[1].manifesto, "https://b/m.json");
  // A non-object element is a channel of empty strings.
  EXPECT_EQ(two.canais[2].id, "");
  EXPECT_EQ(two.canais[2].pasta, WithSuffix(game, " ()"));
  EXPECT_EQ(two.discord, "https://d");
  EXPECT_EQ(two.site, "");
}

TEST(LauncherConfig, EmptyChannelListGivesTheOfficialChannel) {
  ScopedFolders folders;
  const std::filesystem::path game = folders.root() / "G";
  const LauncherConfig empty = LauncherConfigFromText(R"({"canais":[],"site":"https://s"})", game);
  ASSERT_EQ(empty.canais.size(), 1u);
  EXPECT_EQ(empty.canais[0].nome, "Oficial");
  EXPECT_EQ(empty.canais[0].pasta, game);
  EXPECT_EQ(empty.site, "https://s");
  EXPECT_EQ(empty.discord, "");
}

TEST(GameFolder, ChannelFolderNamesEveryChannelAfterTheFirst) {
  const std::filesystem::path game = PathFromUtf8("/jogos/Valdren");
  EXPECT_EQ(ChannelFolder(game, 0, "Qualquer"), game);
  EXPECT_EQ(PathToUtf8(ChannelFolder(game, 1, "Teste")), "/jogos/Valdren (Teste)");
  EXPECT_EQ(PathToUtf8(ChannelFolder(game, 2, "Ação")), "/jogos/Valdren (Ação)");
}

TEST(GameFolder, PastajogoIsTrimmed) {
  ScopedFolders folders;
  const std::filesystem::path chosen = folders.root() / "Jogos Valdren";
  EXPECT_EQ(LoadGameFolder(), GetDefaultGameFolder());  // no file
  WriteTestFile(GetDataFolder() / "pastajogo.txt", "  " + PathToUtf8(chosen) + " \r\n");
  EXPECT_EQ(LoadGameFolder(), chosen);
}

TEST(GameFolder, PastajogoThatIsNotAbsoluteGivesTheDefault) {
  ScopedFolders folders;
  const std::string chosen_utf8 = PathToUtf8(folders.root() / "Jogos Valdren");
  const std::filesystem::path file = GetDataFolder() / "pastajogo.txt";
  for (const char* fallback : {"", "   \r\n", "Jogos\\Valdren", "Jogos/Valdren", "D:", "/"}) {
    WriteTestFile(file, fallback);
    EXPECT_EQ(LoadGameFolder(), GetDefaultGameFolder()) << fallback;
  }
  // Only leading spaces are stripped, not tabs.
  WriteTestFile(file, "\t" + chosen_utf8);
  EXPECT_EQ(LoadGameFolder(), GetDefaultGameFolder());
}

TEST(GameFolder, SaveWritesTheBarePathAndLoadsItBack) {
  ScopedFolders folders;
  const std::filesystem::path chosen = folders.root() / "Pasta com espaço e ç";
  SaveGameFolder(chosen);
  EXPECT_EQ(ReadTestFile(GetDataFolder() / "pastajogo.txt"), PathToUtf8(chosen));
  EXPECT_EQ(LoadGameFolder(), chosen);
  EXPECT_EQ(LoadLauncherConfig().canais.at(0).pasta, chosen);
}

TEST(GameFolder, DefaultFolderWithoutUserProgramsIsInTheDataFolder) {
  ScopedFolders folders;
  folders.overrides().user_programs.clear();
  EXPECT_EQ(GetDefaultGameFolder(), GetDataFolder() / "Jogo");
  folders.overrides().user_programs = folders.root() / "P";
  EXPECT_EQ(GetDefaultGameFolder(), folders.root() / "P" / "Valdren");
}

TEST(Log, LineFormatCutAndConcurrency) {
  ScopedFolders folders;
  Log("primeira %s %d", "linha", 7);
  Log("%s", std::string(5000, 'x').c_str());
  std::vector<std::thread> writers;
  for (int t = 0; t < 4; ++t) {
    writers.emplace_back([t] {
      for (int i = 0; i < 50; ++i) Log("thread %d linha %d", t, i);
    });
  }
  for (auto& w : writers) w.join();

  const std::string text = ReadTestFile(GetDataFolder() / "launcher.log");
  std::vector<std::string> lines;
  for (size_t start = 0; start < text.size();) {
    const size_t end = text.find("\r\n", start);
    ASSERT_NE(end, std::string::npos) << "every line ends with CR LF";
    lines.push_back(text.substr(start, end - start));
    start = end + 2;
  }
  ASSERT_EQ(lines.size(), 202u);
  for (const std::string& line : lines) {
    // [YYYY-MM-DD hh:mm:ss] then one space; no stray CR or LF inside a line.
    ASSERT_GE(line.size(), 22u);
    EXPECT_EQ(line[0], '[');
    EXPECT_EQ(line[5], '-');
    EXPECT_EQ(line[11], ' ');
    EXPECT_EQ(line[14], ':');
    EXPECT_EQ(line.substr(20, 2), "] ");
    EXPECT_EQ(line.find_first_of("\r\n"), std::string::npos);
  }
  EXPECT_EQ(lines[0].substr(22), "primeira linha 7");
  EXPECT_EQ(lines[1].substr(22), std::string(2047, 'x'));
}

TEST(Text, Utf8WideRoundTrip) {
  const std::string text = "Atualização — 😀";
  EXPECT_EQ(WideToUtf8(Utf8ToWide(text)), text);
  EXPECT_EQ(Utf8ToWide(""), L"");
  EXPECT_EQ(Utf8ToWide("\xC3\xA9"), L"\u00e9");
  EXPECT_EQ(WideToUtf8(L"\u00e9"), "\xC3\xA9");
}

}  // namespace

}  // namespace orv
