// The game room's commands as the launcher wires them in.
#pragma once

#include <memory>

#include "core/engine_state.h"
#include "host/host_bridge.h"

namespace orv {

// `state` and `window` must outlive the result (they live as long as the process).
[[nodiscard]] std::unique_ptr<GameCommands> MakeGameCommands(EngineState& state, HostWindow& window);

}  // namespace orv
