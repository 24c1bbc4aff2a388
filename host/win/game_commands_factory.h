// The game room's commands as the launcher wires them in.
#pragma once

#include <memory>

#include "host/host_bridge.h"

[[nodiscard]] std::unique_ptr<GameCommands> MakeGameCommands();
