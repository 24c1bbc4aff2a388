// A scoped temporary folder for tests, removed with everything in it at the end of the scope.
#pragma once

#include <filesystem>
#include <string>
#include <string_view>

namespace orv {

class TempDir {
 public:
  TempDir();
  ~TempDir();
  TempDir(const TempDir&) = delete;
  TempDir& operator=(const TempDir&) = delete;

  [[nodiscard]] const std::filesystem::path& path() const { return path_; }
  // path() joined with a relative UTF-8 path in the platform's form.
  [[nodiscard]] std::filesystem::path operator/(std::string_view relative_utf8) const;

 private:
  std::filesystem::path path_;
};

// Writes a file (parents created); fails the test on error.
void WriteTestFile(const std::filesystem::path& path, std::string_view bytes);
[[nodiscard]] std::string ReadTestFile(const std::filesystem::path& path);
// The shared real-world test vectors (../shared/testdata), as the test program sees them.
[[nodiscard]] std::filesystem::path TestDataFolder();

}  // namespace orv
