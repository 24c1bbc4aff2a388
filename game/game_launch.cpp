#include "game/game_launch.h"

#include "core/file_util.h"
#include "core/json.h"
#include "core/log.h"
#include "core/paths.h"
#include "game/game_settings.h"
#include "update/swap_journal.h"

namespace orv {

namespace {

std::string Aviso(const std::string& text) { return "{\"tipo\":\"aviso\",\"texto\":" + JsonQuote(text) + "}"; }

// Prerequisites first; false (after telling the player) when the game cannot be started.
bool PrerequisitesReady(const LaunchJob& job, const LaunchContext& context) {
  const PrerequisiteFlags flags = context.prerequisites->Check();
  if (VcRuntimePresent(flags) && GameInputPresent(flags)) return true;
  context.post(kAvisoInstalandoComponentes);
  std::string reason;
  if (InstallPrerequisites(job.game_folder, reason, *context.prerequisites)) return true;
  context.post(Aviso("Não foi possível preparar o jogo: " + reason + "."));
  return false;
}

}  // namespace

std::string LaunchArguments(std::int32_t mode, std::int32_t res_x, std::int32_t res_y) {
  if (mode == 0) return {};
  return " -windowed -ResX=" + std::to_string(res_x) + " -ResY=" + std::to_string(res_y);
}

std::optional<LaunchJob> PrepareLaunch(const std::filesystem::path& game_folder, const PageSink& post) {
  std::string reason;
  if (!SwapJournal::Replay(game_folder, reason)) {
    post(Aviso("Atualização pendente: " + reason));
    return std::nullopt;
  }
  LaunchJob job;
  job.game_folder = game_folder;
  job.executable = JoinRelative(game_folder, "ORV2.exe");
  if (!PathExists(job.executable)) {
    post(kAvisoJogoNaoEncontrado);
    return std::nullopt;
  }
  const GameSettings settings = LoadGameSettings();
  job.arguments = LaunchArguments(settings.mode, settings.res_x, settings.res_y);
  job.instances = ClampInstances(settings.instances);
  return job;
}

void RunLaunchJob(const LaunchJob& job, const LaunchContext& context) {
  if (!PrerequisitesReady(job, context)) return;
  bool started = false;
  for (std::int32_t i = 1; i <= job.instances; ++i) {
    std::uint32_t error = 0;
    if (context.processes->Start(job.executable, job.arguments, job.game_folder, error)) {
      Log("jogo aberto (%d/%d)", static_cast<int>(i), static_cast<int>(job.instances));
      started = true;
    } else {
      Log("CreateProcess falhou: %lu", static_cast<unsigned long>(error));
    }
    if (i < job.instances) context.clock->SleepMs(kPauseBetweenStartsMs);
  }
  if (!started) return;
  context.clock->SleepMs(kPauseBeforeCloseMs);
  context.request_close();
}

}  // namespace orv
