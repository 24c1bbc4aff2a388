// Inputs and timing shared by the codec benchmarks: generated text and binary records (the tests'
// generators) and real machine code (the programs in /usr/bin), cut to a fixed size.
#pragma once

#include <chrono>
#include <cstdint>
#include <string>
#include <vector>

namespace orv {

struct Corpus {
  std::string name;
  std::vector<std::uint8_t> data;
};

std::vector<Corpus> BenchCorpora(std::size_t size_each);

// Best of `rounds` timings of `work`, in seconds.
template <typename Work>
double BestSeconds(int rounds, Work&& work) {
  double best = 1e30;
  for (int r = 0; r < rounds; ++r) {
    const auto start = std::chrono::steady_clock::now();
    work();
    const double s = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
    if (s < best) best = s;
  }
  return best;
}

}  // namespace orv
