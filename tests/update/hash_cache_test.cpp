#include <gtest/gtest.h>

#include "core/file_util.h"
#include "support/temp_dir.h"
#include "update/hash_cache.h"

namespace orv {

namespace {

HashCacheEntry Entry(std::uint64_t t, std::uint64_t d, std::string s) { return {t, d, std::move(s)}; }

TEST(HashCache, WritesOneLineInKeyOrderAndReadsItBack) {
  TempDir game;
  HashCache cache;
  cache.Store("dados/mapa.pak", Entry(1048576, 133500000000000000ULL, "aa11"));
  cache.Store("Jogo.exe", Entry(12, 0, "bb22"));
  cache.Store("cena\\a\"b.txt", Entry(0, 18446744073709551615ULL, "cc33"));
  cache.Store("ação.txt", Entry(5, 6, "dd44"));  // UTF-8 bytes sort after ASCII and pass through raw
  const std::string expected =
      "{\"Jogo.exe\":{\"t\":12,\"d\":\"0\",\"s\":\"bb22\"},"
      "\"a\xC3\xA7\xC3\xA3o.txt\":{\"t\":5,\"d\":\"6\",\"s\":\"dd44\"},"
      "\"cena\\\\a\\\"b.txt\":{\"t\":0,\"d\":\"18446744073709551615\",\"s\":\"cc33\"},"
      "\"dados/mapa.pak\":{\"t\":1048576,\"d\":\"133500000000000000\",\"s\":\"aa11\"}}";
  EXPECT_EQ(cache.Text(), expected);

  cache.Save(game.path());
  std::string written;
  ASSERT_TRUE(ReadWholeFile(game / ".orvlauncher/hashes.json", written));
  EXPECT_EQ(written, expected);
  EXPECT_EQ(HashCachePath(game.path()), game / ".orvlauncher/hashes.json");

  const HashCache loaded = HashCache::Load(game.path());
  EXPECT_EQ(loaded.Text(), expected);
  ASSERT_EQ(loaded.entries().size(), 4u);
  EXPECT_EQ(loaded.entries().at("cena\\a\"b.txt").d, 18446744073709551615ULL);
}

TEST(HashCache, SizeAndTimeReadAsNumbersOrDecimalStrings) {
  TempDir game;
  WriteTestFile(HashCachePath(game.path()),
                "{\"num\":{\"t\":12,\"d\":34.9,\"s\":\"x\"},"
                "\"txt\":{\"t\":\"12\",\"d\":\"34abc\",\"s\":\"y\"},"
                "\"outros\":{\"t\":true,\"d\":\"\",\"s\":5},"
                "\"nada\":{},"
                "\"neg\":{\"t\":-3,\"d\":null,\"s\":\"z\"},"
                "\"dup\":{\"t\":1,\"d\":1,\"s\":\"primeiro\"},\"dup\":{\"t\":2,\"d\":2,\"s\":\"segundo\"}}");
  const HashCache cache = HashCache::Load(game.path());
  const auto& e = cache.entries();
  ASSERT_EQ(e.size(), 6u);
  EXPECT_EQ(e.at("num").t, 12u);
  EXPECT_EQ(e.at("num").d, 34u);  // truncated
  EXPECT_EQ(e.at("num").s, "x");
  EXPECT_EQ(e.at("txt").t, 12u);
  EXPECT_EQ(e.at("txt").d, 34u);  // leading digits
  EXPECT_EQ(e.at("outros").t, 0u);
  EXPECT_EQ(e.at("outros").d, 0u);
  EXPECT_EQ(e.at("outros").s, "");  // not a string
  EXPECT_EQ(e.at("nada").t, 0u);
  EXPECT_EQ(e.at("neg").t, 0u);
  EXPECT_EQ(e.at("dup").s, "segundo");  // a later duplicate wins
  // Both forms lead to the same lookups as the writer's own form.
  EXPECT_NE(cache.Lookup("txt", 12, 34), nullptr);
  EXPECT_NE(cache.Lookup("num", 12, 34), nullptr);
}

TEST(HashCache, CorruptOrMissingFileGivesAnEmptyCacheThatSaveReplaces) {
  TempDir game;
  HashCache cache = HashCache::Load(game.path());
  EXPECT_TRUE(cache.entries().empty());
  cache.Save(game.path());
  EXPECT_EQ(ReadTestFile(HashCachePath(game.path())), "{}");

  WriteTestFile(HashCachePath(game.path()), "{\"a\":{\"t\":1,");
  cache = HashCache::Load(game.path());
  EXPECT_TRUE(cache.entries().empty());
  cache.Store("a", Entry(1, 2, "ab"));
  cache.Save(game.path());
  EXPECT_EQ(ReadTestFile(HashCachePath(game.path())), "{\"a\":{\"t\":1,\"d\":\"2\",\"s\":\"ab\"}}");
}

// A hashes.json left by anyone (a crash, a tool, a hostile download into the folder) can be nested
// a hundred thousand levels deep: it loads without overflowing the stack, and what does not parse is
// no cache.
TEST(HashCache, DeeplyNestedFilesLoadOrGiveAnEmptyCache) {
  TempDir game;
  constexpr std::size_t kDeep = 100000;
  WriteTestFile(HashCachePath(game.path()), std::string(kDeep, '['));
  EXPECT_TRUE(HashCache::Load(game.path()).entries().empty());
  WriteTestFile(HashCachePath(game.path()), "{\"a\":" + std::string(kDeep, '{'));
  EXPECT_TRUE(HashCache::Load(game.path()).entries().empty());

  WriteTestFile(HashCachePath(game.path()), "{\"a\":{\"t\":1,\"d\":2,\"s\":\"ab\"},\"b\":" + std::string(kDeep, '[') +
                                                std::string(kDeep, ']') + "}");
  const HashCache loaded = HashCache::Load(game.path());
  ASSERT_NE(loaded.Lookup("a", 1, 2), nullptr);
  EXPECT_EQ(*loaded.Lookup("a", 1, 2), "ab");
  ASSERT_NE(loaded.Lookup("b", 0, 0), nullptr);
  EXPECT_EQ(*loaded.Lookup("b", 0, 0), "") << "a nested value is an entry whose digest matches nothing";
}

TEST(HashCache, LookupTrustsOnlyTheSameSizeAndTime) {
  HashCache cache;
  cache.Store("a.pak", Entry(100, 5000, "digest-1"));
  ASSERT_NE(cache.Lookup("a.pak", 100, 5000), nullptr);
  EXPECT_EQ(*cache.Lookup("a.pak", 100, 5000), "digest-1");
  EXPECT_EQ(cache.Lookup("a.pak", 101, 5000), nullptr);
  EXPECT_EQ(cache.Lookup("a.pak", 100, 5001), nullptr);  // touched: re-hash
  EXPECT_EQ(cache.Lookup("b.pak", 100, 5000), nullptr);

  cache.Store("a.pak", Entry(100, 5001, "digest-2"));  // the re-hash replaces the entry
  EXPECT_EQ(cache.Lookup("a.pak", 100, 5000), nullptr);
  EXPECT_EQ(*cache.Lookup("a.pak", 100, 5001), "digest-2");

  cache.Store("a.pak", Entry(100, 5002, ""));  // a failed or cancelled hash is not remembered
  EXPECT_EQ(*cache.Lookup("a.pak", 100, 5001), "digest-2");
  EXPECT_EQ(cache.entries().size(), 1u);
}

}  // namespace

}  // namespace orv
