#include "host/game_room_commands.h"

#include <thread>
#include <utility>

#include "game/game_launch.h"
#include "game/game_settings.h"

namespace orv {

GameRoomCommands::GameRoomCommands(EngineState& state, PageSink post_to_page, HostWindow& window, GameRoomSeams seams)
    : state_(state), post_(std::move(post_to_page)), window_(window), seams_(std::move(seams)) {}

void GameRoomCommands::Play(const Channel& channel) {
  std::optional<LaunchJob> job = PrepareLaunch(channel.pasta, post_);
  if (!job) return;
  LaunchContext context;
  context.post = post_;
  context.clock = state_.clock;
  HostWindow* window = &window_;
  context.request_close = [window] { window->RequestClose(); };
  context.prerequisites = seams_.prerequisites != nullptr ? seams_.prerequisites : &SystemPrerequisites();
  context.processes = seams_.processes != nullptr ? seams_.processes : &SystemGameProcessStarter();
  // The worker owns copies of the job and the context: the channel may change while it runs.
  auto work = [job = std::move(*job), context = std::move(context)] { RunLaunchJob(job, context); };
  if (seams_.start_worker) {
    seams_.start_worker(std::move(work));
  } else {
    std::thread(std::move(work)).detach();
  }
  post_(kAvisoAbrindoJogo);
}

std::optional<std::string> GameRoomCommands::SettingsJson() { return GameSettingsJson(LoadGameSettings()); }

bool GameRoomCommands::SaveSettings(const JsonValue& dados) {
  SaveGameSettings(ApplySettingsFields(LoadGameSettings(), dados));
  return true;
}

}  // namespace orv
