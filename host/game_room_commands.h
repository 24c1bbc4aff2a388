// The game's commands for the bridge: "config", "salvarConfig" and "jogar".
#pragma once

#include <functional>
#include <optional>
#include <string>

#include "core/engine_state.h"
#include "game/game_process.h"
#include "game/prerequisites.h"
#include "host/host_bridge.h"

namespace orv {

// Seams that tests replace; hosts leave them all empty.
struct GameRoomSeams {
  PrerequisiteSystem* prerequisites = nullptr;  // empty: the real system
  GameProcessStarter* processes = nullptr;      // empty: the real process start
  // Runs one launch worker; empty: a new detached thread.
  std::function<void(std::function<void()>)> start_worker;
};

class GameRoomCommands final : public GameCommands {
 public:
  // All references must outlive this object (and any launch worker still running; they live as long
  // as the process in the hosts). `post_to_page` must be safe from any thread. Sleeps go through
  // `state.clock`.
  //
  // `window.RequestClose()` is called from the launch worker thread, NOT the UI thread, 500 ms after
  // at least one game process started: hosts must make it safe to call from any thread (post the
  // close to the UI thread). The settings files and prereqs.cmd follow the data folder and the local
  // application data folder of core/paths.h.
  GameRoomCommands(EngineState& state, PageSink post_to_page, HostWindow& window, GameRoomSeams seams = {});

  // "jogar": checks on the UI thread, then the detached worker; answers with "aviso" messages.
  void Play(const Channel& channel) override;
  // "config": the settings object, always available.
  [[nodiscard]] std::optional<std::string> SettingsJson() override;
  // "salvarConfig": applies "dados" over the saved settings and saves them; always true.
  bool SaveSettings(const JsonValue& dados) override;

 private:
  EngineState& state_;
  PageSink post_;
  HostWindow& window_;
  GameRoomSeams seams_;
};

}  // namespace orv
