// Hash-chain match finder over one buffer, for the XPRESS_HUFF encoder: 3-byte hashes, chains
// through a 64 KiB ring (the format's farthest distance is 65,535), bounded chain walks.
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

namespace orv {

struct LzMatch {
  std::uint32_t length = 0;  // 0 when none of at least 3 bytes was found
  std::uint32_t distance = 0;
};

class LzMatchFinder {
 public:
  static constexpr std::uint32_t kMaxDistance = 65535;
  static constexpr std::uint32_t kMinLength = 3;

  // `data` must outlive the finder; sizes up to 4 GiB - 1.
  LzMatchFinder(const std::uint8_t* data, std::size_t size, unsigned max_chain, unsigned nice_length);

  // The longest earlier match for `pos`, at most `max_length` long (stops early at nice_length).
  // Call before Insert(pos).
  [[nodiscard]] LzMatch Find(std::size_t pos, std::size_t max_length) const;
  void Insert(std::size_t pos);

 private:
  static constexpr unsigned kHashBits = 16;
  static constexpr std::uint32_t kNone = 0xFFFFFFFFu;
  [[nodiscard]] std::uint32_t Hash(std::size_t pos) const;

  const std::uint8_t* data_;
  std::size_t size_;
  unsigned max_chain_;
  unsigned nice_length_;
  std::vector<std::uint32_t> head_;
  std::vector<std::uint32_t> prev_;  // indexed by position modulo 64 KiB
};

}  // namespace orv
