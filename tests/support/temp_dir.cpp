#include "support/temp_dir.h"

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <cstdlib>
#include <fstream>
#include <sstream>
#include <system_error>

#include "core/paths.h"

namespace orv {

namespace {
std::atomic<unsigned> g_counter{0};
}

TempDir::TempDir() {
  const auto stamp = std::chrono::steady_clock::now().time_since_epoch().count();
  const std::string name = "orvtest-" + std::to_string(stamp) + "-" + std::to_string(g_counter++);
  path_ = std::filesystem::temp_directory_path() / name;
  std::filesystem::create_directories(path_);
}

TempDir::~TempDir() {
  std::error_code ignored;
  std::filesystem::remove_all(path_, ignored);
}

std::filesystem::path TempDir::operator/(std::string_view relative_utf8) const {
  return JoinRelative(path_, relative_utf8);
}

void WriteTestFile(const std::filesystem::path& path, std::string_view bytes) {
  std::filesystem::create_directories(path.parent_path());
  std::ofstream out(path, std::ios::binary | std::ios::trunc);
  out.write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
  ASSERT_TRUE(out.good()) << "could not write " << path;
}

std::string ReadTestFile(const std::filesystem::path& path) {
  std::ifstream in(path, std::ios::binary);
  std::ostringstream all;
  all << in.rdbuf();
  return all.str();
}

std::filesystem::path TestDataFolder() {
  const char* env = std::getenv("ORV_TESTDATA");
  return env ? PathFromUtf8(env) : std::filesystem::path();
}

}  // namespace orv
