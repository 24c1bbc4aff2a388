#include "host/gtk/main_window.h"

#include "core/log.h"
#include "core/paths.h"
#include "host/gtk/page_files.h"

namespace orv {

namespace {

constexpr int kWidth = 1100;
constexpr int kHeight = 640;

GdkPixbuf* GameIcon() {
  const std::span<const char> png = BuiltInPageFile("icone.png");
  GdkPixbufLoader* loader = gdk_pixbuf_loader_new();
  GdkPixbuf* icon = nullptr;
  if (gdk_pixbuf_loader_write(loader, reinterpret_cast<const guchar*>(png.data()), png.size(), nullptr) &&
      gdk_pixbuf_loader_close(loader, nullptr)) {
    icon = gdk_pixbuf_loader_get_pixbuf(loader);
    if (icon) g_object_ref(icon);
  } else {
    gdk_pixbuf_loader_close(loader, nullptr);
  }
  g_object_unref(loader);
  return icon;
}

}  // namespace

MainWindow::MainWindow(EngineState& state, bool auto_mode) : state_(state), auto_mode_(auto_mode) {}

void MainWindow::Show(GtkWidget* view) {
  window_ = GTK_WINDOW(gtk_window_new(GTK_WINDOW_TOPLEVEL));
  gtk_window_set_title(window_, "Valdren");
  gtk_window_set_decorated(window_, FALSE);
  gtk_window_set_resizable(window_, FALSE);
  gtk_window_set_position(window_, GTK_WIN_POS_CENTER);
  if (GdkPixbuf* icon = GameIcon()) {
    gtk_window_set_icon(window_, icon);
    g_object_unref(icon);
  }
  // A window that cannot be resized takes its content's size: the view asks for the whole area.
  gtk_widget_set_size_request(view, kWidth, kHeight);
  gtk_container_add(GTK_CONTAINER(window_), view);
  g_signal_connect(view, "button-press-event", G_CALLBACK(OnPress), this);
  g_signal_connect(window_, "delete-event", G_CALLBACK(OnDelete), this);
  g_signal_connect(window_, "destroy", G_CALLBACK(OnDestroy), this);
  gtk_widget_show_all(GTK_WIDGET(window_));
}

gboolean MainWindow::OnPress(GtkWidget*, GdkEventButton* event, gpointer self) {
  if (event->type == GDK_BUTTON_PRESS) {
    static_cast<MainWindow*>(self)->press_ = {event->button, static_cast<gint>(event->x_root),
                                              static_cast<gint>(event->y_root), event->time};
  }
  return FALSE;  // the page still gets the press
}

gboolean MainWindow::OnDelete(GtkWidget*, GdkEvent*, gpointer self) {
  auto& window = *static_cast<MainWindow*>(self);
  // An unattended run finishes what it started; a person closing the window stops the run.
  if (window.state_.run_active.load() != 0 && !window.auto_mode_) window.state_.cancel_flag.store(1);
  return FALSE;
}

void MainWindow::OnDestroy(GtkWidget*, gpointer self) {
  auto& window = *static_cast<MainWindow*>(self);
  window.window_ = nullptr;
  // The swap script replaces a Windows executable; a Linux launcher is updated by its package.
  if (!window.state_.swap_script_path.empty()) Log("troca do launcher ignorada neste sistema");
  gtk_main_quit();
}

void MainWindow::BeginDrag() {
  if (window_ == nullptr || press_.button != 1) return;
  gtk_window_begin_move_drag(window_, static_cast<gint>(press_.button), press_.x_root, press_.y_root, press_.time);
}

void MainWindow::Minimize() {
  if (window_ != nullptr) gtk_window_iconify(window_);
}

void MainWindow::RequestClose() {
  // Run and game-launch threads ask too: the close always happens on the main loop. Default
  // priority, not idle: a page that keeps drawing (a playing video) would starve an idle source.
  g_idle_add_full(
      G_PRIORITY_DEFAULT,
      [](gpointer self) {
        auto* window = static_cast<MainWindow*>(self)->window_;
        if (window != nullptr) gtk_window_close(window);
        return G_SOURCE_REMOVE;
      },
      this, nullptr);
}

std::filesystem::path MainWindow::PickFolder(const std::filesystem::path& current) {
  GtkFileChooserNative* dialog = gtk_file_chooser_native_new(
      "Pasta de instalação", window_, GTK_FILE_CHOOSER_ACTION_SELECT_FOLDER, "Selecionar", "Cancelar");
  gtk_native_dialog_set_modal(GTK_NATIVE_DIALOG(dialog), TRUE);
  gtk_file_chooser_set_create_folders(GTK_FILE_CHOOSER(dialog), TRUE);
  if (!current.empty()) {
    // Start in the current folder, or in the closest one that exists.
    std::filesystem::path start = current;
    std::error_code error;
    while (start.has_relative_path() && !std::filesystem::is_directory(start, error)) start = start.parent_path();
    gtk_file_chooser_set_current_folder(GTK_FILE_CHOOSER(dialog), start.c_str());
  }
  std::filesystem::path chosen;
  if (gtk_native_dialog_run(GTK_NATIVE_DIALOG(dialog)) == GTK_RESPONSE_ACCEPT) {
    if (gchar* name = gtk_file_chooser_get_filename(GTK_FILE_CHOOSER(dialog))) {
      chosen = name;
      g_free(name);
    }
  }
  g_object_unref(dialog);
  return chosen;
}

void MainWindow::OpenUrl(const std::string& url) {
  GError* error = nullptr;
  if (!gtk_show_uri_on_window(window_, url.c_str(), GDK_CURRENT_TIME, &error)) {
    Log("link não abriu: %s", error ? error->message : "?");
    if (error) g_error_free(error);
  }
}

}  // namespace orv
