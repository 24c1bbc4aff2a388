#include "update/self_update.h"

#include "core/file_util.h"
#include "core/log.h"
#include "core/paths.h"
#include "update/http_client.h"
#include "update/sha256.h"

namespace orv {

namespace {

// The manifest gives no size for the launcher; no real one comes near this.
constexpr std::uint64_t kMaxLauncherBytes = 512ull << 20;

// A path as cmd.exe must read it inside double quotes in a batch file. Quotes already make spaces,
// "&", "^", "(" and ")" literal; "%" is still expanded in batch files, so it is doubled. (Delayed
// expansion is off, so "!" needs nothing.)
std::string BatchQuotedPath(const std::filesystem::path& path) {
  std::string text;
  for (const char ch : PathToUtf8(path)) {
    text += ch;
    if (ch == '%') text += '%';
  }
  return text;
}

bool HasNonAscii(const std::string& text) {
  for (const char ch : text) {
    if (static_cast<unsigned char>(ch) >= 0x80) return true;
  }
  return false;
}

}  // namespace

std::string SwapScriptText(const std::filesystem::path& novo, const std::filesystem::path& exe) {
  const std::string novo_text = BatchQuotedPath(novo);
  const std::string exe_text = BatchQuotedPath(exe);
  std::string script = "@echo off\r\n";
  // cmd.exe reads a batch file in the console code page; switch it to UTF-8 before the first line
  // that names a non-ASCII path. An ASCII-only script keeps its plain form.
  if (HasNonAscii(novo_text) || HasNonAscii(exe_text)) script += "chcp 65001 >nul\r\n";
  script += "set /a n=0\r\n:espera\r\ntimeout /t 1 /nobreak >nul\r\nset /a n+=1\r\nmove /y \"" + novo_text + "\" \"" +
            exe_text + "\" >nul 2>&1 || (if %n% lss 20 goto espera)\r\nstart \"\" \"" + exe_text +
            "\"\r\ndel \"%~f0\"\r\n";
  return script;
}

SelfUpdateOutcome RunSelfUpdate(RunContext& run) {
  const LauncherEntry& launcher = run.manifest.launcher;
  const std::filesystem::path novo = run.module_folder / "OrvLauncher.exe.novo";
  DeleteFileAt(novo);

  std::string reason;
  const std::string url = EntryUrl(run.manifest.base, launcher.arquivo);
  bool ok = DownloadToFile(url, novo, {}, run.cancel(), reason, kMaxLauncherBytes);
  if (ok && Sha256OfFile(novo, {}, nullptr) != launcher.sha256) {
    ok = false;
    reason = "hash errado";
  }
  if (!ok) {
    Log("launcher novo falhou: %s", reason.c_str());
    DeleteFileAt(novo);
    return SelfUpdateOutcome::kSkipped;
  }

  const std::filesystem::path script = run.data_folder / "troca.cmd";
  if (run.data_folder.empty() || !WriteWholeFile(script, SwapScriptText(novo, run.module_path))) {
    // Without the script nothing would restart the launcher once the window closes.
    Log("launcher novo: nao gravou %s; troca adiada", PathToUtf8(script).c_str());
    DeleteFileAt(script);
    DeleteFileAt(novo);
    return SelfUpdateOutcome::kSkipped;
  }
  run.state.swap_script_path = script;
  Log("launcher %s baixado; troca pelo %s", launcher.versao.c_str(), PathToUtf8(script).c_str());
  run.reporter.Estado(RunPhase::kRestarting, "Launcher atualizado. Reiniciando…", 0, 0, 0, 0);
  return SelfUpdateOutcome::kRestartPending;
}

}  // namespace orv
