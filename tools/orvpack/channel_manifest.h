// The manifest orvpack writes, and what it reads back of the previous publication to reuse outputs.
#pragma once

#include <cstdint>
#include <filesystem>
#include <map>
#include <string>
#include <vector>

struct PublishedFile {
  std::string caminho;
  std::string sha256;
  std::uint64_t tamanho = 0;
  std::uint64_t zTamanho = 0;  // 0: no .orvz
  std::uint64_t bloco = 0;     // 0: no .orvb
  std::string blocos;
  std::uint64_t bTamanho = 0;
};

struct PublishedLauncher {
  std::string versao;
  std::string sha256;
  std::string arquivo;
};

struct ChannelManifest {
  std::string versao;
  std::string servidor;
  std::string base;  // empty: clients use the manifest's own folder
  bool has_launcher = false;
  PublishedLauncher launcher;
  std::vector<PublishedFile> arquivos;
};

// The manifest text: one file entry per line so a diff between publications reads well.
[[nodiscard]] std::string ManifestText(const ChannelManifest& manifest);

// The entries of an earlier manifest.json in the channel folder, by "caminho" (empty when none).
[[nodiscard]] std::map<std::string, PublishedFile> ReadPreviousManifest(const std::filesystem::path& channel_folder);
