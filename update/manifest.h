// A channel's manifest.json: the file list with sizes, digests and transfer variants, the versions
// shown to the player, the download base and the launcher's own update entry.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace orv {

struct ManifestEntry {
  std::string caminho;  // relative path, either separator
  std::string sha256;   // 64 hex characters of the final file
  std::uint64_t tamanho = 0;
  std::uint64_t zTamanho = 0;  // size of the .orvz variant; 0: none
  std::uint64_t bloco = 0;     // block size of the .orvb variant; 0 with blocos/bTamanho when none
  std::string blocos;          // the final file's block digests, 32 characters a block
  std::uint64_t bTamanho = 0;  // size of the .orvb variant

  [[nodiscard]] bool HasBlockVariant() const { return bloco > 0; }
  [[nodiscard]] std::uint64_t BlockCount() const { return blocos.size() / 32; }
};

struct LauncherEntry {
  bool present = false;  // "launcher" is an object
  std::string versao = "0";
  std::string sha256;
  std::string arquivo = "OrvLauncher.exe";
};

struct Manifest {
  std::string versao = "?";
  std::string servidor = "?";
  std::string base;                     // download prefix, always ending in "/"
  std::vector<ManifestEntry> arquivos;  // accepted entries, manifest order
  std::uint64_t total_bytes = 0;        // sum of "tamanho" over the accepted entries
  LauncherEntry launcher;
};

// Parses a manifest fetched from `manifest_url`. False when the text is not JSON or "arquivos" is not
// an array, and, unparsed, when it nests deeper than 64 levels or holds more than 2 million values
// (a tree of that would take gigabytes). Entries with an unsafe "caminho" (traversal, absolute, a NUL, naming
// ".atualizando" or
// ".orvlauncher" or anything inside them, or a file an earlier entry already names) or a "sha256" that
// is not 64 characters long are skipped with the log line "entrada ignorada: <caminho>"; an
// inconsistent block variant is dropped.
[[nodiscard]] bool ParseManifest(std::string_view text, std::string_view manifest_url, Manifest& out);

// The manifest as a publisher writes it: "versao", "servidor", "base" (only when not empty), "launcher"
// (only when present) and "arquivos" with one entry per line, so a diff between publications reads
// well. An entry's "zTamanho" is written when not 0, and its block variant when "bloco" is not 0.
// ParseManifest reads the text back to the same values.
[[nodiscard]] std::string ManifestText(const Manifest& manifest);

// True when the manifest names a launcher newer than this one with a 64-character digest.
[[nodiscard]] bool LauncherUpdateDue(const LauncherEntry& launcher);

// base + "caminho" + suffix with every "\" turned into "/" and every byte of a segment other than
// A-Z a-z 0-9 - . _ ~ percent-encoded ("%" "#" "?" "+" ";" blanks, non-ASCII), so both HTTP backends
// send the same request line and the server looks up the literal name. `base` is used as given.
[[nodiscard]] std::string EntryUrl(const std::string& base, const std::string& caminho, std::string_view suffix = {});

}  // namespace orv
