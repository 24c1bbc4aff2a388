#include "host/page_messages.h"

#include "core/json.h"
#include "core/paths.h"
#include "core/version.h"

namespace orv {

namespace {

const Channel& CurrentChannel(const LauncherConfig& config) {
  return config.canais.at(static_cast<size_t>(config.canal));
}

}  // namespace

std::string InicioMessage(const LauncherConfig& config) {
  std::string text = "{\"tipo\":\"inicio\",\"versaoLauncher\":";
  text += JsonQuote(kLauncherVersion);
  text += ",\"canais\":[";
  for (size_t i = 0; i < config.canais.size(); ++i) {
    if (i > 0) text += ',';
    text += "{\"id\":" + JsonQuote(config.canais[i].id) + ",\"nome\":" + JsonQuote(config.canais[i].nome) + "}";
  }
  text += "],\"canal\":" + std::to_string(config.canal);
  text += ",\"pasta\":" + JsonQuote(PathToUtf8(CurrentChannel(config).pasta));
  text += ",\"discord\":" + JsonQuote(config.discord);
  text += ",\"site\":" + JsonQuote(config.site);
  text += "}";
  return text;
}

std::string PastaMessage(const LauncherConfig& config) {
  return "{\"tipo\":\"pasta\",\"pasta\":" + JsonQuote(PathToUtf8(CurrentChannel(config).pasta)) + "}";
}

std::string AvisoMessage(std::string_view text) { return "{\"tipo\":\"aviso\",\"texto\":" + JsonQuote(text) + "}"; }

std::string ConfigMessage(std::string_view settings_json) {
  return "{\"tipo\":\"config\",\"config\":" + std::string(settings_json) + "}";
}

}  // namespace orv
