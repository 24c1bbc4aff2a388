#include "update/manifest.h"

#include "core/json.h"
#include "core/log.h"
#include "core/paths.h"
#include "core/version.h"
#include "update/version_compare.h"

namespace {

// The largest block the block format allows; a larger "bloco" could only be a broken manifest and
// would make the block comparison allocate that much.
constexpr std::uint64_t kMaxBlockSize = 0x10000000;

std::uint64_t AsSize(const JsonValue& value) {
  const std::int64_t number = value.AsInt(0);
  return number < 0 ? 0 : static_cast<std::uint64_t>(number);
}

std::string BaseFor(const JsonValue& root, std::string_view manifest_url) {
  std::string base = root.Find("base").AsString("");
  if (base.empty()) {
    const size_t slash = manifest_url.rfind('/');
    base = std::string(manifest_url.substr(0, slash == std::string_view::npos ? 0 : slash + 1));
  }
  if (base.empty() || base.back() != '/') base += '/';
  return base;
}

void DropInconsistentBlockVariant(ManifestEntry& entry) {
  const bool usable = entry.bloco > 0 && entry.bloco <= kMaxBlockSize && entry.bTamanho > 0 &&
                      entry.BlockCount() == (entry.tamanho + entry.bloco - 1) / entry.bloco;
  if (!usable) {
    entry.bloco = 0;
    entry.blocos.clear();
    entry.bTamanho = 0;
  }
}

}  // namespace

bool ParseManifest(std::string_view text, std::string_view manifest_url, Manifest& out) {
  JsonValue root;
  if (!ParseJson(text, root) || !root.Find("arquivos").IsArray()) return false;

  out = Manifest();
  out.versao = root.Find("versao").AsString("?");
  out.servidor = root.Find("servidor").AsString("?");
  out.base = BaseFor(root, manifest_url);

  for (const JsonValue& item : root.Find("arquivos").items) {
    ManifestEntry entry;
    entry.caminho = item.Find("caminho").AsString("");
    entry.sha256 = item.Find("sha256").AsString("");
    if (!IsSafeRelativePath(entry.caminho) || entry.sha256.size() != 64) {
      Log("entrada ignorada: %s", entry.caminho.c_str());
      continue;
    }
    entry.tamanho = AsSize(item.Find("tamanho"));
    entry.zTamanho = AsSize(item.Find("zTamanho"));
    entry.bloco = AsSize(item.Find("bloco"));
    entry.blocos = item.Find("blocos").AsString("");
    entry.bTamanho = AsSize(item.Find("bTamanho"));
    DropInconsistentBlockVariant(entry);
    out.total_bytes += entry.tamanho;
    out.arquivos.push_back(std::move(entry));
  }

  const JsonValue& launcher = root.Find("launcher");
  if (launcher.IsObject()) {
    out.launcher.present = true;
    out.launcher.versao = launcher.Find("versao").AsString("0");
    out.launcher.sha256 = launcher.Find("sha256").AsString("");
    if (launcher.Find("arquivo").IsString()) out.launcher.arquivo = launcher.Find("arquivo").text;
  }
  return true;
}

bool LauncherUpdateDue(const LauncherEntry& launcher) {
  return launcher.present && CompareVersions(launcher.versao, kLauncherVersion) > 0 && launcher.sha256.size() == 64;
}

std::string EntryUrl(const std::string& base, const std::string& caminho, std::string_view suffix) {
  std::string url = base + caminho;
  url += suffix;
  for (char& ch : url) {
    if (ch == '\\') ch = '/';
  }
  return url;
}
