// What a run tells its watchers, as fields: the page gets it turned into an "estado" message where
// that message is built; orvsync and the tests read the fields directly.
#pragma once

#include <cstdint>
#include <functional>
#include <string>

namespace orv {

enum class RunPhase { kChecking, kDownloading, kInstalling, kReady, kOutdated, kPaused, kError, kRestarting };

// True for the phases that end a run (ready, outdated, paused, error, restarting).
[[nodiscard]] constexpr bool IsFinalPhase(RunPhase phase) {
  return phase != RunPhase::kChecking && phase != RunPhase::kDownloading && phase != RunPhase::kInstalling;
}

struct RunStatus {
  RunPhase phase = RunPhase::kChecking;
  std::string texto;
  std::int32_t atual = 0;
  std::int32_t total = 0;
  std::uint64_t bytes = 0;
  std::uint64_t bytes_total = 0;
  double velocidade = 0;
};

// Called on the run's thread with every status, before the page's message is sent.
using StatusSink = std::function<void(const RunStatus&)>;

}  // namespace orv
