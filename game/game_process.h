// Starting one game process, detached: the launcher never waits for or watches the game.
//
// Windows: CreateProcessW with the executable as application name, `arguments` appended to the
// quoted executable, the launcher's environment and `working_folder` as current directory.
// Linux: the Windows game is started the way a player runs one, through `wine` found on PATH
// (wine <executable> <arguments split at blanks>) in `working_folder`.
#pragma once

#include <cstdint>
#include <filesystem>
#include <string>

namespace orv {

// The command line of a start: a double quote, the executable, a double quote, then `arguments`
// (empty, or beginning with a blank).
[[nodiscard]] std::string GameCommandLine(const std::filesystem::path& executable, const std::string& arguments);

class GameProcessStarter {
 public:
  virtual ~GameProcessStarter() = default;
  // True when the process started; otherwise false with the system's error code.
  [[nodiscard]] virtual bool Start(const std::filesystem::path& executable, const std::string& arguments,
                                   const std::filesystem::path& working_folder, std::uint32_t& error_code) = 0;
};

[[nodiscard]] GameProcessStarter& SystemGameProcessStarter();

}  // namespace orv
