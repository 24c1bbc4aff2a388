#include "bench_corpus.h"

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <iterator>

#include "tests/formats/test_data.h"

namespace orv {

namespace {

std::vector<std::uint8_t> MachineCode(std::size_t size) {
  std::vector<std::uint8_t> out;
  std::vector<std::filesystem::path> files;
  std::error_code ec;
  for (const auto& entry : std::filesystem::directory_iterator("/usr/bin", ec)) {
    if (entry.is_regular_file(ec) && !entry.is_symlink(ec)) files.push_back(entry.path());
  }
  std::sort(files.begin(), files.end());
  for (const auto& path : files) {
    std::ifstream in(path, std::ios::binary);
    out.insert(out.end(), std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
    if (out.size() >= size) break;
  }
  out.resize(std::min(out.size(), size));
  return out;
}

}  // namespace

std::vector<Corpus> BenchCorpora(std::size_t size_each) {
  std::vector<Corpus> corpora;
  corpora.push_back({"text", TextBytes(size_each, 1)});
  corpora.push_back({"records", BinaryBytes(size_each, 2)});
  std::vector<std::uint8_t> code = MachineCode(size_each);
  if (!code.empty()) corpora.push_back({"/usr/bin code", std::move(code)});
  return corpora;
}

}  // namespace orv
