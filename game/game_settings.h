// The game's settings as the page shows them. The launcher keeps none of its own: they live in the
// game's GameUserSettings.ini (local application data + ORV2/Saved/Config/Windows) and, for the
// instance count only, in launcher.ini in the data folder. Both files are read and written key by
// key through the profile functions (game/profile.h), so every other line stays as it was.
#pragma once

#include <cstdint>
#include <filesystem>
#include <string>

#include "core/json.h"

namespace orv {

struct GameSettings {
  std::int32_t res_x = 1920;
  std::int32_t res_y = 1080;
  std::int32_t mode = 1;  // 0 full screen, 1 borderless window, 2 window
  std::int32_t quality = 2;
  std::int32_t shadows = 2;
  std::int32_t effects = 2;
  std::int32_t master_volume = 100;
  std::int32_t music_volume = 50;
  std::int32_t effects_volume = 50;
  std::string language = "pt-BR";  // UTF-8
  std::int32_t instances = 1;      // not clamped when read; the save and the launch clamp it
};

// The two files. Tests point the known folders elsewhere (SetFolderOverridesForTesting).
[[nodiscard]] std::filesystem::path GameIniPath();
[[nodiscard]] std::filesystem::path LauncherIniPath();

// The defaults overlaid with every key found. Missing files or keys are not errors.
[[nodiscard]] GameSettings LoadGameSettings();
// Writes every key (the game INI's folder made first) and logs "configuracoes gravadas em <path>".
// Write failures are not detected: always true.
bool SaveGameSettings(const GameSettings& settings);
// The "config" reply body: {"resX":..,"resY":..,"modo":..,...,"instancias":..,"idioma":".."}.
[[nodiscard]] std::string GameSettingsJson(const GameSettings& settings);

// The fields of a "salvarConfig" "dados" object over `current`: an integer field given as a number
// or a decimal string replaces it, "idioma" only when it is a string; anything else keeps it.
[[nodiscard]] GameSettings ApplySettingsFields(GameSettings current, const JsonValue& dados);

// The launcher's instance range: below 1 gives 1, above 4 gives 4.
[[nodiscard]] std::int32_t ClampInstances(std::int64_t instances);

}  // namespace orv
