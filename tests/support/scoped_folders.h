// Points the launcher's module folder and known folders at a temporary tree for one test, so no
// test reads or writes the real user folders.
#pragma once

#include "core/paths.h"
#include "support/temp_dir.h"

namespace orv {

class ScopedFolders {
 public:
  ScopedFolders() {
    overrides_.module_folder = root_ / "programa";
    overrides_.local_app_data = root_ / "AppData";
    overrides_.user_programs = root_ / "Programas";
    std::filesystem::create_directories(overrides_.module_folder);
    std::filesystem::create_directories(overrides_.local_app_data);
    SetFolderOverridesForTesting(&overrides_);
  }
  ~ScopedFolders() { SetFolderOverridesForTesting(nullptr); }
  ScopedFolders(const ScopedFolders&) = delete;
  ScopedFolders& operator=(const ScopedFolders&) = delete;

  [[nodiscard]] const TempDir& root() const { return root_; }
  [[nodiscard]] FolderOverrides& overrides() { return overrides_; }

 private:
  TempDir root_;
  FolderOverrides overrides_;
};

}  // namespace orv
