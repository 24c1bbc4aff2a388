#include "game/game_process.h"

#include "core/paths.h"

std::string GameCommandLine(const std::filesystem::path& executable, const std::string& arguments) {
  return "\"" + PathToUtf8(executable) + "\"" + arguments;
}
