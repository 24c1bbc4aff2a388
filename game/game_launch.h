// Starting the installed game: the checks and the job on the UI thread ("jogar"), the prerequisites
// and the process starts on a detached worker, which owns its own copy of everything it uses.
#pragma once

#include <cstdint>
#include <filesystem>
#include <functional>
#include <optional>
#include <string>

#include "core/callbacks.h"
#include "core/clock.h"
#include "game/game_process.h"
#include "game/prerequisites.h"

namespace orv {

inline constexpr char kAvisoAbrindoJogo[] = "{\"tipo\":\"aviso\",\"texto\":\"Abrindo o jogo…\"}";
inline constexpr char kAvisoJogoNaoEncontrado[] =
    "{\"tipo\":\"aviso\",\"texto\":\"Jogo não encontrado. Atualize primeiro.\"}";
inline constexpr char kAvisoInstalandoComponentes[] =
    "{\"tipo\":\"aviso\",\"texto\":\"Instalando componentes do Windows (Visual C++ e GameInput)… "
    "Confirme o pedido do Windows.\"}";

// Pauses of the worker.
inline constexpr std::uint32_t kPauseBetweenStartsMs = 3000;
inline constexpr std::uint32_t kPauseBeforeCloseMs = 500;

struct LaunchJob {
  std::filesystem::path executable;   // game folder + ORV2.exe
  std::string arguments;              // empty, or " -windowed -ResX=<w> -ResY=<h>"
  std::int32_t instances = 1;         // 1..4
  std::filesystem::path game_folder;  // also every game process's working folder
};

// The handler's part, on the UI thread: settles a pending install of `game_folder` (swap journal),
// checks the executable and reads the settings. Posts "Atualização pendente: <reason>" or "Jogo não
// encontrado. Atualize primeiro." and gives nullopt when there is nothing to start.
[[nodiscard]] std::optional<LaunchJob> PrepareLaunch(const std::filesystem::path& game_folder, const PageSink& post);

// The arguments for the settings' window mode and resolution ("" for mode 0).
[[nodiscard]] std::string LaunchArguments(std::int32_t mode, std::int32_t res_x, std::int32_t res_y);

// What the worker reaches outside itself. Every member is safe to use from the worker thread.
struct LaunchContext {
  PageSink post;
  Clock* clock = nullptr;
  std::function<void()> request_close;  // called on the worker thread
  PrerequisiteSystem* prerequisites = nullptr;
  GameProcessStarter* processes = nullptr;
};

// The worker's part: prerequisites (installing the missing ones), then the starts 3000 ms apart, and
// 500 ms after the last one the close request when at least one start succeeded.
void RunLaunchJob(const LaunchJob& job, const LaunchContext& context);

}  // namespace orv
