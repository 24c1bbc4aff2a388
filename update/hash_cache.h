// hashes.json in <game>/.orvlauncher: the digest of every installed file with the size and
// last-write time it had when hashed, so an unchanged installation is verified without reading it.
#pragma once

#include <cstdint>
#include <filesystem>
#include <map>
#include <string>

namespace orv {

struct HashCacheEntry {
  std::uint64_t t = 0;  // size in bytes
  std::uint64_t d = 0;  // last-write time (FileWriteTime)
  std::string s;        // digest text
};

class HashCache {
 public:
  // Empty when the file is missing, unreadable or not JSON (nothing reported, nothing removed).
  [[nodiscard]] static HashCache Load(const std::filesystem::path& game_folder);
  // Writes the whole cache; a failed write only costs time on the next run. Nothing is written when
  // no entry changed since the file was loaded or last saved (a re-verification of an unchanged game
  // writes nothing).
  void Save(const std::filesystem::path& game_folder);

  // The cached digest when the entry's size and time equal these; nullptr otherwise.
  [[nodiscard]] const std::string* Lookup(const std::string& key, std::uint64_t size, std::uint64_t time) const;
  // Replaces the key's entry. An empty digest (failed or cancelled hash) is not stored.
  void Store(const std::string& key, HashCacheEntry entry);

  // The exact one-line text Save writes.
  [[nodiscard]] std::string Text() const;
  [[nodiscard]] const std::map<std::string, HashCacheEntry>& entries() const { return entries_; }

 private:
  std::map<std::string, HashCacheEntry> entries_;  // ordered by byte comparison of the keys
  bool saved_ = false;                             // the file holds these entries
};

[[nodiscard]] std::filesystem::path HashCachePath(const std::filesystem::path& game_folder);

}  // namespace orv
