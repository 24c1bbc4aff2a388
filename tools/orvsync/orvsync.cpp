#include "tools/orvsync/orvsync.h"

#include <cmath>
#include <cstdio>
#include <filesystem>
#include <string>
#include <system_error>

#include "core/paths.h"
#include "tools/common/console.h"
#include "update/progress.h"
#include "update/update_run.h"

namespace orv {

namespace {

constexpr int kUsageError = 64;

void PrintUsage() {
  std::fputs(
      "uso: orvsync verificar|atualizar <URL do manifesto> <pasta do jogo> [--json]\n"
      "  verificar  confere a pasta com o manifesto (nada é baixado)\n"
      "  atualizar  baixa e instala o que mudou (Ctrl+C pausa; a próxima execução continua)\n"
      "  --json     uma linha JSON por mensagem \"estado\", em vez da barra de progresso\n"
      "saída: 0 pronto, 1 desatualizado, 2 erro ou parado\n",
      stderr);
}

// Draws "estado" messages for a person: a bar redrawn in place on a terminal, one line per change
// of text otherwise (so logs of CI runs stay readable).
class ProgressView {
 public:
  explicit ProgressView(bool json) : json_(json), terminal_(!json && StdoutIsTerminal()) {}

  // The status as fields; the exit code follows the last phase in both output modes.
  void Show(const RunStatus& status) {
    phase_ = status.phase;
    if (json_) return;  // the message text is printed by ShowText
    const std::string line = Line(status);
    if (terminal_) {
      std::printf("\r\x1b[2K%s", line.c_str());
      if (IsFinalPhase(phase_)) std::printf("\n");
    } else if (status.texto != last_text_ || IsFinalPhase(phase_)) {
      std::printf("%s\n", line.c_str());
    }
    last_text_ = status.texto;
    std::fflush(stdout);
  }

  // The page's message text, one line each with --json.
  void ShowText(const std::string& message) const {
    if (!json_) return;
    std::printf("%s\n", message.c_str());
    std::fflush(stdout);
  }

  [[nodiscard]] int ExitCode() const {
    if (phase_ == RunPhase::kReady || phase_ == RunPhase::kRestarting) return 0;
    if (phase_ == RunPhase::kOutdated) return 1;
    return 2;
  }

 private:
  static std::string Line(const RunStatus& status) {
    std::string line = status.texto;
    const std::uint64_t bytes = status.bytes;
    const std::uint64_t total = status.bytes_total;
    if (status.phase == RunPhase::kDownloading && total > 0) {
      const double share = static_cast<double>(bytes) / static_cast<double>(total);
      const int filled = static_cast<int>(share * 30 + 0.5 > 30 ? 30 : share * 30 + 0.5);
      // Appended piece by piece: GCC 12 at -O3 misreads a chain of temporaries as overlapping copies.
      std::string bar = "[";
      bar.append(static_cast<size_t>(filled), '#').append(static_cast<size_t>(30 - filled), '.');
      // share is within [0, 1]: adding a half and truncating rounds the way the bar wants.
      bar += "] " + std::to_string(static_cast<int>(share * 100 + 0.5)) + "% ";  // NOLINT(bugprone-incorrect-roundings)
      bar += line;
      bar += " — " + FormatMegabytes(bytes) + " / " + FormatMegabytes(total);
      line = std::move(bar);
      const auto speed = static_cast<std::uint64_t>(std::llround(status.velocidade));
      if (speed > 0) line += " — " + FormatMegabytes(speed) + "/s";
    }
    return line;
  }

  bool json_;
  bool terminal_;
  // A run that posts nothing counts as an error.
  RunPhase phase_ = RunPhase::kError;
  std::string last_text_;
};

}  // namespace

int OrvsyncMain(const std::vector<std::string>& args) {
  std::vector<std::string> positional;
  bool json = false;
  for (const std::string& arg : args) {
    if (arg == "--json") {
      json = true;
    } else {
      positional.push_back(arg);
    }
  }
  if (positional.size() != 3 || (positional[0] != "verificar" && positional[0] != "atualizar")) {
    PrintUsage();
    return kUsageError;
  }
  std::error_code error;
  const std::filesystem::path folder = std::filesystem::absolute(PathFromUtf8(positional[2]), error);
  if (error) {
    std::fprintf(stderr, "pasta invalida: %s\n", positional[2].c_str());
    return kUsageError;
  }

  Channel channel;
  channel.id = "orvsync";
  channel.nome = "orvsync";
  channel.manifesto = positional[1];
  channel.pasta = folder;

  ProgressView view(json);
  EngineState state;
  state.status_sink = [&view](const RunStatus& status) { view.Show(status); };
  state.progress_sink = [&view](const std::string& message) { view.ShowText(message); };
  CancelOnInterrupt(&state.cancel_flag);
  UpdateEngine::Run(state, channel, positional[0] == "atualizar");
  return view.ExitCode();
}

}  // namespace orv
