#include "game/game_process.h"

#include "core/paths.h"

namespace orv {

std::string GameCommandLine(const std::filesystem::path& executable, const std::string& arguments) {
  // Appended piece by piece: GCC 12 at -O3 misreads a chain of temporaries as overlapping copies.
  std::string line = "\"";
  line += PathToUtf8(executable);
  line += "\"";
  line += arguments;
  return line;
}

}  // namespace orv
