#include "core/game_folder.h"

#include <string>

#include "core/file_util.h"
#include "core/paths.h"

namespace orv {

std::filesystem::path GameFolderFromText(std::string_view content) {
  while (!content.empty() && (content.back() == '\r' || content.back() == '\n' || content.back() == ' ')) {
    content.remove_suffix(1);
  }
  while (!content.empty() && content.front() == ' ') content.remove_prefix(1);
  if (content.empty()) return {};
  std::filesystem::path folder = PathFromUtf8(content);
  return IsAcceptedGameFolder(folder) ? folder : std::filesystem::path();
}

std::filesystem::path LoadGameFolder() {
  std::string content;
  if (ReadWholeFile(GetDataFolder() / "pastajogo.txt", content)) {
    std::filesystem::path folder = GameFolderFromText(content);
    if (!folder.empty()) return folder;
  }
  return GetDefaultGameFolder();
}

void SaveGameFolder(const std::filesystem::path& folder) {
  (void)WriteWholeFile(GetDataFolder() / "pastajogo.txt", PathToUtf8(folder));
}

std::filesystem::path ChannelFolder(const std::filesystem::path& game_folder, std::size_t index,
                                    std::string_view name_utf8) {
  if (index == 0) return game_folder;
  return WithSuffix(game_folder, " (" + std::string(name_utf8) + ")");
}

}  // namespace orv
