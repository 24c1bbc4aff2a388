#include "core/game_folder.h"

namespace orv {

bool IsAcceptedGameFolder(const std::filesystem::path& path) {
  const std::wstring& text = path.native();
  if (text.size() < 3) return false;
  return text[1] == L':' || (text[0] == L'\\' && text[1] == L'\\');
}

}  // namespace orv
