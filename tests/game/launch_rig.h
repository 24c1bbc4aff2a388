// A bridge with the game room behind it, fake window and runs, and recording seams for the launch.
#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "core/file_util.h"
#include "core/launcher_config.h"
#include "game/game_settings.h"
#include "game/profile.h"
#include "host/game_room_commands.h"
#include "host/host_bridge.h"
#include "support/fake_clock.h"
#include "support/fake_host.h"
#include "support/scoped_folders.h"

namespace orv {

// Starts that succeed or fail as listed (the last answer repeats), recorded with their folder.
class RecordingStarter final : public GameProcessStarter {
 public:
  struct Call {
    std::string command_line;
    std::filesystem::path folder;
  };
  bool Start(const std::filesystem::path& executable, const std::string& arguments,
             const std::filesystem::path& working_folder, std::uint32_t& error_code) override {
    starts.push_back({GameCommandLine(executable, arguments), working_folder});
    const bool ok = answers.empty() || answers.at(std::min(starts.size(), answers.size()) - 1);
    if (!ok) error_code = 5;
    return ok;
  }
  std::vector<bool> answers;
  std::vector<Call> starts;
};

// The launch tests never get as far as running an installer.
class FixedPrerequisites final : public PrerequisiteSystem {
 public:
  PrerequisiteFlags Check() override { return flags; }
  bool RunElevatedScript(const std::filesystem::path&, std::uint32_t&) override { return false; }
  PrerequisiteFlags flags = MakePrerequisiteFlags(true, true);
};

struct LaunchRig {
  explicit LaunchRig(GameProcessStarter* processes_override = nullptr)
      : config(LauncherConfigFromText("{}", folders.root() / "Jogo")),
        game(
            state, [this](const std::string& m) { posted.push_back(m); }, window,
            GameRoomSeams{&prerequisites, processes_override != nullptr ? processes_override : &starter,
                          [this](std::function<void()> work) { workers.push_back(std::move(work)); }}),
        bridge(
            config, state, false, [this](const std::string& m) { posted.push_back(m); }, window, runs, game) {
    state.clock = &clock;
  }
  [[nodiscard]] std::filesystem::path GameFolder() const { return config.canais.at(0).pasta; }
  void InstallGame() const { ASSERT_TRUE(WriteWholeFile(JoinRelative(GameFolder(), "ORV2.exe"), "MZ")); }
  // The launcher's instance count and the game's window mode, as a player's earlier save left them.
  static void SetInstancesAndMode(const std::string& instancias, const std::string& mode) {
    ASSERT_TRUE(WriteIniValue(LauncherIniPath(), "Launcher", "Instancias", instancias));
    ASSERT_TRUE(EnsureParentFolder(GameIniPath()));
    ASSERT_TRUE(WriteIniValue(GameIniPath(), "/Script/Engine.GameUserSettings", "FullscreenMode", mode));
  }
  // The page's "jogar" and the launch worker it starts.
  void Play() {
    bridge.OnPageMessage(R"({"cmd":"jogar"})");
    RunWorkers();
  }
  // Runs the launch workers started so far, as their threads would.
  void RunWorkers() {
    auto pending = std::move(workers);
    workers.clear();
    for (auto& work : pending) work();
  }

  ScopedFolders folders;
  LauncherConfig config;
  EngineState state;
  FakeClock clock;
  FakeWindow window;
  FakeRuns runs;
  RecordingStarter starter;
  FixedPrerequisites prerequisites;
  std::vector<std::function<void()>> workers;
  std::vector<std::string> posted;
  GameRoomCommands game;
  HostBridge bridge;
};

}  // namespace orv
