// The run context shared by the UI thread and the update worker.
#pragma once

#include <atomic>
#include <cstdint>
#include <filesystem>

#include "core/callbacks.h"
#include "core/clock.h"
#include "core/run_status.h"

namespace orv {

struct EngineState {
  // Set by a staged self-update; read by the host when the main window closes.
  std::filesystem::path swap_script_path;
  // Where "estado" messages go; nothing is sent when empty.
  PageSink progress_sink;
  // The same statuses as fields, for watchers that are not the page; nothing when empty.
  StatusSink status_sink;
  CancelFlag cancel_flag{0};
  // Set by the run on its own thread while it works; the host only reads it.
  std::atomic<std::uint8_t> run_active{0};
  // Sleeps and time readings of the run; tests put a fake here.
  Clock* clock = &SystemClock();
  // Where a self-update puts the new executable and troca.cmd; empty means the process's own
  // (GetModuleFolder, GetDataFolder), read once when a run starts.
  std::filesystem::path module_folder;
  std::filesystem::path data_folder;
};

}  // namespace orv
