#include "host/host_bridge.h"

#include <utility>

#include "core/game_folder.h"
#include "host/page_messages.h"

namespace orv {

HostBridge::HostBridge(LauncherConfig& config, EngineState& state, bool auto_mode, PageSink post_to_page,
                       HostWindow& window, RunStarter& runs, GameCommands& game)
    : config_(config),
      state_(state),
      auto_mode_(auto_mode),
      post_(std::move(post_to_page)),
      window_(window),
      runs_(runs),
      game_(game) {}

void HostBridge::SendStartup() {
  post_(InicioMessage(config_));
  if (const auto settings = game_.SettingsJson()) post_(ConfigMessage(*settings));
}

void HostBridge::StartRun(bool apply) {
  if (RunActive()) return;
  runs_.Start(RunRequest{config_.canais.at(static_cast<size_t>(config_.canal)), apply});
}

void HostBridge::OnPageMessage(std::string_view text) {
  JsonValue message;
  if (!ParseJson(text, message)) return;
  const std::string cmd = message.Find("cmd").AsString("");

  if (cmd == "pronto") {
    SendStartup();
    StartRun(auto_mode_);
  } else if (cmd == "canal") {
    SelectChannel(message);
  } else if (cmd == "verificar") {
    StartRun(false);
  } else if (cmd == "atualizar") {
    StartRun(true);
  } else if (cmd == "cancelar") {
    state_.cancel_flag.store(1);
  } else if (cmd == "jogar") {
    game_.Play(config_.canais.at(static_cast<size_t>(config_.canal)));
  } else if (cmd == "config") {
    if (const auto settings = game_.SettingsJson()) post_(ConfigMessage(*settings));
  } else if (cmd == "salvarConfig") {
    SaveSettings(message);
  } else if (cmd == "escolherPasta") {
    ChooseFolder();
  } else if (cmd == "arrastar") {
    window_.BeginDrag();
  } else if (cmd == "minimizar") {
    window_.Minimize();
  } else if (cmd == "fechar") {
    window_.RequestClose();
  } else if (cmd == "abrir") {
    OpenLink(message);
  }
}

void HostBridge::SelectChannel(const JsonValue& message) {
  const std::int64_t index = message.Find("indice").AsInt(0);
  if (index < 0 || index >= static_cast<std::int64_t>(config_.canais.size()) || RunActive()) return;
  config_.canal = index;
  post_(PastaMessage(config_));
  StartRun(false);
}

void HostBridge::ChooseFolder() {
  if (RunActive()) return;
  const std::filesystem::path chosen = window_.PickFolder(LoadGameFolder());
  if (chosen.empty()) return;
  SaveGameFolder(chosen);
  for (size_t i = 0; i < config_.canais.size(); ++i) {
    config_.canais[i].pasta = ChannelFolder(chosen, i, config_.canais[i].nome);
  }
  post_(PastaMessage(config_));
  post_(kAvisoPastaAtualizada);
  StartRun(false);
}

void HostBridge::SaveSettings(const JsonValue& message) {
  if (game_.SaveSettings(message.Find("dados"))) post_(kAvisoConfigSalvas);
}

void HostBridge::OpenLink(const JsonValue& message) {
  const JsonValue& url = message.Find("url");
  // Only secure web links leave the launcher; anything else could start an arbitrary handler.
  if (url.IsString() && url.text.rfind("https://", 0) == 0) window_.OpenUrl(url.text);
}

}  // namespace orv
