// Hand-built ORVZ and ORVB files for the reader tests: every field settable, so each check can be
// hit on its own.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "formats/codec/buffer_encode.h"
#include "formats/codec/byte_order.h"

namespace orv {

inline void PutLe32(std::string& s, std::uint32_t v) {
  std::uint8_t b[4];
  StoreLe32(b, v);
  s.append(reinterpret_cast<const char*>(b), 4);
}
inline void PutLe64(std::string& s, std::uint64_t v) {
  std::uint8_t b[8];
  StoreLe64(b, v);
  s.append(reinterpret_cast<const char*>(b), 8);
}

// A Compression API buffer-mode container of `raw`, as the publisher writes it.
inline std::string Container(std::uint32_t algorithm, const std::string& raw) {
  std::vector<std::uint8_t> out;
  if (!EncodeBufferMode(algorithm, raw.data(), raw.size(), out, EncodeOptions{})) return {};
  return std::string(out.begin(), out.end());
}

inline std::string OrvzHeader(std::uint32_t algorithm, std::uint32_t chunk_size, std::uint64_t raw_size,
                              std::uint32_t version = 1, const char* magic = "ORVZ") {
  std::string s(magic, 4);
  PutLe32(s, version);
  PutLe32(s, algorithm);
  PutLe32(s, chunk_size);
  PutLe64(s, raw_size);
  return s;
}

inline std::string OrvzChunk(const std::string& packed) {
  std::string s;
  PutLe32(s, static_cast<std::uint32_t>(packed.size()));
  return s + packed;
}

struct OrvbEntry {
  std::uint64_t offset;
  std::uint32_t stored_length;
  std::uint32_t stored_flag;
};

inline std::string OrvbHead(std::uint32_t algorithm, std::uint32_t block_size, std::uint64_t raw_size,
                            std::uint32_t count, const std::vector<OrvbEntry>& entries, std::uint32_t version = 1,
                            const char* magic = "ORVB") {
  std::string s(magic, 4);
  PutLe32(s, version);
  PutLe32(s, algorithm);
  PutLe32(s, block_size);
  PutLe64(s, raw_size);
  PutLe32(s, count);
  for (const OrvbEntry& e : entries) {
    PutLe64(s, e.offset);
    PutLe32(s, e.stored_length);
    PutLe32(s, e.stored_flag);
  }
  return s;
}

// A whole ORVB file: the blocks' stored bytes follow the table in order.
inline std::string OrvbFile(std::uint32_t algorithm, std::uint32_t block_size, std::uint64_t raw_size,
                            const std::vector<std::string>& stored, const std::vector<std::uint32_t>& flags) {
  const auto count = static_cast<std::uint32_t>(stored.size());
  std::vector<OrvbEntry> entries(stored.size(), OrvbEntry{0, 0, 0});
  // The first block starts where the head as written ends.
  std::uint64_t offset = OrvbHead(algorithm, block_size, raw_size, count, entries).size();
  for (std::size_t i = 0; i < stored.size(); ++i) {
    entries[i] = {offset, static_cast<std::uint32_t>(stored[i].size()), flags[i]};
    offset += stored[i].size();
  }
  std::string s = OrvbHead(algorithm, block_size, raw_size, count, entries);
  for (const std::string& b : stored) s += b;
  return s;
}

}  // namespace orv
