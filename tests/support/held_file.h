// A file held open the way a running game holds its files on Windows: for reading, shared for
// reading only, so no other process may write, delete, rename or replace it until it is released.
// POSIX has no such sharing modes (a rename over an open file always succeeds): there Hold fails
// and SharingIsEnforced says why a test must be skipped.
#pragma once

#include <cstdint>
#include <filesystem>

namespace orv {

class HeldFile {
 public:
  HeldFile() = default;
  ~HeldFile() { Release(); }
  HeldFile(const HeldFile&) = delete;
  HeldFile& operator=(const HeldFile&) = delete;

  // True on platforms whose open files block a replacement.
  [[nodiscard]] static bool SharingIsEnforced();
  [[nodiscard]] bool Hold(const std::filesystem::path& path);
  void Release();

 private:
  std::intptr_t handle_ = -1;
};

}  // namespace orv
