#include "host/win/game_commands_factory.h"

std::unique_ptr<GameCommands> MakeGameCommands() { return std::make_unique<GameCommands>(); }
