#include "core/paths.h"

#include <atomic>

namespace orv {

namespace {
std::atomic<const FolderOverrides*> g_overrides{nullptr};
}

void SetFolderOverridesForTesting(const FolderOverrides* overrides) { g_overrides.store(overrides); }
const FolderOverrides* GetFolderOverrides() { return g_overrides.load(); }

fs::path WithSuffix(const fs::path& path, std::string_view suffix_utf8) {
  fs::path::string_type text = path.native();
  text += PathFromUtf8(suffix_utf8).native();
  return fs::path(std::move(text));
}

bool IsSafeRelativePath(std::string_view relative_utf8) {
  if (relative_utf8.empty()) return false;
  if (relative_utf8.front() == '/' || relative_utf8.front() == '\\') return false;
  return relative_utf8.find("..") == std::string_view::npos && relative_utf8.find(':') == std::string_view::npos;
}

}  // namespace orv
