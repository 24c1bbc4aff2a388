// A grow-only byte buffer whose allocation failure is a result, not an exception: decoders size it
// from lengths read out of untrusted files.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <memory>
#include <new>

namespace orv {

class ByteBuffer {
 public:
  ByteBuffer() = default;
  ByteBuffer(const ByteBuffer&) = delete;
  ByteBuffer& operator=(const ByteBuffer&) = delete;

  // Makes room for at least `size` bytes (content not kept). New room is zero-filled.
  [[nodiscard]] bool Reserve(std::size_t size) {
    if (size <= capacity_) return true;
    std::unique_ptr<std::uint8_t[]> bigger(new (std::nothrow) std::uint8_t[size]());
    if (!bigger) return false;
    data_ = std::move(bigger);
    capacity_ = size;
    return true;
  }
  [[nodiscard]] std::uint8_t* data() { return data_.get(); }
  [[nodiscard]] std::size_t capacity() const { return capacity_; }

 private:
  std::unique_ptr<std::uint8_t[]> data_;
  std::size_t capacity_ = 0;
};

}  // namespace orv
