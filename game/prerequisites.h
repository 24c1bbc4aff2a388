// The game's Windows prerequisites: the Visual C++ x64 runtime (at least 14.50.35719) and
// GameInput. Both are checked before every launch; missing ones are installed from the installers
// in the game folder through one elevated script (prereqs.cmd in the data folder), so the player
// sees one consent prompt for both. Off Windows there is nothing to install: both count as present.
#pragma once

#include <cstdint>
#include <filesystem>
#include <string>

namespace orv {

// Presence flags: the Visual C++ flag in the low byte, the GameInput flag in the next one.
using PrerequisiteFlags = std::uint32_t;
[[nodiscard]] constexpr PrerequisiteFlags MakePrerequisiteFlags(bool vc, bool game_input) {
  return (vc ? 1u : 0u) | (game_input ? 0x100u : 0u);
}
[[nodiscard]] constexpr bool VcRuntimePresent(PrerequisiteFlags flags) { return (flags & 0xFFu) == 1u; }
[[nodiscard]] constexpr bool GameInputPresent(PrerequisiteFlags flags) { return ((flags >> 8) & 0xFFu) == 1u; }

// The four registry values of the runtime, as read (each must have been exactly 4 bytes).
struct VcRuntimeValues {
  std::uint32_t installed = 0;
  std::uint32_t major = 0;
  std::uint32_t minor = 0;
  std::uint32_t bld = 0;
};
// Installed = 1 and Major.Minor.Bld at least 14.50.35719.
[[nodiscard]] bool VcRuntimeIsCurrent(const VcRuntimeValues& values);

// The installers shipped in the game folder (Engine/Extras/Redist/en-us).
[[nodiscard]] std::filesystem::path VcRedistInstaller(const std::filesystem::path& game_folder);
[[nodiscard]] std::filesystem::path GameInputInstaller(const std::filesystem::path& game_folder);
// The prereqs.cmd text for what is missing: "@echo off", then the installer lines, CRLF, UTF-8 paths.
[[nodiscard]] std::string PrerequisiteScript(const std::filesystem::path& game_folder, PrerequisiteFlags before);

// What the check and the installation need of the system; tests substitute their own.
class PrerequisiteSystem {
 public:
  virtual ~PrerequisiteSystem() = default;
  [[nodiscard]] virtual PrerequisiteFlags Check() = 0;
  // Starts `cmd.exe /c "<script>"` elevated ("runas", hidden) and, when a process handle came
  // back, waits for it at most ten minutes. False when it did not start or gave no process, with
  // the system's error code (1223: the consent prompt was declined).
  [[nodiscard]] virtual bool RunElevatedScript(const std::filesystem::path& script, std::uint32_t& error_code) = 0;
};

// The real system: registry (64-bit view) and the system folder on Windows; "both present" elsewhere.
[[nodiscard]] PrerequisiteSystem& SystemPrerequisites();

// The check of the real system, without side effects.
[[nodiscard]] PrerequisiteFlags CheckPrerequisites();
// True when both are present afterwards (or were from the start); otherwise false with a short
// Portuguese reason in `error`, for "Não foi possível preparar o jogo: <reason>.".
[[nodiscard]] bool InstallPrerequisites(const std::filesystem::path& game_folder, std::string& error);
[[nodiscard]] bool InstallPrerequisites(const std::filesystem::path& game_folder, std::string& error,
                                        PrerequisiteSystem& system);

}  // namespace orv
