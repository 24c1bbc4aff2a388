#include "host/run_thread.h"

#include <exception>
#include <thread>
#include <utility>

#include "core/log.h"

namespace orv {

void FinishRun(EngineState& state, bool auto_mode, const std::function<void()>& request_close) {
  if (!state.swap_script_path.empty()) {
    request_close();
  } else if (auto_mode) {
    Log("--auto: fim");
    request_close();
  }
}

DetachedRunStarter::DetachedRunStarter(EngineState& state, bool auto_mode, UpdateRun run,
                                       std::function<void()> request_close)
    : state_(state), auto_mode_(auto_mode), run_(std::move(run)), request_close_(std::move(request_close)) {}

void DetachedRunStarter::Start(RunRequest request) {
  // The thread owns its request; the process-wide state and callables outlive every run.
  // Creating the thread may throw; that stays fatal. Inside it, nothing may escape: an exception
  // leaving a thread's function ends the process.
  std::thread([this, request = std::move(request)] {
    try {
      run_(state_, request.channel, request.apply);
      FinishRun(state_, auto_mode_, request_close_);
    } catch (const std::exception& error) {
      Log("fim da atualizacao com excecao: %s", error.what());
    } catch (...) {
      Log("fim da atualizacao com excecao");
    }
  }).detach();
}

}  // namespace orv
