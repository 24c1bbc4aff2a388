#include "update/progress.h"

#include <cstdio>

#include "core/json.h"

namespace orv {

std::string_view FaseName(RunPhase phase) {
  switch (phase) {
    case RunPhase::kChecking: return "verificando";
    case RunPhase::kDownloading: return "baixando";
    case RunPhase::kInstalling: return "instalando";
    case RunPhase::kReady: return "pronto";
    case RunPhase::kOutdated: return "desatualizado";
    case RunPhase::kPaused: return "parado";
    case RunPhase::kError: return "erro";
    case RunPhase::kRestarting: return "reiniciar";
  }
  return "erro";
}

std::string EstadoMessage(const RunStatus& status, std::string_view version_suffix) {
  // Room for every field at its longest (20-digit counters, a speed of up to 309 digits).
  char numbers[512];
  std::snprintf(numbers, sizeof numbers,
                ",\"atual\":%d,\"total\":%d,\"bytes\":%llu,\"bytesTotal\":%llu,\"velocidade\":%.0f", status.atual,
                status.total, static_cast<unsigned long long>(status.bytes),
                static_cast<unsigned long long>(status.bytes_total), status.velocidade);
  std::string text = "{\"tipo\":\"estado\",\"fase\":";
  text += JsonQuote(FaseName(status.phase));
  text += ",\"texto\":";
  text += JsonQuote(status.texto);
  text += numbers;
  text += version_suffix;
  text += '}';
  return text;
}

void PostEstado(const EngineState& state, const RunStatus& status, std::string_view version_suffix) {
  if (state.status_sink) state.status_sink(status);
  if (state.progress_sink) state.progress_sink(EstadoMessage(status, version_suffix));
}

std::string VersionSuffix(std::string_view versao, std::string_view servidor) {
  return ",\"versaoCliente\":" + JsonQuote(versao) + ",\"versaoServidor\":" + JsonQuote(servidor);
}

std::string FormatMegabytes(std::uint64_t bytes) {
  char text[64];
  std::snprintf(text, sizeof text, "%.1f MB", static_cast<double>(bytes) / 1048576.0);
  std::string result = text;
  for (char& ch : result) {
    if (ch == '.') ch = ',';
  }
  return result;
}

std::string FormatFileCount(std::uint64_t count) {
  return std::to_string(count) + (count == 1 ? " arquivo" : " arquivos");
}

TransferProgress::TransferProgress(const RunReporter& reporter, Clock& clock, std::int32_t entry_count,
                                   std::uint64_t planned_bytes)
    : reporter_(reporter), clock_(clock), count_(entry_count), planned_(planned_bytes) {
  start_ns_ = clock_.NowNs();
  last_report_ns_ = start_ns_;
}

void TransferProgress::OnBytes(std::uint64_t bytes) {
  done_ += bytes;
  const std::uint64_t now = clock_.NowNs();
  if (now - last_report_ns_ <= 250'000'000ULL) return;
  last_report_ns_ = now;
  const double elapsed = static_cast<double>(now - start_ns_) / 1e9;
  // The mean since the phase began; resumed bytes are included on purpose.
  const double speed = elapsed > 0.5 ? static_cast<double>(done_) / elapsed : 0.0;
  const std::string text = "Atualizando " + std::to_string(entry_ + 1) + "/" + std::to_string(count_);
  reporter_.Estado(RunPhase::kDownloading, text, entry_ + 1, count_, done_, planned_, speed);
}

}  // namespace orv
