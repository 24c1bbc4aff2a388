// The channel list and links of launcher.json (beside the executable, read-only to the launcher).
#pragma once

#include <cstdint>
#include <filesystem>
#include <string>
#include <vector>

namespace orv {

struct Channel {
  std::string id;
  std::string nome;             // display name; also names the folder of every channel after the first
  std::string manifesto;        // manifest URL
  std::filesystem::path pasta;  // computed by ChannelFolder, never read from the file
};

struct LauncherConfig {
  std::vector<Channel> canais;  // never empty after loading
  std::string discord;
  std::string site;
  std::int64_t canal = 0;  // the current channel's index
};

// The configuration used when launcher.json is missing or is not JSON.
extern const char kDefaultLauncherConfig[];
// The official channel's manifest, used when the file lists no channel.
extern const char kOfficialManifestUrl[];

// Reads launcher.json beside the executable (or the default text) and computes every channel's
// folder from the game folder. Never fails.
[[nodiscard]] LauncherConfig LoadLauncherConfig();
// The same from a given text (launcher.json's content) and game folder.
[[nodiscard]] LauncherConfig LauncherConfigFromText(const std::string& text, const std::filesystem::path& game_folder);

}  // namespace orv
