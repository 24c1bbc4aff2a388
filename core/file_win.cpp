#include "core/file.h"

#include <windows.h>

namespace orv {

namespace {
HANDLE H(std::intptr_t h) { return reinterpret_cast<HANDLE>(h); }
}  // namespace

bool File::Open(const std::filesystem::path& path, Access access) {
  Close();
  DWORD desired = GENERIC_READ, share = FILE_SHARE_READ, disposition = OPEN_EXISTING, flags = 0;
  switch (access) {
    case Access::kReadSequential: flags = FILE_FLAG_SEQUENTIAL_SCAN; break;
    case Access::kRead: break;
    case Access::kCreate:
      desired = GENERIC_WRITE, share = 0, disposition = CREATE_ALWAYS, flags = FILE_FLAG_SEQUENTIAL_SCAN;
      break;
    case Access::kOpenOrCreate: desired = GENERIC_WRITE, share = 0, disposition = OPEN_ALWAYS; break;
    case Access::kWriteExisting: desired = GENERIC_WRITE, share = 0, disposition = OPEN_EXISTING; break;
  }
  HANDLE h = CreateFileW(path.c_str(), desired, share, nullptr, disposition, flags, nullptr);
  if (h == INVALID_HANDLE_VALUE) return false;
  handle_ = reinterpret_cast<std::intptr_t>(h);
  return true;
}

void File::Close() {
  if (handle_ != kInvalid) CloseHandle(H(handle_));
  handle_ = kInvalid;
}

std::int64_t File::Read(void* buffer, std::size_t size) {
  DWORD got = 0;
  const DWORD ask = size > 0x40000000u ? 0x40000000u : static_cast<DWORD>(size);
  if (!ReadFile(H(handle_), buffer, ask, &got, nullptr)) return -1;
  return got;
}

bool File::Write(const void* data, std::size_t size) {
  const auto* in = static_cast<const unsigned char*>(data);
  while (size > 0) {
    const DWORD ask = size > 0x40000000u ? 0x40000000u : static_cast<DWORD>(size);
    DWORD put = 0;
    if (!WriteFile(H(handle_), in, ask, &put, nullptr) || put != ask) return false;
    in += put;
    size -= put;
  }
  return true;
}

bool File::Seek(std::uint64_t offset) {
  LARGE_INTEGER distance;
  distance.QuadPart = static_cast<LONGLONG>(offset);
  return SetFilePointerEx(H(handle_), distance, nullptr, FILE_BEGIN) != 0;
}

bool File::SeekToEnd() {
  LARGE_INTEGER zero{};
  return SetFilePointerEx(H(handle_), zero, nullptr, FILE_END) != 0;
}

std::int64_t File::Size() const {
  LARGE_INTEGER size;
  if (!GetFileSizeEx(H(handle_), &size)) return -1;
  return size.QuadPart;
}

bool File::Flush() { return FlushFileBuffers(H(handle_)) != 0; }

}  // namespace orv
