// Feeds arbitrary bytes to the ORVB table reader as the block-delta transfer gets them, then
// decodes every block whose stored bytes lie inside the input, as the transfer does with ranges.
// Blocks over 1 MiB are skipped to keep runs fast; their decoding is the same code.
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <span>
#include <string>
#include <vector>

#include "formats/orvb.h"

using namespace orv;

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::span<const std::uint8_t> bytes(data, size);
  OrvbTable table;
  std::string error;
  if (!ReadOrvbTable(bytes, table, error)) {
    if (error.empty()) std::abort();
    return 0;
  }
  if (table.blocks.size() != (table.raw_size + table.block_size - 1) / table.block_size) std::abort();
  std::vector<std::uint8_t> out;
  for (std::size_t i = 0; i < table.blocks.size() && i < 64; ++i) {
    const OrvbBlock& block = table.blocks[i];
    if (OrvbBlockRawLength(table, i) > (1u << 20)) continue;
    if (block.offset > size || size - block.offset < block.stored_length) continue;
    const bool ok = DecodeOrvbBlock(table, i, bytes.subspan(block.offset, block.stored_length), out, error);
    if (ok && out.size() != OrvbBlockRawLength(table, i)) std::abort();
  }
  return 0;
}
