// The Linux side of the launch: the game goes through `wine` from PATH, in the game folder, with
// the arguments as separate words; no wine means a failed start. A recording script stands in for
// wine. Both prerequisites count as present.
#include "game/game_process.h"

#include <gtest/gtest.h>
#include <sys/stat.h>

#include <cerrno>
#include <chrono>
#include <cstdlib>
#include <string>
#include <thread>

#include "core/file_util.h"
#include "game/game_folders.h"
#include "game/prerequisites.h"
#include "support/temp_dir.h"

namespace orv {

namespace {

// An environment variable set (or, for nullptr, removed) for one scope.
class ScopedVariable {
 public:
  ScopedVariable(const char* name, const char* value) : name_(name) {
    const char* old = std::getenv(name);
    had_ = old != nullptr;
    if (had_) old_ = old;
    if (value != nullptr) {
      setenv(name, value, 1);
    } else {
      unsetenv(name);
    }
  }
  ~ScopedVariable() {
    if (had_) {
      setenv(name_, old_.c_str(), 1);
    } else {
      unsetenv(name_);
    }
  }
  ScopedVariable(const ScopedVariable&) = delete;
  ScopedVariable& operator=(const ScopedVariable&) = delete;

 private:
  const char* name_;
  bool had_ = false;
  std::string old_;
};

// Waits for the recording script to finish its file (it renames it into place when complete).
std::string WaitForRecord(const std::filesystem::path& record) {
  for (int i = 0; i < 1000 && !PathExists(record); ++i) std::this_thread::sleep_for(std::chrono::milliseconds(10));
  std::string text;
  EXPECT_TRUE(ReadWholeFile(record, text)) << "wine was not started";
  return text;
}

TEST(GameProcessPosix, StartsTheGameThroughWineInTheGameFolder) {
  TempDir dir;
  const auto bin = dir / "bin";
  const auto record = dir / "registro.txt";
  WriteTestFile(bin / "wine", "#!/bin/sh\n{ for a in \"$@\"; do printf '[%s]\\n' \"$a\"; done; pwd; } > \"" +
                                  record.native() + ".tmp\"\nmv \"" + record.native() + ".tmp\" \"" + record.native() +
                                  "\"\n");
  ASSERT_EQ(chmod((bin / "wine").c_str(), 0755), 0);
  const auto game = dir / "Jogo com espaço ção";
  ASSERT_TRUE(CreateFolder(game));

  const ScopedVariable path("PATH", ("/nenhum:" + bin.native() + ":/usr/bin:/bin").c_str());
  std::uint32_t error = 0;
  ASSERT_TRUE(SystemGameProcessStarter().Start(game / "ORV2.exe", " -windowed -ResX=1920 -ResY=1080", game, error));
  EXPECT_EQ(WaitForRecord(record),
            "[" + (game / "ORV2.exe").native() + "]\n[-windowed]\n[-ResX=1920]\n[-ResY=1080]\n" + game.native() + "\n");

  std::filesystem::remove(record);
  ASSERT_TRUE(SystemGameProcessStarter().Start(game / "ORV2.exe", "", game, error));
  EXPECT_EQ(WaitForRecord(record), "[" + (game / "ORV2.exe").native() + "]\n" + game.native() + "\n");
}

TEST(GameProcessPosix, NoWineOrNoFolderIsAFailedStart) {
  TempDir dir;
  {
    const ScopedVariable path("PATH", dir.path().c_str());
    std::uint32_t error = 0;
    EXPECT_FALSE(SystemGameProcessStarter().Start(dir / "ORV2.exe", "", dir.path(), error));
    EXPECT_EQ(error, static_cast<std::uint32_t>(ENOENT));
  }
  WriteTestFile(dir / "wine", "#!/bin/sh\nexit 0\n");
  ASSERT_EQ(chmod((dir / "wine").c_str(), 0755), 0);
  const ScopedVariable path("PATH", dir.path().c_str());
  std::uint32_t error = 0;
  EXPECT_FALSE(SystemGameProcessStarter().Start(dir / "ORV2.exe", "", dir / "sem-pasta", error));
  EXPECT_NE(error, 0u);
}

TEST(PrerequisitesPosix, BothCountAsPresent) {
  EXPECT_EQ(CheckPrerequisites(), MakePrerequisiteFlags(true, true));
  TempDir dir;
  std::string error;
  EXPECT_TRUE(InstallPrerequisites(dir.path(), error));
  EXPECT_TRUE(error.empty());
}

// The game's settings live where the game, run through Wine, looks for them.
TEST(GameFoldersPosix, TheWinePrefixLocalAppData) {
  const ScopedVariable user("USER", "jogador");
  const ScopedVariable home("HOME", "/home/jogador");
  {
    const ScopedVariable prefix("WINEPREFIX", "/jogos/prefixo");
    EXPECT_EQ(GameLocalAppData(), "/jogos/prefixo/drive_c/users/jogador/AppData/Local");
  }
  for (const char* prefix_value : {static_cast<const char*>(nullptr), "", "relativo"}) {
    const ScopedVariable prefix("WINEPREFIX", prefix_value);
    EXPECT_EQ(GameLocalAppData(), "/home/jogador/.wine/drive_c/users/jogador/AppData/Local");
  }
  const ScopedVariable no_user("USER", nullptr);
  EXPECT_EQ(GameLocalAppData(), "");
}

}  // namespace

}  // namespace orv
