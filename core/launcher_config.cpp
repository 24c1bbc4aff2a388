#include "core/launcher_config.h"

#include "core/file_util.h"
#include "core/game_folder.h"
#include "core/json.h"
#include "core/paths.h"

namespace orv {

const char kOfficialManifestUrl[] = "https://download.valdren.com.br/oficial/manifest.json";

const char kDefaultLauncherConfig[] =
    "{\n"
    "  \"canais\": [\n"
    "    {\n"
    "      \"id\": \"oficial\",\n"
    "      \"nome\": \"Oficial\",\n"
    "      \"manifesto\": \"https://download.valdren.com.br/oficial/manifest.json\",\n"
    "      \"pasta\": \"Jogo\"\n"
    "    }\n"
    "  ],\n"
    "  \"discord\": \"https://discord.gg/valdren\",\n"
    "  \"site\": \"https://valdren.com.br\"\n"
    "}";

LauncherConfig LauncherConfigFromText(const std::string& text, const std::filesystem::path& game_folder) {
  JsonValue root;
  if (!ParseJson(text, root)) {
    root = JsonValue();
    (void)ParseJson(kDefaultLauncherConfig, root);
  }
  LauncherConfig config;
  for (const JsonValue& item : root.Find("canais").items) {
    Channel channel;
    channel.id = item.Find("id").AsString("");
    channel.nome = item.Find("nome").AsString("");
    channel.manifesto = item.Find("manifesto").AsString("");
    channel.pasta = ChannelFolder(game_folder, config.canais.size(), channel.nome);
    config.canais.push_back(std::move(channel));
  }
  if (config.canais.empty()) {
    config.canais.push_back(Channel{"oficial", "Oficial", kOfficialManifestUrl, game_folder});
  }
  config.discord = root.Find("discord").AsString("");
  config.site = root.Find("site").AsString("");
  return config;
}

LauncherConfig LoadLauncherConfig() {
  std::string text;
  if (!ReadWholeFile(GetModuleFolder() / "launcher.json", text)) text = kDefaultLauncherConfig;
  return LauncherConfigFromText(text, LoadGameFolder());
}

}  // namespace orv
