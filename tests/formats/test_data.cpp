#include "test_data.h"

namespace orv {

namespace {

// xorshift32: tiny, deterministic on every platform.
struct Rng {
  std::uint32_t s;
  std::uint32_t Next() {
    s ^= s << 13;
    s ^= s >> 17;
    s ^= s << 5;
    return s;
  }
};

}  // namespace

std::vector<std::uint8_t> RandomBytes(std::size_t size, std::uint32_t seed) {
  Rng rng{seed | 1};
  std::vector<std::uint8_t> out(size);
  for (auto& b : out) b = static_cast<std::uint8_t>(rng.Next() >> 24);
  return out;
}

std::vector<std::uint8_t> TextBytes(std::size_t size, std::uint32_t seed) {
  static const char* const kWords[] = {"o",      "jogo",     "atualizar", "arquivo",  "bloco", "de",
                                       "para",   "que",      "launcher",  "Valdren",  "mundo", "espada",
                                       "dragao", "castelo",  "rio",       "montanha", "e",     "um",
                                       "uma",    "servidor", "canal",     "oficial",  "teste"};
  Rng rng{seed | 1};
  std::vector<std::uint8_t> out;
  out.reserve(size + 16);
  while (out.size() < size) {
    const char* word = kWords[rng.Next() % (sizeof(kWords) / sizeof(kWords[0]))];
    while (*word != 0) out.push_back(static_cast<std::uint8_t>(*word++));
    const std::uint32_t r = rng.Next() % 16;
    out.push_back(r == 0 ? '.' : r == 1 ? ',' : r == 2 ? '\n' : ' ');
  }
  out.resize(size);
  return out;
}

std::vector<std::uint8_t> BinaryBytes(std::size_t size, std::uint32_t seed) {
  Rng rng{seed | 1};
  std::vector<std::uint8_t> out;
  out.reserve(size + 64);
  std::uint32_t counter = seed;
  while (out.size() < size) {
    if (out.size() > 4096 && rng.Next() % 8 == 0) {
      // Repeat an earlier stretch, near or far.
      const std::size_t length = 16 + rng.Next() % 512;
      const std::size_t from = rng.Next() % (out.size() - length);
      for (std::size_t i = 0; i < length; ++i) out.push_back(out[from + i]);
      continue;
    }
    counter += 1 + rng.Next() % 4;
    const std::uint32_t fields[4] = {counter, counter * 3, rng.Next() % 1000, 0x3F800000u};
    for (std::uint32_t f : fields) {
      for (int i = 0; i < 4; ++i) out.push_back(static_cast<std::uint8_t>(f >> (8 * i)));
    }
  }
  out.resize(size);
  return out;
}

}  // namespace orv
