// The launcher's one window on Linux: borderless, 1100 x 640 logical pixels, centred, not
// resizable, titled "Valdren" with the game's icon, holding the page view. It carries out the
// page's window commands and the close rules of a run.
#pragma once

#include <gtk/gtk.h>

#include <filesystem>
#include <string>

#include "core/engine_state.h"
#include "host/host_bridge.h"

namespace orv {

class MainWindow final : public HostWindow {
 public:
  MainWindow(EngineState& state, bool auto_mode);
  MainWindow(const MainWindow&) = delete;
  MainWindow& operator=(const MainWindow&) = delete;

  // Puts the view into the window and shows it. Main thread.
  void Show(GtkWidget* view);

  void BeginDrag() override;
  void Minimize() override;
  // Safe from any thread: the close is carried out on the main loop.
  void RequestClose() override;
  [[nodiscard]] std::filesystem::path PickFolder(const std::filesystem::path& current) override;
  void OpenUrl(const std::string& url) override;

 private:
  static gboolean OnDelete(GtkWidget* widget, GdkEvent* event, gpointer self);
  static void OnDestroy(GtkWidget* widget, gpointer self);
  static gboolean OnPress(GtkWidget* widget, GdkEventButton* event, gpointer self);

  // The last mouse press inside the view: a move must start from a real press.
  struct Press {
    guint button = 0;
    gint x_root = 0;
    gint y_root = 0;
    guint32 time = 0;
  };

  EngineState& state_;
  bool auto_mode_;
  GtkWindow* window_ = nullptr;
  Press press_;
};

}  // namespace orv
