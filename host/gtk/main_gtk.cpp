// The Linux launcher's entry point: the same start-up order as the Windows host, with GTK's
// display check in place of the browser runtime check.
#include <gtk/gtk.h>

#include <cstdio>
#include <string>

#include "core/engine_state.h"
#include "core/launcher_config.h"
#include "core/log.h"
#include "core/version.h"
#include "host/game_room_commands.h"
#include "host/gtk/main_window.h"
#include "host/gtk/page_files.h"
#include "host/gtk/page_view.h"
#include "host/gtk/startup.h"
#include "host/host_bridge.h"
#include "host/run_thread.h"
#include "update/update_run.h"

using namespace orv;

namespace {

// Everything the run thread may still touch while the process ends lives here and is never
// destroyed: a run is detached and is not waited for.
struct Launcher {
  explicit Launcher(bool auto_mode)
      : config(LoadLauncherConfig()),
        window(state, auto_mode),
        runs(state, auto_mode, UpdateEngine::Run, [this] { window.RequestClose(); }),
        game(state, PostToPage, window),
        bridge(config, state, auto_mode, PostToPage, window, runs, game) {
    state.progress_sink = PostToPage;
  }

  LauncherConfig config;
  EngineState state;
  MainWindow window;
  DetachedRunStarter runs;
  GameRoomCommands game;
  HostBridge bridge;
};

}  // namespace

int main(int argc, char** argv) {
  const bool auto_mode = HasAutoOption(argc, argv);
  Log("OrvLauncher %s iniciado%s", kLauncherVersion, auto_mode ? " (--auto)" : "");
  if (!gtk_init_check(&argc, &argv)) {
    Log("sem tela gráfica");
    std::fputs("OrvLauncher: não há tela gráfica (DISPLAY ou WAYLAND_DISPLAY).\n", stderr);
    return 1;
  }
  // Held by a static so it stays reachable (and undestroyed) until the process is gone.
  static Launcher* const launcher = new Launcher(auto_mode);
  WebKitWebView* view =
      CreatePageView(ExtractUiFiles(), [](std::string_view text) { launcher->bridge.OnPageMessage(text); });
  launcher->window.Show(GTK_WIDGET(view));
  gtk_main();
  return 0;
}
