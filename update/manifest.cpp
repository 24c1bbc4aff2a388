#include "update/manifest.h"

#include <set>

#include "core/json.h"
#include "core/log.h"
#include "core/paths.h"
#include "core/version.h"
#include "formats/orvb.h"
#include "update/version_compare.h"

namespace orv {

namespace {

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

// A manifest is a few levels deep with some fifteen values per entry. Parsed into a tree, every JSON
// value costs about a hundred bytes or more, so a text of deep nesting or millions of tiny values
// (which the size cap alone allows) would take gigabytes: it is refused before parsing. The budget
// still fits some 130,000 entries.
constexpr std::size_t kMaxManifestDepth = 64;
constexpr std::size_t kMaxManifestValues = 2'000'000;

// Counts containers, members and elements outside strings (an upper bound of the tree's values).
bool HasManifestShape(std::string_view text) {
  std::size_t depth = 0;
  std::size_t values = 1;
  bool in_string = false;
  bool escaped = false;
  for (const char ch : text) {
    if (in_string) {
      if (escaped) {
        escaped = false;
      } else if (ch == '\\') {
        escaped = true;
      } else if (ch == '"') {
        in_string = false;
      }
      continue;
    }
    if (ch == '"') {
      in_string = true;
    } else if (ch == '[' || ch == '{') {
      if (++depth > kMaxManifestDepth) return false;
      ++values;
    } else if (ch == ']' || ch == '}') {
      depth -= depth > 0 ? 1 : 0;
    } else if (ch == ',' || ch == ':') {
      if (++values > kMaxManifestValues) return false;
    }
  }
  return true;
}

// The path's segments as the file system will see them: either separator, "." and empty segments
// dropped, trailing dots and blanks cut (Windows ignores them), ASCII letters lowered (Windows
// ignores case), so two spellings of one file give one key.
std::string FileKey(std::string_view caminho) {
  std::string key;
  std::size_t start = 0;
  while (start <= caminho.size()) {
    std::size_t end = caminho.find_first_of("/\\", start);
    if (end == std::string_view::npos) end = caminho.size();
    std::string_view segment = caminho.substr(start, end - start);
    while (!segment.empty() && (segment.back() == '.' || segment.back() == ' ')) segment.remove_suffix(1);
    if (!segment.empty()) {
      if (!key.empty()) key += '/';
      for (const char ch : segment) key += (ch >= 'A' && ch <= 'Z') ? static_cast<char>(ch - 'A' + 'a') : ch;
    }
    start = end + 1;
  }
  return key;
}

// The launcher's own folders: the staging folder with its journal, and the hash cache's folder.
bool NamesOwnFolder(const std::string& key) {
  for (const std::string_view own : {".atualizando", ".orvlauncher"}) {
    if (key == own || (key.starts_with(own) && key[own.size()] == '/')) return true;
  }
  return false;
}

// A "bloco" above what the block format allows could only be a broken manifest, and would make the
// block comparison allocate that much.
void DropInconsistentBlockVariant(ManifestEntry& entry) {
  const bool usable = entry.bloco > 0 && entry.bloco <= kOrvbMaxBlockSize && entry.bTamanho > 0 &&
                      entry.BlockCount() == (entry.tamanho + entry.bloco - 1) / entry.bloco;
  if (!usable) {
    entry.bloco = 0;
    entry.blocos.clear();
    entry.bTamanho = 0;
  }
}

}  // namespace

bool ParseManifest(std::string_view text, std::string_view manifest_url, Manifest& out) {
  if (!HasManifestShape(text)) {
    Log("manifesto recusado: aninhado demais ou com valores demais");
    return false;
  }
  JsonValue root;
  if (!ParseJson(text, root) || !root.Find("arquivos").IsArray()) return false;

  out = Manifest();
  out.versao = root.Find("versao").AsString("?");
  out.servidor = root.Find("servidor").AsString("?");
  out.base = BaseFor(root, manifest_url);

  std::set<std::string> seen;
  for (const JsonValue& item : root.Find("arquivos").items) {
    ManifestEntry entry;
    entry.caminho = item.Find("caminho").AsString("");
    entry.sha256 = item.Find("sha256").AsString("");
    // A NUL would cut the name on disk (one entry overwriting another's file); the launcher's own
    // folders are never the server's to write; a second entry for one file would install twice.
    const std::string key = FileKey(entry.caminho);
    if (!IsSafeRelativePath(entry.caminho) || entry.sha256.size() != 64 ||
        entry.caminho.find('\0') != std::string::npos || key.empty() || NamesOwnFolder(key) ||
        !seen.insert(key).second) {
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
  static constexpr char kHex[] = "0123456789ABCDEF";
  std::string url = base;
  for (const std::string_view part : {std::string_view(caminho), suffix}) {
    for (const char ch : part) {
      const auto byte = static_cast<unsigned char>(ch);
      const bool unreserved = (byte >= 'A' && byte <= 'Z') || (byte >= 'a' && byte <= 'z') ||
                              (byte >= '0' && byte <= '9') || ch == '-' || ch == '.' || ch == '_' || ch == '~';
      if (ch == '/' || ch == '\\') {
        url.push_back('/');
      } else if (unreserved) {
        url.push_back(ch);
      } else {
        url.push_back('%');
        url.push_back(kHex[byte >> 4]);
        url.push_back(kHex[byte & 0x0F]);
      }
    }
  }
  return url;
}

}  // namespace orv
