#include <windows.h>

#include "support/held_file.h"

namespace orv {

bool HeldFile::SharingIsEnforced() { return true; }

bool HeldFile::Hold(const std::filesystem::path& path) {
  Release();
  // No FILE_SHARE_WRITE and no FILE_SHARE_DELETE: a rename over it fails with a sharing violation.
  const HANDLE file =
      CreateFileW(path.c_str(), GENERIC_READ, FILE_SHARE_READ, nullptr, OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr);
  if (file == INVALID_HANDLE_VALUE) return false;
  handle_ = reinterpret_cast<std::intptr_t>(file);
  return true;
}

void HeldFile::Release() {
  if (handle_ == -1) return;
  CloseHandle(reinterpret_cast<HANDLE>(handle_));
  handle_ = -1;
}

}  // namespace orv
