#include "host/win/game_commands_factory.h"

#include "host/game_room_commands.h"
#include "host/win/main_window_win.h"

namespace orv {

std::unique_ptr<GameCommands> MakeGameCommands(EngineState& state, HostWindow& window) {
  // The game room closes the window from its launch worker: WinHostWindow posts the close, which is
  // safe from any thread.
  return std::make_unique<GameRoomCommands>(state, PostToPage, window);
}

}  // namespace orv
