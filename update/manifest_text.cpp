// The writing half of the manifest, apart from the reader so that only the publisher links it.
#include "update/manifest.h"

#include "core/json.h"

namespace orv {

namespace {

std::string Number(std::uint64_t value) { return std::to_string(value); }

std::string EntryText(const ManifestEntry& entry) {
  std::string text = "{\"caminho\":" + JsonQuote(entry.caminho) + ",\"sha256\":" + JsonQuote(entry.sha256) +
                     ",\"tamanho\":" + Number(entry.tamanho);
  if (entry.zTamanho > 0) text += ",\"zTamanho\":" + Number(entry.zTamanho);
  if (entry.bloco > 0) {
    text += ",\"bloco\":" + Number(entry.bloco) + ",\"bTamanho\":" + Number(entry.bTamanho) +
            ",\"blocos\":" + JsonQuote(entry.blocos);
  }
  return text + "}";
}

}  // namespace

std::string ManifestText(const Manifest& manifest) {
  std::string text =
      "{\n  \"versao\": " + JsonQuote(manifest.versao) + ",\n  \"servidor\": " + JsonQuote(manifest.servidor) + ",\n";
  if (!manifest.base.empty()) text += "  \"base\": " + JsonQuote(manifest.base) + ",\n";
  if (manifest.launcher.present) {
    text += "  \"launcher\": {\"versao\": " + JsonQuote(manifest.launcher.versao) +
            ", \"sha256\": " + JsonQuote(manifest.launcher.sha256) +
            ", \"arquivo\": " + JsonQuote(manifest.launcher.arquivo) + "},\n";
  }
  text += "  \"arquivos\": [";
  for (std::size_t i = 0; i < manifest.arquivos.size(); ++i) {
    text += i == 0 ? "\n    " : ",\n    ";
    text += EntryText(manifest.arquivos[i]);
  }
  text += manifest.arquivos.empty() ? "]\n}\n" : "\n  ]\n}\n";
  return text;
}

}  // namespace orv
