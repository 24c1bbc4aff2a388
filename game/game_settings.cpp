#include "game/game_settings.h"

#include <cmath>
#include <cstdio>
#include <cwchar>
#include <limits>

#include "core/file_util.h"
#include "core/log.h"
#include "core/paths.h"
#include "core/text.h"
#include "game/game_folders.h"
#include "game/profile.h"

namespace orv {

namespace {

constexpr char kEngineSection[] = "/Script/Engine.GameUserSettings";
constexpr char kScalabilitySection[] = "ScalabilityGroups";
constexpr char kOptionsSection[] = "/Script/ORV2.OrvOptionsSubsystem";
constexpr char kLanguageSection[] = "Internationalization";
constexpr char kLauncherSection[] = "Launcher";
constexpr std::size_t kNumberCapacity = 64;
constexpr std::size_t kLanguageCapacity = 32;

// The nine keys that the one quality level drives; it is read back from the first.
constexpr const char* kQualityKeys[] = {
    "sg.ViewDistanceQuality", "sg.AntiAliasingQuality", "sg.GlobalIlluminationQuality",
    "sg.ReflectionQuality",   "sg.PostProcessQuality",  "sg.TextureQuality",
    "sg.FoliageQuality",      "sg.ShadingQuality",      "sg.LandscapeQuality"};

// The wide-string floating-point conversion stops at the first character that does not fit, so
// "75abc" is 75 and "abc" is 0; the result is truncated toward zero.
std::int32_t NumberFromText(const std::string& text) {
  const std::wstring wide = Utf8ToWide(text);
  const double value = std::wcstod(wide.c_str(), nullptr);
  if (std::isnan(value)) return 0;
  constexpr double kLow = std::numeric_limits<std::int32_t>::min();
  constexpr double kHigh = std::numeric_limits<std::int32_t>::max();
  if (value <= kLow) return std::numeric_limits<std::int32_t>::min();
  if (value >= kHigh) return std::numeric_limits<std::int32_t>::max();
  return static_cast<std::int32_t>(value);
}

void ReadNumber(const std::filesystem::path& file, const char* section, const char* key, std::int32_t& value) {
  const std::string text = ReadIniValue(file, section, key, "", kNumberCapacity);
  if (!text.empty()) value = NumberFromText(text);
}

void WriteNumber(const std::filesystem::path& file, const char* section, const char* key, std::int64_t value) {
  WriteIniValue(file, section, key, std::to_string(value));
}

// A number or a decimal string replaces the value; anything else (or nothing) keeps it.
void ApplyInt(const JsonValue& dados, const char* key, std::int32_t& value) {
  value = static_cast<std::int32_t>(dados.Find(key).AsInt(value));
}

}  // namespace

std::filesystem::path GameIniPath() {
  const std::filesystem::path base = GameLocalAppData();
  if (base.empty()) return {};
  return JoinRelative(base, "ORV2/Saved/Config/Windows/GameUserSettings.ini");
}

std::filesystem::path LauncherIniPath() {
  const std::filesystem::path data = GetDataFolder();
  if (data.empty()) return {};
  return JoinRelative(data, "launcher.ini");
}

GameSettings LoadGameSettings() {
  GameSettings s;
  const std::filesystem::path game = GameIniPath();
  ReadNumber(game, kEngineSection, "ResolutionSizeX", s.res_x);
  ReadNumber(game, kEngineSection, "ResolutionSizeY", s.res_y);
  ReadNumber(game, kEngineSection, "FullscreenMode", s.mode);
  ReadNumber(game, kScalabilitySection, kQualityKeys[0], s.quality);
  ReadNumber(game, kScalabilitySection, "sg.ShadowQuality", s.shadows);
  ReadNumber(game, kScalabilitySection, "sg.EffectsQuality", s.effects);
  ReadNumber(game, kOptionsSection, "MasterVolume", s.master_volume);
  ReadNumber(game, kOptionsSection, "MusicVolume", s.music_volume);
  ReadNumber(game, kOptionsSection, "SfxVolume", s.effects_volume);
  s.language = ReadIniValue(game, kLanguageSection, "Culture", "pt-BR", kLanguageCapacity);
  ReadNumber(LauncherIniPath(), kLauncherSection, "Instancias", s.instances);
  return s;
}

bool SaveGameSettings(const GameSettings& s) {
  const std::filesystem::path game = GameIniPath();
  EnsureParentFolder(game);
  WriteNumber(game, kEngineSection, "ResolutionSizeX", s.res_x);
  WriteNumber(game, kEngineSection, "ResolutionSizeY", s.res_y);
  WriteNumber(game, kEngineSection, "LastUserConfirmedResolutionSizeX", s.res_x);
  WriteNumber(game, kEngineSection, "LastUserConfirmedResolutionSizeY", s.res_y);
  WriteNumber(game, kEngineSection, "FullscreenMode", s.mode);
  WriteNumber(game, kEngineSection, "LastConfirmedFullscreenMode", s.mode);
  WriteNumber(game, kEngineSection, "PreferredFullscreenMode", s.mode);
  for (const char* key : kQualityKeys) WriteNumber(game, kScalabilitySection, key, s.quality);
  WriteNumber(game, kScalabilitySection, "sg.ShadowQuality", s.shadows);
  WriteNumber(game, kScalabilitySection, "sg.EffectsQuality", s.effects);
  WriteNumber(game, kOptionsSection, "MasterVolume", s.master_volume);
  WriteNumber(game, kOptionsSection, "MusicVolume", s.music_volume);
  WriteNumber(game, kOptionsSection, "SfxVolume", s.effects_volume);
  WriteIniValue(game, kOptionsSection, "bSaved", "True");
  WriteIniValue(game, kLanguageSection, "Culture", s.language);
  WriteNumber(LauncherIniPath(), kLauncherSection, "Instancias", ClampInstances(s.instances));
  Log("configuracoes gravadas em %s", PathToUtf8(game).c_str());
  return true;
}

std::string GameSettingsJson(const GameSettings& s) {
  char buffer[512];
  std::snprintf(buffer, sizeof buffer,
                "{\"resX\":%d,\"resY\":%d,\"modo\":%d,\"qualidade\":%d,\"sombras\":%d,\"efeitos\":%d,\"geral\":%d,"
                "\"musica\":%d,\"som\":%d,\"instancias\":%d,\"idioma\":",
                static_cast<int>(s.res_x), static_cast<int>(s.res_y), static_cast<int>(s.mode),
                static_cast<int>(s.quality), static_cast<int>(s.shadows), static_cast<int>(s.effects),
                static_cast<int>(s.master_volume), static_cast<int>(s.music_volume), static_cast<int>(s.effects_volume),
                static_cast<int>(s.instances));
  return std::string(buffer) + JsonQuote(s.language) + "}";
}

GameSettings ApplySettingsFields(GameSettings s, const JsonValue& dados) {
  ApplyInt(dados, "resX", s.res_x);
  ApplyInt(dados, "resY", s.res_y);
  ApplyInt(dados, "modo", s.mode);
  ApplyInt(dados, "qualidade", s.quality);
  ApplyInt(dados, "sombras", s.shadows);
  ApplyInt(dados, "efeitos", s.effects);
  ApplyInt(dados, "geral", s.master_volume);
  ApplyInt(dados, "musica", s.music_volume);
  ApplyInt(dados, "som", s.effects_volume);
  ApplyInt(dados, "instancias", s.instances);
  const JsonValue& idioma = dados.Find("idioma");
  if (idioma.IsString()) s.language = idioma.text;
  return s;
}

std::int32_t ClampInstances(std::int64_t instances) {
  if (instances < 1) return 1;
  if (instances > 4) return 4;
  return static_cast<std::int32_t>(instances);
}

}  // namespace orv
