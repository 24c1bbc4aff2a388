#include "core/game_folder.h"

namespace orv {

bool IsAcceptedGameFolder(const std::filesystem::path& path) {
  // Only absolute POSIX paths: a drive letter or UNC path carried over from Windows names nothing here.
  const std::string& text = path.native();
  return text.size() >= 3 && text[0] == '/';
}

}  // namespace orv
