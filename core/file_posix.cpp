#include "core/file.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>

namespace orv {

bool File::Open(const std::filesystem::path& path, Access access) {
  Close();
  int flags = O_CLOEXEC;
  switch (access) {
    case Access::kReadSequential:
    case Access::kRead: flags |= O_RDONLY; break;
    case Access::kCreate: flags |= O_WRONLY | O_CREAT | O_TRUNC; break;
    case Access::kOpenOrCreate: flags |= O_WRONLY | O_CREAT; break;
    case Access::kWriteExisting: flags |= O_WRONLY; break;
  }
  const int fd = ::open(path.c_str(), flags, 0644);
  if (fd < 0) return false;
  struct stat st;
  if (fstat(fd, &st) != 0 || S_ISDIR(st.st_mode)) {
    ::close(fd);
    return false;
  }
  if (access == Access::kReadSequential) posix_fadvise(fd, 0, 0, POSIX_FADV_SEQUENTIAL);
  handle_ = fd;
  return true;
}

void File::Close() {
  if (handle_ != kInvalid) ::close(static_cast<int>(handle_));
  handle_ = kInvalid;
}

std::int64_t File::Read(void* buffer, std::size_t size) {
  for (;;) {
    const ssize_t got = ::read(static_cast<int>(handle_), buffer, size);
    if (got >= 0) return got;
    if (errno != EINTR) return -1;
  }
}

bool File::Write(const void* data, std::size_t size) {
  const auto* in = static_cast<const unsigned char*>(data);
  while (size > 0) {
    const ssize_t put = ::write(static_cast<int>(handle_), in, size);
    if (put < 0 && errno == EINTR) continue;
    if (put <= 0) return false;
    in += put;
    size -= static_cast<std::size_t>(put);
  }
  return true;
}

bool File::Seek(std::uint64_t offset) {
  return ::lseek(static_cast<int>(handle_), static_cast<off_t>(offset), SEEK_SET) >= 0;
}

bool File::SeekToEnd() { return ::lseek(static_cast<int>(handle_), 0, SEEK_END) >= 0; }

std::int64_t File::Size() const {
  struct stat st;
  if (fstat(static_cast<int>(handle_), &st) != 0) return -1;
  return st.st_size;
}

bool File::Flush() { return ::fsync(static_cast<int>(handle_)) == 0; }

}  // namespace orv
