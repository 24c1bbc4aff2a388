#include "game/prerequisites.h"

#include "core/file_util.h"
#include "core/log.h"
#include "core/paths.h"

namespace orv {

namespace {

constexpr char kRedistFolder[] = "Engine/Extras/Redist/en-us/";

std::string DeclinedOrFailed(std::uint32_t code) {
  // 1223: the user declined the consent prompt.
  if (code == 1223) return "a instalação foi cancelada na confirmação do Windows";
  return "não foi possível iniciar o instalador (" + std::to_string(code) + ")";
}

// The installers of the missing components must be there before anything is written or started.
bool InstallersPresent(const std::filesystem::path& game_folder, PrerequisiteFlags before, std::string& error) {
  if (!VcRuntimePresent(before) && !PathExists(VcRedistInstaller(game_folder))) {
    error = "instalador do Visual C++ ausente (verifique os arquivos)";
    return false;
  }
  if (!GameInputPresent(before) && !PathExists(GameInputInstaller(game_folder))) {
    error = "instalador do GameInput ausente (verifique os arquivos)";
    return false;
  }
  return true;
}

}  // namespace

bool VcRuntimeIsCurrent(const VcRuntimeValues& v) {
  if (v.installed != 1) return false;
  if (v.major != 14) return v.major > 14;
  if (v.minor != 50) return v.minor > 50;
  return v.bld >= 35719;
}

std::filesystem::path VcRedistInstaller(const std::filesystem::path& game_folder) {
  return JoinRelative(game_folder, std::string(kRedistFolder) + "vc_redist.x64.exe");
}

std::filesystem::path GameInputInstaller(const std::filesystem::path& game_folder) {
  return JoinRelative(game_folder, std::string(kRedistFolder) + "GameInputRedist.msi");
}

std::string PrerequisiteScript(const std::filesystem::path& game_folder, PrerequisiteFlags before) {
  std::string script = "@echo off\r\n";
  if (!VcRuntimePresent(before)) {
    // Appended piece by piece: GCC 12 at -O3 misreads a chain of temporaries as overlapping copies.
    script += "\"";
    script += PathToUtf8(VcRedistInstaller(game_folder));
    script += "\" /install /quiet /norestart\r\n";
  }
  if (!GameInputPresent(before)) {
    script += "msiexec /i \"";
    script += PathToUtf8(GameInputInstaller(game_folder));
    script += "\" /quiet /norestart\r\n";
  }
  return script;
}

PrerequisiteFlags CheckPrerequisites() { return SystemPrerequisites().Check(); }

bool InstallPrerequisites(const std::filesystem::path& game_folder, std::string& error) {
  return InstallPrerequisites(game_folder, error, SystemPrerequisites());
}

bool InstallPrerequisites(const std::filesystem::path& game_folder, std::string& error, PrerequisiteSystem& system) {
  const PrerequisiteFlags before = system.Check();
  if (VcRuntimePresent(before) && GameInputPresent(before)) return true;
  if (!InstallersPresent(game_folder, before, error)) return false;

  const std::filesystem::path script = JoinRelative(GetDataFolder(), "prereqs.cmd");
  if (!WriteWholeFile(script, PrerequisiteScript(game_folder, before))) {
    error = "nao gravou o script dos pre-requisitos";
    return false;
  }
  Log("pre-requisitos: vc=%d gameinput=%d, instalando", VcRuntimePresent(before) ? 1 : 0,
      GameInputPresent(before) ? 1 : 0);

  std::uint32_t code = 0;
  if (!system.RunElevatedScript(script, code)) {
    // The script stays for a look at what was asked.
    error = DeclinedOrFailed(code);
    Log("pre-requisitos: %s", error.c_str());
    return false;
  }
  DeleteFileAt(script);
  const PrerequisiteFlags after = system.Check();
  Log("pre-requisitos depois: vc=%d gameinput=%d", VcRuntimePresent(after) ? 1 : 0, GameInputPresent(after) ? 1 : 0);
  if (!VcRuntimePresent(after)) {
    error = "o Visual C++ não foi instalado";
    return false;
  }
  if (!GameInputPresent(after)) {
    error = "o GameInput não foi instalado";
    return false;
  }
  return true;
}

}  // namespace orv
