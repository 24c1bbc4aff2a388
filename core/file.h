// RAII file handle over CreateFileW/ReadFile/WriteFile on Windows and open/read/write on POSIX.
// Streaming readers and writers (downloads, decoders, hashing) use it; whole-file helpers live in
// file_util.h.
#pragma once

#include <cstddef>
#include <cstdint>
#include <filesystem>

namespace orv {

class File {
 public:
  enum class Access {
    kReadSequential,  // read, shared for reading, must exist, sequential-scan hint
    kRead,            // read, shared for reading, must exist (random access)
    kCreate,          // write, no sharing, created anew (truncating), sequential-scan hint
    kOpenOrCreate,    // write, no sharing, opened or created, position at 0
    kWriteExisting,   // write, no sharing, must exist, position at 0
  };

  File() = default;
  File(const std::filesystem::path& path, Access access) { Open(path, access); }
  ~File() { Close(); }
  File(const File&) = delete;
  File& operator=(const File&) = delete;
  File(File&& other) noexcept : handle_(other.handle_) { other.handle_ = kInvalid; }
  File& operator=(File&& other) noexcept;

  bool Open(const std::filesystem::path& path, Access access);
  void Close();
  [[nodiscard]] bool IsOpen() const { return handle_ != kInvalid; }

  // Up to `size` bytes at the current position: the count read, 0 at the end, -1 on error.
  [[nodiscard]] std::int64_t Read(void* buffer, std::size_t size);
  // Fills `buffer` unless the file ends or fails first; returns the count read (-1 on error).
  [[nodiscard]] std::int64_t ReadFull(void* buffer, std::size_t size);
  // Writes every byte; false on error or a short write.
  [[nodiscard]] bool Write(const void* data, std::size_t size);
  [[nodiscard]] bool Seek(std::uint64_t offset);
  [[nodiscard]] bool SeekToEnd();
  // -1 when unknown.
  [[nodiscard]] std::int64_t Size() const;
  bool Flush();

 private:
  // INVALID_HANDLE_VALUE and an invalid descriptor are both -1.
  static constexpr std::intptr_t kInvalid = -1;
  std::intptr_t handle_ = kInvalid;
};

}  // namespace orv
