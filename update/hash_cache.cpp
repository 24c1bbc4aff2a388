#include "update/hash_cache.h"

#include <cinttypes>
#include <cstdio>
#include <cstdlib>
#include <limits>

#include "core/file_util.h"
#include "core/json.h"
#include "core/paths.h"

namespace orv {

namespace {

// `t` and `d` are read alike whichever way a hand or an older writer put them: a number truncated,
// a decimal string converted from its leading digits, anything else 0.
std::uint64_t ToU64(const JsonValue& value) {
  if (value.IsNumber()) {
    const double x = value.number;
    if (!(x > 0)) return 0;  // negatives and NaN
    if (x >= 18446744073709551616.0) return std::numeric_limits<std::uint64_t>::max();
    return static_cast<std::uint64_t>(x);
  }
  if (value.IsString() && !value.text.empty()) return std::strtoull(value.text.c_str(), nullptr, 10);
  return 0;
}

std::string Decimal(std::uint64_t n) {
  char text[24];
  std::snprintf(text, sizeof text, "%" PRIu64, n);
  return text;
}

}  // namespace

std::filesystem::path HashCachePath(const std::filesystem::path& game_folder) {
  return JoinRelative(game_folder, ".orvlauncher/hashes.json");
}

HashCache HashCache::Load(const std::filesystem::path& game_folder) {
  HashCache cache;
  std::string text;
  JsonValue root;
  if (!ReadWholeFile(HashCachePath(game_folder), text) || !ParseJson(text, root)) return cache;
  cache.saved_ = true;
  for (const auto& [key, member] : root.members) {
    HashCacheEntry entry;
    entry.t = ToU64(member.Find("t"));
    entry.d = ToU64(member.Find("d"));
    entry.s = member.Find("s").AsString("");
    cache.entries_[key] = std::move(entry);  // a later duplicate replaces an earlier one
  }
  return cache;
}

void HashCache::Save(const std::filesystem::path& game_folder) {
  if (saved_) return;
  // A cache that cannot be written only costs a re-hash on the next run.
  saved_ = WriteWholeFile(HashCachePath(game_folder), Text());
}

const std::string* HashCache::Lookup(const std::string& key, std::uint64_t size, std::uint64_t time) const {
  const auto found = entries_.find(key);
  if (found == entries_.end() || found->second.t != size || found->second.d != time) return nullptr;
  return &found->second.s;
}

void HashCache::Store(const std::string& key, HashCacheEntry entry) {
  if (entry.s.empty()) return;  // no digest (a failed or cancelled hash) is never remembered
  HashCacheEntry& slot = entries_[key];
  if (slot.t == entry.t && slot.d == entry.d && slot.s == entry.s) return;
  slot = std::move(entry);
  saved_ = false;
}

std::string HashCache::Text() const {
  // d is written as a string and t as a number; readers accept both forms for both.
  std::string text = "{";
  for (const auto& [key, entry] : entries_) {
    if (text.size() > 1) text += ',';
    text += JsonQuote(key);
    text += ":{\"t\":";
    text += Decimal(entry.t);
    text += ",\"d\":\"";
    text += Decimal(entry.d);
    text += "\",\"s\":";
    text += JsonQuote(entry.s);
    text += '}';
  }
  text += '}';
  return text;
}

}  // namespace orv
