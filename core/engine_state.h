// The run context shared by the UI thread and the update worker, and the small callable types that
// cross module boundaries.
#pragma once

#include <atomic>
#include <cstdint>
#include <filesystem>
#include <functional>
#include <string>

#include "core/clock.h"

// Bytes just transferred or hashed (not a running total). An empty callable is skipped.
using ProgressCallback = std::function<void(std::uint64_t)>;

// Hands one UTF-8 JSON text to the page; safe to call from any thread.
using PageSink = std::function<void(const std::string&)>;

struct EngineState {
  // Set by a staged self-update; read by the host when the main window closes.
  std::filesystem::path swap_script_path;
  // Where "estado" messages go; nothing is sent when empty.
  PageSink progress_sink;
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

inline bool IsSet(const CancelFlag* flag) { return flag != nullptr && flag->load(std::memory_order_relaxed) != 0; }
