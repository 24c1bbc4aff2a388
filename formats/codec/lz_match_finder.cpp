#include "formats/codec/lz_match_finder.h"

#include <cstring>

namespace orv {

namespace {

// Length of the common prefix of a and b, at most `limit`.
std::size_t CommonLength(const std::uint8_t* a, const std::uint8_t* b, std::size_t limit) {
  std::size_t n = 0;
  while (n + 8 <= limit) {
    std::uint64_t x, y;
    std::memcpy(&x, a + n, 8);
    std::memcpy(&y, b + n, 8);
    if (x != y) return n + static_cast<std::size_t>(__builtin_ctzll(x ^ y) >> 3);
    n += 8;
  }
  while (n < limit && a[n] == b[n]) ++n;
  return n;
}

}  // namespace

LzMatchFinder::LzMatchFinder(const std::uint8_t* data, std::size_t size, unsigned max_chain, unsigned nice_length)
    : data_(data),
      size_(size),
      max_chain_(max_chain == 0 ? 1 : max_chain),
      nice_length_(nice_length < kMinLength ? kMinLength : nice_length),
      head_(std::size_t{1} << kHashBits, kNone),
      prev_(std::size_t{kMaxDistance} + 1, kNone) {}

std::uint32_t LzMatchFinder::Hash(std::size_t pos) const {
  const std::uint32_t v = data_[pos] | (std::uint32_t{data_[pos + 1]} << 8) | (std::uint32_t{data_[pos + 2]} << 16);
  return (v * 0x9E3779B1u) >> (32 - kHashBits);
}

void LzMatchFinder::Insert(std::size_t pos) {
  if (pos + kMinLength > size_) return;
  const std::uint32_t h = Hash(pos);
  prev_[pos & kMaxDistance] = head_[h];
  head_[h] = static_cast<std::uint32_t>(pos);
}

LzMatch LzMatchFinder::Find(std::size_t pos, std::size_t max_length) const {
  LzMatch best;
  if (max_length < kMinLength || pos + kMinLength > size_) return best;
  std::size_t best_length = kMinLength - 1;
  std::uint32_t candidate = head_[Hash(pos)];
  const std::uint8_t* here = data_ + pos;
  for (unsigned chain = max_chain_; chain > 0 && candidate != kNone; --chain) {
    if (pos - candidate > kMaxDistance) break;
    const std::uint8_t* there = data_ + candidate;
    // Only a candidate that beats the best so far at its last byte is worth a full comparison.
    if (there[best_length] == here[best_length] && there[0] == here[0]) {
      const std::size_t length = CommonLength(here, there, max_length);
      if (length > best_length) {
        best_length = length;
        best.length = static_cast<std::uint32_t>(length);
        best.distance = static_cast<std::uint32_t>(pos - candidate);
        if (length >= nice_length_ || length == max_length) break;
      }
    }
    const std::uint32_t next = prev_[candidate & kMaxDistance];
    // A ring slot reused by a later position ends the chain.
    if (next == kNone || next >= candidate) break;
    candidate = next;
  }
  return best;
}

}  // namespace orv
