#include "tools/orvpack/orvpack.h"

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <string>

#include "core/paths.h"
#include "formats/codec/compression_algorithm.h"
#include "formats/orvb.h"
#include "tools/common/console.h"
#include "tools/orvpack/inspect.h"
#include "tools/orvpack/publish.h"
#include "update/progress.h"

namespace orv {

namespace {

constexpr int kUsageError = 64;

void PrintUsage() {
  std::fputs(
      "uso:\n"
      "  orvpack publicar <pasta do build> <pasta do canal> --versao V --servidor S [--base URL]\n"
      "          [--algoritmo mszip|xpress_huff] [--nivel 1-9] [--bloco BYTES] [--bloco-minimo BYTES]\n"
      "          [--launcher OrvLauncher.exe --launcher-versao V]\n"
      "  orvpack desempacotar <arquivo.orvz|arquivo.orvb> <saida>\n"
      "  orvpack inspecionar <arquivo.orvz|arquivo.orvb>\n",
      stderr);
}

bool ParseNumber(const std::string& text, std::uint64_t& value) {
  char* end = nullptr;
  value = std::strtoull(text.c_str(), &end, 10);
  return !text.empty() && end != nullptr && *end == '\0';
}

// Reads "--name value" pairs into the options; false on anything unknown or malformed.
bool ParsePublishOptions(const std::vector<std::string>& args, PublishOptions& options) {
  if (args.size() < 3) return false;
  options.build = PathFromUtf8(args[1]);
  options.channel = PathFromUtf8(args[2]);
  for (size_t i = 3; i < args.size(); i += 2) {
    if (i + 1 >= args.size()) return false;
    const std::string& name = args[i];
    const std::string& value = args[i + 1];
    std::uint64_t number = 0;
    if (name == "--versao") {
      options.versao = value;
    } else if (name == "--servidor") {
      options.servidor = value;
    } else if (name == "--base") {
      options.base = value;
    } else if (name == "--algoritmo" && (value == "mszip" || value == "xpress_huff")) {
      options.algorithm = value == "mszip" ? kAlgorithmMszip : kAlgorithmXpressHuff;
    } else if (name == "--nivel" && ParseNumber(value, number) && number >= 1 && number <= 9) {
      options.level = static_cast<int>(number);
    } else if (name == "--bloco" && ParseNumber(value, number) && number >= 4096 && number <= kOrvbMaxBlockSize) {
      options.block_size = static_cast<std::uint32_t>(number);
    } else if (name == "--bloco-minimo" && ParseNumber(value, number)) {
      options.block_min = number;
    } else if (name == "--launcher") {
      options.launcher = PathFromUtf8(value);
    } else if (name == "--launcher-versao") {
      options.launcher_versao = value;
    } else {
      std::fprintf(stderr, "opcao invalida: %s %s\n", name.c_str(), value.c_str());
      return false;
    }
  }
  return true;
}

// A progress bar redrawn in place on a terminal; one line per tenth of the work otherwise.
class PublishView {
 public:
  PublishView() : terminal_(StdoutIsTerminal()) {}

  void Show(std::uint64_t done, std::uint64_t total, const std::string& caminho) {
    const int percent =
        total == 0 ? 100 : static_cast<int>(100.0 * static_cast<double>(done) / static_cast<double>(total));
    if (terminal_) {
      const int filled = percent * 30 / 100;
      std::printf("\r\x1b[2K[%s%s] %3d%% %s", std::string(static_cast<size_t>(filled), '#').c_str(),
                  std::string(static_cast<size_t>(30 - filled), '.').c_str(), percent, caminho.c_str());
    } else if (percent / 10 != last_tenth_) {
      last_tenth_ = percent / 10;
      std::printf("%3d%% %s\n", percent, caminho.c_str());
    }
    std::fflush(stdout);
  }
  void Finish() {
    if (terminal_) std::printf("\n");
  }

 private:
  bool terminal_;
  int last_tenth_ = -1;
};

int Publish(const std::vector<std::string>& args) {
  PublishOptions options;
  if (!ParsePublishOptions(args, options)) {
    PrintUsage();
    return kUsageError;
  }
  CancelFlag cancel{0};
  CancelOnInterrupt(&cancel);
  PublishView view;
  PublishSummary summary;
  std::string error;
  const auto start = std::chrono::steady_clock::now();
  const bool ok = PublishChannel(
      options, [&view](std::uint64_t done, std::uint64_t total, const std::string& c) { view.Show(done, total, c); },
      &cancel, summary, error);
  view.Finish();
  if (!ok) {
    std::fprintf(stderr, "orvpack: %s\n", error.c_str());
    return 1;
  }
  const double seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
  std::printf("Canal publicado em %s (versao %s, servidor %s)\n", PathToUtf8(options.channel).c_str(),
              options.versao.c_str(), options.servidor.c_str());
  std::printf("  %llu arquivos, %s; %llu com .orvz, %llu com .orvb; %llu reaproveitados; %llu removidos\n",
              static_cast<unsigned long long>(summary.files), FormatMegabytes(summary.bytes).c_str(),
              static_cast<unsigned long long>(summary.compressed), static_cast<unsigned long long>(summary.blocked),
              static_cast<unsigned long long>(summary.reused), static_cast<unsigned long long>(summary.removed));
  std::printf("  download completo para um jogador novo: %s; %.1f s\n",
              FormatMegabytes(summary.published_bytes).c_str(), seconds);
  return 0;
}

}  // namespace

int OrvpackMain(const std::vector<std::string>& args) {
  if (!args.empty() && args[0] == "publicar") return Publish(args);
  std::string error;
  if (args.size() == 3 && args[0] == "desempacotar") {
    if (UnpackFile(PathFromUtf8(args[1]), PathFromUtf8(args[2]), error)) return 0;
    std::fprintf(stderr, "orvpack: %s\n", error.c_str());
    return 1;
  }
  if (args.size() == 2 && args[0] == "inspecionar") {
    std::string text;
    if (DescribePackedFile(PathFromUtf8(args[1]), text, error)) {
      std::fputs(text.c_str(), stdout);
      return 0;
    }
    std::fprintf(stderr, "orvpack: %s\n", error.c_str());
    return 1;
  }
  PrintUsage();
  return kUsageError;
}

}  // namespace orv
