#include "update/update_run.h"

#include <exception>
#include <string>

#include "core/log.h"
#include "update/http_client.h"
#include "update/run_context.h"
#include "update/self_update.h"
#include "update/swap_journal.h"
#include "update/transfer.h"
#include "update/verification.h"

namespace orv {

namespace {

// Holds RunActive for the run's whole life, whichever way it ends.
class ActiveRun {
 public:
  explicit ActiveRun(EngineState& state) : state_(state) {
    state_.run_active.exchange(1);
    state_.cancel_flag.store(0);
  }
  ~ActiveRun() { state_.run_active.exchange(0); }
  ActiveRun(const ActiveRun&) = delete;
  ActiveRun& operator=(const ActiveRun&) = delete;

 private:
  EngineState& state_;
};

bool FetchManifest(RunContext& run) {
  const std::string& url = run.channel.manifesto;
  std::string body;
  std::string reason;
  if (FetchToMemory(url, body, reason) != 200) {
    Log("manifesto %s: %s", url.c_str(), reason.c_str());
    run.reporter.Estado(RunPhase::kError, "Servidor de atualização indisponível (" + reason + ").", 0, 0, 0, 0);
    return false;
  }
  if (!ParseManifest(body, url, run.manifest)) {
    Log("manifesto %s: %s", url.c_str(), reason.empty() ? "JSON invalido" : reason.c_str());
    run.reporter.Estado(RunPhase::kError, "Servidor de atualização indisponível (manifesto inválido).", 0, 0, 0, 0);
    return false;
  }
  run.reporter.SetVersions(run.manifest.versao, run.manifest.servidor);
  return true;
}

void ReportUpToDate(const RunContext& run) {
  const std::int32_t n = run.FileCount();
  run.reporter.Estado(RunPhase::kReady, "Jogo atualizado.", n, n, run.manifest.total_bytes, run.manifest.total_bytes);
}

void ReportOutdated(const RunContext& run, const UpdatePlan& plan) {
  std::string text;
  if (plan.to_fetch.empty() && plan.staged.empty()) {
    text = "Nova versão do launcher disponível.";
  } else if (plan.to_fetch.empty()) {
    text = "Atualização já baixada: falta só instalar.";
  } else {
    text = "Atualização disponível: " + FormatFileCount(plan.to_fetch.size()) + ", " +
           FormatMegabytes(plan.planned_bytes) + ".";
    if (!plan.staged.empty()) text += " Já baixado antes: " + FormatMegabytes(plan.staged_bytes) + ".";
  }
  run.reporter.Estado(RunPhase::kOutdated, text, 0, static_cast<std::int32_t>(plan.to_fetch.size()), 0,
                      plan.planned_bytes);
}

void RunSteps(RunContext& run, bool apply) {
  std::string reason;
  if (!SwapJournal::Replay(run.game, reason)) {
    run.reporter.Estado(RunPhase::kError, "Atualização interrompida: " + reason, 0, 0, 0, 0);
    return;
  }
  run.reporter.Estado(RunPhase::kChecking, "Buscando atualizações…", 0, 0, 0, 0);
  if (!FetchManifest(run)) return;

  UpdatePlan plan;
  if (!VerifyInstallation(run, plan)) return;
  if (plan.to_fetch.empty() && plan.staged.empty() && !plan.launcher_pending) {
    ReportUpToDate(run);
    return;
  }
  if (!apply) {
    ReportOutdated(run, plan);
    return;
  }
  if (!plan.staged.empty()) {
    Log("retomando: %zu arquivo(s) ja baixado(s) em .atualizando", plan.staged.size());
  }
  if (TransferAndInstall(run, plan) == TransferOutcome::kEnded) return;
  if (plan.launcher_pending && RunSelfUpdate(run) == SelfUpdateOutcome::kRestartPending) return;
  ReportUpToDate(run);
}

// Logs what ended the run and sends its final message unless one went already; must not throw.
void EndWithException(const RunContext& run, const char* what) noexcept {
  try {
    Log("atualizacao interrompida por excecao: %s", what);
    if (!run.reporter.final_sent()) {
      run.reporter.Estado(RunPhase::kError, "Erro inesperado na atualização. Tente de novo.", 0, 0, 0, 0);
    }
  } catch (...) {
    // Even the last message failed (no memory at all): the run still ends and RunActive is cleared.
  }
}

// The run's boundary: nothing thrown below (an allocation that fails, a file-system error) may end
// the process or leave the page without a final message.
void RunGuarded(RunContext& run, bool apply) {
  try {
    RunSteps(run, apply);
  } catch (const std::exception& error) {
    EndWithException(run, error.what());
  } catch (...) {
    EndWithException(run, "desconhecida");
  }
}

}  // namespace

void UpdateEngine::Run(EngineState& state, const Channel& channel, bool apply) {
  const ActiveRun active(state);
  try {
    RunContext run(state, channel);
    RunGuarded(run, apply);
  } catch (...) {
    try {
      const RunStatus failed{.phase = RunPhase::kError, .texto = "Erro inesperado na atualização. Tente de novo."};
      PostEstado(state, failed, {});
    } catch (...) {
    }
  }
}

}  // namespace orv
