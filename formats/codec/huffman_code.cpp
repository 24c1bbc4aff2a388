#include "formats/codec/huffman_code.h"

#include <algorithm>
#include <cstring>

namespace orv {

namespace {
constexpr unsigned kMaxSymbols = 512;
constexpr unsigned kMaxLength = 16;
}  // namespace

void BuildLimitedCodeLengths(const std::uint32_t* frequencies, unsigned count, unsigned max_length,
                             std::uint8_t* lengths) {
  std::memset(lengths, 0, count);
  std::uint16_t symbols[kMaxSymbols];
  unsigned used = 0;
  for (unsigned s = 0; s < count; ++s) {
    if (frequencies[s] != 0) symbols[used++] = static_cast<std::uint16_t>(s);
  }
  // A decoder needs a complete code even when the block uses fewer than two symbols.
  if (used == 0) {
    lengths[0] = lengths[1] = 1;
    return;
  }
  if (used == 1) {
    lengths[symbols[0]] = 1;
    lengths[symbols[0] == 0 ? 1 : symbols[0] - 1] = 1;
    return;
  }
  std::sort(symbols, symbols + used, [&](std::uint16_t a, std::uint16_t b) {
    return frequencies[a] != frequencies[b] ? frequencies[a] < frequencies[b] : a < b;
  });

  // Two-queue construction: leaves in ascending weight, internal nodes are made in ascending weight
  // too, so the two lightest are always at the queues' fronts. Nodes 0..used-1 are the leaves.
  std::uint64_t weight[2 * kMaxSymbols];
  std::uint16_t parent[2 * kMaxSymbols];
  for (unsigned i = 0; i < used; ++i) weight[i] = frequencies[symbols[i]];
  unsigned next_leaf = 0, next_inner = used, made = used;
  auto take_lightest = [&]() -> unsigned {
    if (next_leaf < used && (next_inner >= made || weight[next_leaf] <= weight[next_inner])) return next_leaf++;
    return next_inner++;
  };
  for (unsigned k = 0; k + 1 < used; ++k) {
    const unsigned a = take_lightest();
    const unsigned b = take_lightest();
    weight[made] = weight[a] + weight[b];
    parent[a] = parent[b] = static_cast<std::uint16_t>(made);
    ++made;
  }
  // Parents come after their children, so one backward pass gives every depth (up to used - 1).
  std::uint16_t depth[2 * kMaxSymbols];
  depth[made - 1] = 0;
  for (unsigned node = made - 1; node-- > 0;) depth[node] = static_cast<std::uint16_t>(depth[parent[node]] + 1);

  unsigned length_count[kMaxSymbols + 1] = {};
  unsigned deepest = 0;
  for (unsigned i = 0; i < used; ++i) {
    ++length_count[depth[i]];
    if (depth[i] > deepest) deepest = depth[i];
  }
  // Too deep leaves come up in sibling pairs: one of the pair takes its parent's place, the other
  // hangs under a shallower leaf, which moves one level down. The tree stays full, so the code stays
  // complete.
  for (unsigned len = deepest; len > max_length; --len) {
    while (length_count[len] > 0) {
      unsigned shallower = len - 2;
      while (length_count[shallower] == 0) --shallower;
      length_count[len] -= 2;
      length_count[len - 1] += 1;
      length_count[shallower + 1] += 2;
      length_count[shallower] -= 1;
    }
  }
  // The rarest symbols take the longest codes.
  unsigned i = 0;
  for (unsigned len = max_length; len >= 1; --len) {
    for (unsigned n = 0; n < length_count[len]; ++n) lengths[symbols[i++]] = static_cast<std::uint8_t>(len);
  }
}

void AssignCanonicalCodes(const std::uint8_t* lengths, unsigned count, std::uint16_t* codes) {
  unsigned length_count[kMaxLength + 1] = {};
  for (unsigned s = 0; s < count; ++s) ++length_count[lengths[s]];
  length_count[0] = 0;
  unsigned next[kMaxLength + 1] = {};
  unsigned code = 0;
  for (unsigned len = 1; len <= kMaxLength; ++len) {
    code = (code + length_count[len - 1]) << 1;
    next[len] = code;
  }
  for (unsigned s = 0; s < count; ++s) {
    codes[s] = lengths[s] != 0 ? static_cast<std::uint16_t>(next[lengths[s]]++) : 0;
  }
}

}  // namespace orv
