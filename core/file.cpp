#include "core/file.h"

#include <utility>

namespace orv {

File& File::operator=(File&& other) noexcept {
  if (this != &other) {
    Close();
    handle_ = std::exchange(other.handle_, kInvalid);
  }
  return *this;
}

std::int64_t File::ReadFull(void* buffer, std::size_t size) {
  auto* out = static_cast<unsigned char*>(buffer);
  std::size_t done = 0;
  while (done < size) {
    const std::int64_t got = Read(out + done, size - done);
    if (got < 0) return -1;
    if (got == 0) break;
    done += static_cast<std::size_t>(got);
  }
  return static_cast<std::int64_t>(done);
}

}  // namespace orv
