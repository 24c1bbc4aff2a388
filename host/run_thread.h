// The worker thread of one update run: runs it, then hands the window a close request when a
// self-update is waiting to be swapped in or when the launcher runs unattended ("--auto").
#pragma once

#include <functional>

#include "core/engine_state.h"
#include "host/host_bridge.h"

namespace orv {

// The update run itself (UpdateEngine::Run in the product).
using UpdateRun = std::function<void(EngineState& state, const Channel& channel, bool apply)>;

// Everything after the run returns, on the run's thread.
void FinishRun(EngineState& state, bool auto_mode, const std::function<void()>& request_close);

// Starts each run on a new detached thread. A thread that cannot be created ends the process.
class DetachedRunStarter final : public RunStarter {
 public:
  DetachedRunStarter(EngineState& state, bool auto_mode, UpdateRun run, std::function<void()> request_close);
  void Start(RunRequest request) override;

 private:
  EngineState& state_;
  bool auto_mode_;
  UpdateRun run_;
  std::function<void()> request_close_;
};

}  // namespace orv
