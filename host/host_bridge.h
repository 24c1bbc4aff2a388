// The page <-> host message bridge: dispatches the page's commands ("cmd") on the UI thread and
// builds the host's answers. It never answers an error: a message it cannot use is dropped.
//
// Everything platform-bound sits behind the small interfaces below, so the bridge is tested without a
// window, a browser or a real update run.
#pragma once

#include <filesystem>
#include <functional>
#include <optional>
#include <string>
#include <string_view>

#include "core/engine_state.h"
#include "core/json.h"
#include "core/launcher_config.h"

namespace orv {

// What the bridge asks of the main window. Implemented by the Win32 and GTK hosts.
class HostWindow {
 public:
  virtual ~HostWindow() = default;
  // Lets the system move the borderless window with the mouse.
  virtual void BeginDrag() = 0;
  virtual void Minimize() = 0;
  // Requests a close, as the window's own close button would.
  virtual void RequestClose() = 0;
  // Modal folder picker owned by the window; empty when cancelled or failing.
  [[nodiscard]] virtual std::filesystem::path PickFolder(const std::filesystem::path& current) = 0;
  // Opens an https link in the user's browser.
  virtual void OpenUrl(const std::string& url) = 0;
};

// One update or verification run, as handed to its worker thread.
struct RunRequest {
  Channel channel;
  bool apply = false;  // true: "atualizar"; false: "verificar"
};

// Starts a run on a new detached thread (see run_thread.h for the real one).
class RunStarter {
 public:
  virtual ~RunStarter() = default;
  virtual void Start(RunRequest request) = 0;
};

// The game's commands ("jogar", "config", "salvarConfig"). Until the game room provides them the
// defaults leave the commands unanswered.
class GameCommands {
 public:
  virtual ~GameCommands() = default;
  // Starts the game of `channel`; answers with "aviso" messages of its own.
  virtual void Play(const Channel& channel) { (void)channel; }
  // The settings object for a "config" message; nullopt when there are no settings to show.
  [[nodiscard]] virtual std::optional<std::string> SettingsJson() { return std::nullopt; }
  // Applies the fields of "dados" over the current settings and saves them; false when not handled.
  virtual bool SaveSettings(const JsonValue& dados) {
    (void)dados;
    return false;
  }
};

class HostBridge {
 public:
  // All references must outlive the bridge. `post_to_page` is PostToPage: safe from any thread.
  HostBridge(LauncherConfig& config, EngineState& state, bool auto_mode, PageSink post_to_page, HostWindow& window,
             RunStarter& runs, GameCommands& game);

  // One page message (UTF-8 JSON text of an object with "cmd"), on the UI thread.
  void OnPageMessage(std::string_view text);

  // "inicio", then "config" when settings are available.
  void SendStartup();
  // Starts a run unless one is active.
  void StartRun(bool apply);

 private:
  void SelectChannel(const JsonValue& message);
  void ChooseFolder();
  void SaveSettings(const JsonValue& message);
  void OpenLink(const JsonValue& message);
  [[nodiscard]] bool RunActive() const { return state_.run_active.load() != 0; }

  LauncherConfig& config_;
  EngineState& state_;
  bool auto_mode_;
  PageSink post_;
  HostWindow& window_;
  RunStarter& runs_;
  GameCommands& game_;
};

}  // namespace orv
