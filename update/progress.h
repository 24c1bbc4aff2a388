// "estado" messages: everything the page learns about a run, and the texts the run puts in them.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <utility>

#include "core/engine_state.h"
#include "core/run_status.h"

namespace orv {

// The "fase" text of a phase: "verificando", "baixando", "instalando", "pronto", "desatualizado",
// "parado", "erro", "reiniciar".
[[nodiscard]] std::string_view FaseName(RunPhase phase);
// {"tipo":"estado","fase":..,"texto":..,"atual":n,"total":n,"bytes":n,"bytesTotal":n,"velocidade":n<suffix>}
[[nodiscard]] std::string EstadoMessage(const RunStatus& status, std::string_view version_suffix);
// Hands the status to the state's status sink, then its message to the progress sink (each skipped
// when empty).
void PostEstado(const EngineState& state, const RunStatus& status, std::string_view version_suffix);
// ,"versaoCliente":..,"versaoServidor":.. carried by every message after the manifest was read.
[[nodiscard]] std::string VersionSuffix(std::string_view versao, std::string_view servidor);

// bytes / 1048576 with one decimal and a decimal comma: "1,5 MB".
[[nodiscard]] std::string FormatMegabytes(std::uint64_t bytes);
// "1 arquivo", "0 arquivos", "3 arquivos".
[[nodiscard]] std::string FormatFileCount(std::uint64_t count);

// One run's reporter: remembers the version suffix once the manifest is read.
class RunReporter {
 public:
  explicit RunReporter(const EngineState& state) : state_(state) {}
  void SetVersions(std::string_view versao, std::string_view servidor) { suffix_ = VersionSuffix(versao, servidor); }
  void Estado(RunPhase phase, std::string texto, std::int32_t atual, std::int32_t total, std::uint64_t bytes,
              std::uint64_t bytes_total, double velocidade = 0) const {
    PostEstado(state_, RunStatus{phase, std::move(texto), atual, total, bytes, bytes_total, velocidade}, suffix_);
    final_sent_ = IsFinalPhase(phase);  // only once the sinks took it
  }
  [[nodiscard]] const std::string& suffix() const { return suffix_; }
  // True once the last message sent was a final one (IsFinalPhase).
  [[nodiscard]] bool final_sent() const { return final_sent_; }

 private:
  const EngineState& state_;
  std::string suffix_;
  mutable bool final_sent_ = false;
};

// The transfer phase's progress: counts the bytes done and sends a throttled "baixando" message (at
// most one per 250 ms) with the mean speed since the phase began.
class TransferProgress {
 public:
  // Records the phase's start time; `planned_bytes` is the message's "bytesTotal".
  TransferProgress(const RunReporter& reporter, Clock& clock, std::int32_t entry_count, std::uint64_t planned_bytes);

  // The entry being transferred (0-based), for the "Atualizando i/n" text.
  void SetEntry(std::int32_t index) { entry_ = index; }
  // Bytes already on disk when a download resumes: counted as done without a message.
  void AddResumed(std::uint64_t bytes) { done_ += bytes; }
  // The ProgressCallback body: adds the bytes and maybe reports.
  void OnBytes(std::uint64_t bytes);
  [[nodiscard]] ProgressCallback Callback() {
    return [this](std::uint64_t bytes) { OnBytes(bytes); };
  }

  [[nodiscard]] std::uint64_t done() const { return done_; }
  [[nodiscard]] std::uint64_t planned() const { return planned_; }
  [[nodiscard]] std::int32_t entry_count() const { return count_; }

 private:
  const RunReporter& reporter_;
  Clock& clock_;
  std::int32_t count_;
  std::uint64_t planned_;
  std::int32_t entry_ = 0;
  std::uint64_t done_ = 0;
  std::uint64_t start_ns_;
  std::uint64_t last_report_ns_;
};

}  // namespace orv
