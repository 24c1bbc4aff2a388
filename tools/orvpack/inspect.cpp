#include "tools/orvpack/inspect.h"

#include <array>
#include <cstdarg>
#include <cstdio>
#include <cstring>
#include <vector>

#include "core/file.h"
#include "core/file_util.h"
#include "core/log.h"
#include "core/paths.h"
#include "formats/codec/byte_order.h"
#include "formats/orvb.h"
#include "formats/orvz.h"

namespace orv {

namespace {

const char* AlgorithmName(std::uint32_t algorithm) {
  switch (algorithm) {
    case 2: return "MSZIP";
    case 3: return "XPRESS";
    case 4: return "XPRESS_HUFF";
    case 5: return "LZMS";
    default: return "desconhecido";
  }
}

std::string Format(const char* format, ...) ORV_PRINTF_LIKE(1, 2);
std::string Format(const char* format, ...) {
  char line[512];
  va_list args;
  va_start(args, format);
  std::vsnprintf(line, sizeof line, format, args);
  va_end(args);
  return line;
}

std::string Ratio(std::uint64_t packed, std::uint64_t raw) {
  return raw == 0 ? "-" : Format("%.1f%%", 100.0 * static_cast<double>(packed) / static_cast<double>(raw));
}

bool ReadMagic(File& file, std::array<char, 4>& magic) {
  return file.ReadFull(magic.data(), magic.size()) == 4 && file.Seek(0);
}

bool DescribeOrvz(File& file, std::int64_t file_size, std::string& text, std::string& error) {
  std::uint8_t header[kOrvzHeaderSize];
  if (file.ReadFull(header, sizeof header) != static_cast<std::int64_t>(sizeof header)) {
    error = "arquivo comprimido invalido";
    return false;
  }
  const std::uint32_t chunk = LoadLe32(header + 12);
  const std::uint64_t raw = LoadLe64(header + 16);
  const std::uint32_t algorithm = LoadLe32(header + 8);
  text += Format("ORVZ versao %u, algoritmo %u (%s)\n", LoadLe32(header + 4), algorithm, AlgorithmName(algorithm));
  text += Format("tamanho original %llu bytes, pedacos de %u bytes\n", static_cast<unsigned long long>(raw), chunk);
  std::uint64_t chunks = 0, packed = 0, largest = 0, position = kOrvzHeaderSize;
  for (std::uint64_t written = 0; chunk > 0 && written < raw; written += chunk) {
    std::uint8_t length_bytes[4];
    if (!file.Seek(position) || file.ReadFull(length_bytes, 4) != 4) {
      text += "  (truncado antes do pedaco " + std::to_string(chunks) + ")\n";
      break;
    }
    const std::uint32_t length = LoadLe32(length_bytes);
    ++chunks;
    packed += length;
    largest = std::max<std::uint64_t>(largest, length);
    position += 4 + static_cast<std::uint64_t>(length);
  }
  text += Format("%llu pedacos, %llu bytes comprimidos (%s do original), maior pedaco %llu bytes\n",
                 static_cast<unsigned long long>(chunks), static_cast<unsigned long long>(packed),
                 Ratio(packed, raw).c_str(), static_cast<unsigned long long>(largest));
  text += Format("arquivo com %lld bytes\n", static_cast<long long>(file_size));
  return true;
}

bool DescribeOrvb(File& file, std::int64_t file_size, std::string& text, std::string& error) {
  std::vector<std::uint8_t> head(kOrvbHeaderSize);
  if (file.ReadFull(head.data(), head.size()) != static_cast<std::int64_t>(head.size())) {
    error = "arquivo em blocos truncado";
    return false;
  }
  const std::uint64_t count = LoadLe32(head.data() + 24);
  if (static_cast<std::uint64_t>(file_size) < kOrvbHeaderSize + count * kOrvbEntrySize) {
    error = "tabela em blocos truncada";
    return false;
  }
  head.resize(kOrvbHeaderSize + count * kOrvbEntrySize);
  if (file.ReadFull(head.data() + kOrvbHeaderSize, count * kOrvbEntrySize) !=
      static_cast<std::int64_t>(count * kOrvbEntrySize)) {
    error = "tabela em blocos truncada";
    return false;
  }
  OrvbTable table;
  if (!ReadOrvbTable(head, table, error)) return false;
  std::uint64_t stored = 0, raw_blocks = 0;
  for (const OrvbBlock& block : table.blocks) {
    stored += block.stored_length;
    raw_blocks += block.stored_flag != 0 ? 1 : 0;
  }
  text += Format("ORVB versao 1, algoritmo %u (%s)\n", table.algorithm, AlgorithmName(table.algorithm));
  text += Format("tamanho original %llu bytes, blocos de %u bytes\n", static_cast<unsigned long long>(table.raw_size),
                 table.block_size);
  text += Format("%zu blocos (%llu guardados sem compressao), %llu bytes guardados (%s do original)\n",
                 table.blocks.size(), static_cast<unsigned long long>(raw_blocks),
                 static_cast<unsigned long long>(stored), Ratio(stored, table.raw_size).c_str());
  text += Format("arquivo com %lld bytes\n", static_cast<long long>(file_size));
  return true;
}

}  // namespace

bool DescribePackedFile(const std::filesystem::path& path, std::string& text, std::string& error) {
  File file(path, File::Access::kRead);
  std::array<char, 4> magic{};
  if (!file.IsOpen() || !ReadMagic(file, magic)) {
    error = "nao abriu o arquivo";
    return false;
  }
  if (std::memcmp(magic.data(), "ORVZ", 4) == 0) return DescribeOrvz(file, file.Size(), text, error);
  if (std::memcmp(magic.data(), "ORVB", 4) == 0) return DescribeOrvb(file, file.Size(), text, error);
  error = "nao e um arquivo ORVZ nem ORVB";
  return false;
}

bool UnpackFile(const std::filesystem::path& path, const std::filesystem::path& output, std::string& error) {
  std::array<char, 4> magic{};
  {
    File file(path, File::Access::kRead);
    if (!file.IsOpen() || !ReadMagic(file, magic)) {
      error = "nao abriu o arquivo";
      return false;
    }
  }
  const bool orvz = std::memcmp(magic.data(), "ORVZ", 4) == 0;
  if (!orvz && std::memcmp(magic.data(), "ORVB", 4) != 0) {
    error = "nao e um arquivo ORVZ nem ORVB";
    return false;
  }
  // Decoded beside the output first: a broken input leaves neither half a file nor a clobbered one.
  const std::filesystem::path temporary = WithSuffix(output, ".orvpack-tmp");
  bool ok = orvz ? DecompressOrvzFile(path, temporary, std::nullopt, nullptr, error)
                 : DecompressOrvbFile(path, temporary, std::nullopt, nullptr, error);
  if (ok && !MoveFileReplacing(temporary, output, /*write_through=*/false)) {
    error = "nao gravou " + PathToUtf8(output);
    ok = false;
  }
  if (!ok) DeleteFileAt(temporary);
  return ok;
}

}  // namespace orv
