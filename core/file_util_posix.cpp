#include "core/file_util.h"

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>

namespace orv {

bool EnsureParentFolder(const fs::path& path) {
  const std::string& text = path.native();
  const size_t cut = text.find_last_of("\\/");
  if (cut == std::string::npos || cut == 0) return true;
  const std::string parent = text.substr(0, cut);
  // mkdir -p, one level at a time; a level that already exists is fine.
  for (size_t pos = 1; pos <= parent.size(); ++pos) {
    if (pos == parent.size() || parent[pos] == '/') {
      const std::string level = parent.substr(0, pos);
      if (::mkdir(level.c_str(), 0755) != 0 && errno != EEXIST) break;
    }
  }
  struct stat st;
  return ::stat(parent.c_str(), &st) == 0 && S_ISDIR(st.st_mode);
}

std::int64_t FileSizeOf(const fs::path& path) {
  struct stat st;
  if (::stat(path.c_str(), &st) != 0 || S_ISDIR(st.st_mode)) return -1;
  return st.st_size;
}

namespace {
// The Windows FILETIME scale, so hashes.json means the same on both platforms.
std::uint64_t FileTimeOf(const struct stat& st) {
  constexpr std::uint64_t kSecondsFrom1601To1970 = 11644473600ULL;
  return (static_cast<std::uint64_t>(st.st_mtim.tv_sec) + kSecondsFrom1601To1970) * 10000000ULL +
         static_cast<std::uint64_t>(st.st_mtim.tv_nsec) / 100;
}
}  // namespace

std::uint64_t FileWriteTime(const fs::path& path) {
  struct stat st;
  if (::stat(path.c_str(), &st) != 0) return 0;
  return FileTimeOf(st);
}

bool FileSizeAndTime(const fs::path& path, std::int64_t& size, std::uint64_t& time) {
  struct stat st;
  if (::stat(path.c_str(), &st) != 0 || S_ISDIR(st.st_mode)) return false;
  size = st.st_size;
  time = FileTimeOf(st);
  return true;
}

bool PathExists(const fs::path& path) {
  struct stat st;
  return ::stat(path.c_str(), &st) == 0;
}

bool MoveFileReplacing(const fs::path& from, const fs::path& to, bool write_through) {
  if (::rename(from.c_str(), to.c_str()) != 0) return false;
  if (write_through) {
    // Make the rename itself durable: sync the folder that now holds the name.
    const std::string& text = to.native();
    const size_t cut = text.rfind('/');
    const std::string parent = cut == std::string::npos ? "." : (cut == 0 ? "/" : text.substr(0, cut));
    const int fd = ::open(parent.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (fd >= 0) {
      ::fsync(fd);
      ::close(fd);
    }
  }
  return true;
}

bool DeleteFileAt(const fs::path& path) { return ::unlink(path.c_str()) == 0; }

bool CreateFolder(const fs::path& path) {
  ::mkdir(path.c_str(), 0755);
  struct stat st;
  return ::stat(path.c_str(), &st) == 0 && S_ISDIR(st.st_mode);
}

bool RemoveEmptyFolder(const fs::path& path) { return ::rmdir(path.c_str()) == 0; }

std::vector<fs::path> ListSubfolders(const fs::path& folder) {
  std::vector<fs::path> names;
  DIR* dir = ::opendir(folder.c_str());
  if (!dir) return names;
  while (const dirent* entry = ::readdir(dir)) {
    const std::string name = entry->d_name;
    if (name == "." || name == "..") continue;
    struct stat st;
    const std::string full = folder.native() + "/" + name;
    if (::lstat(full.c_str(), &st) == 0 && S_ISDIR(st.st_mode)) names.emplace_back(name);
  }
  ::closedir(dir);
  return names;
}

}  // namespace orv
