#include "formats/codec/buffer_container.h"

#include <zlib.h>

#include "formats/codec/byte_order.h"

namespace orv {

namespace {

constexpr std::uint8_t kMagic[4] = {0x0A, 0x51, 0xE5, 0xC0};

// The CRC byte covers every header byte but itself.
std::uint8_t HeaderCheckByte(const std::uint8_t* header) {
  uLong crc = crc32(0L, header, 6);
  crc = crc32(crc, header + 7, static_cast<uInt>(kContainerHeaderSize - 7));
  return static_cast<std::uint8_t>(crc & 0xFF);
}

}  // namespace

bool ParseContainerHeader(const std::uint8_t* in, std::size_t size, ContainerHeader& header) {
  if (size < kContainerHeaderSize) return false;
  for (int i = 0; i < 4; ++i) {
    if (in[i] != kMagic[i]) return false;
  }
  if (LoadLe16(in + 4) != kContainerHeaderSize) return false;
  if (in[6] != HeaderCheckByte(in)) return false;
  header.algorithm = in[7];
  header.total_size = LoadLe64(in + 8);
  header.block_size = LoadLe64(in + 16);
  return header.total_size == 0 || header.block_size != 0;
}

void WriteContainerHeader(std::uint8_t* out, const ContainerHeader& header) {
  for (int i = 0; i < 4; ++i) out[i] = kMagic[i];
  StoreLe16(out + 4, static_cast<std::uint16_t>(kContainerHeaderSize));
  out[7] = static_cast<std::uint8_t>(header.algorithm);
  StoreLe64(out + 8, header.total_size);
  StoreLe64(out + 16, header.block_size);
  out[6] = HeaderCheckByte(out);
}

}  // namespace orv
