#include "tools/orvpack/channel_manifest.h"

#include "core/file_util.h"
#include "core/json.h"
#include "core/paths.h"

namespace {

std::string Number(std::uint64_t value) { return std::to_string(value); }

std::string EntryText(const PublishedFile& file) {
  std::string text = "{\"caminho\":" + JsonQuote(file.caminho) + ",\"sha256\":" + JsonQuote(file.sha256) +
                     ",\"tamanho\":" + Number(file.tamanho);
  if (file.zTamanho > 0) text += ",\"zTamanho\":" + Number(file.zTamanho);
  if (file.bloco > 0) {
    text += ",\"bloco\":" + Number(file.bloco) + ",\"bTamanho\":" + Number(file.bTamanho) +
            ",\"blocos\":" + JsonQuote(file.blocos);
  }
  return text + "}";
}

}  // namespace

std::string ManifestText(const ChannelManifest& manifest) {
  std::string text = "{\n  \"versao\": " + JsonQuote(manifest.versao) + ",\n  \"servidor\": " +
                     JsonQuote(manifest.servidor) + ",\n";
  if (!manifest.base.empty()) text += "  \"base\": " + JsonQuote(manifest.base) + ",\n";
  if (manifest.has_launcher) {
    text += "  \"launcher\": {\"versao\": " + JsonQuote(manifest.launcher.versao) +
            ", \"sha256\": " + JsonQuote(manifest.launcher.sha256) +
            ", \"arquivo\": " + JsonQuote(manifest.launcher.arquivo) + "},\n";
  }
  text += "  \"arquivos\": [";
  for (size_t i = 0; i < manifest.arquivos.size(); ++i) {
    text += i == 0 ? "\n    " : ",\n    ";
    text += EntryText(manifest.arquivos[i]);
  }
  text += manifest.arquivos.empty() ? "]\n}\n" : "\n  ]\n}\n";
  return text;
}

std::map<std::string, PublishedFile> ReadPreviousManifest(const std::filesystem::path& channel_folder) {
  std::map<std::string, PublishedFile> previous;
  std::string text;
  JsonValue root;
  if (!ReadWholeFile(channel_folder / "manifest.json", text) || !ParseJson(text, root)) return previous;
  for (const JsonValue& item : root.Find("arquivos").items) {
    PublishedFile file;
    file.caminho = item.Find("caminho").AsString("");
    if (!IsSafeRelativePath(file.caminho)) continue;  // never trusted to name a file we would delete
    file.sha256 = item.Find("sha256").AsString("");
    file.tamanho = static_cast<std::uint64_t>(item.Find("tamanho").AsInt(0));
    file.zTamanho = static_cast<std::uint64_t>(item.Find("zTamanho").AsInt(0));
    file.bloco = static_cast<std::uint64_t>(item.Find("bloco").AsInt(0));
    file.blocos = item.Find("blocos").AsString("");
    file.bTamanho = static_cast<std::uint64_t>(item.Find("bTamanho").AsInt(0));
    previous[file.caminho] = std::move(file);
  }
  return previous;
}
