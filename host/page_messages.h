// The host-to-page texts, composed field by field in a fixed order (no spaces outside values).
#pragma once

#include <string>
#include <string_view>

#include "core/launcher_config.h"

namespace orv {

// {"tipo":"inicio","versaoLauncher":...,"canais":[{"id":..,"nome":..},...],"canal":n,"pasta":..,"discord":..,"site":..}
[[nodiscard]] std::string InicioMessage(const LauncherConfig& config);
// {"tipo":"pasta","pasta":...} for the current channel.
[[nodiscard]] std::string PastaMessage(const LauncherConfig& config);
// {"tipo":"aviso","texto":...}
[[nodiscard]] std::string AvisoMessage(std::string_view text);
// {"tipo":"config","config":<settings object>}
[[nodiscard]] std::string ConfigMessage(std::string_view settings_json);

inline constexpr char kAvisoConfigSalvas[] = "{\"tipo\":\"aviso\",\"texto\":\"Configurações salvas.\"}";
inline constexpr char kAvisoPastaAtualizada[] = "{\"tipo\":\"aviso\",\"texto\":\"Pasta de instalação atualizada.\"}";

}  // namespace orv
