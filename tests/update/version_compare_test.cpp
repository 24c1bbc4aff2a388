#include <gtest/gtest.h>

#include "update/version_compare.h"

namespace orv {

namespace {

TEST(CompareVersions, ComparesPartByPartAsNumbers) {
  EXPECT_EQ(CompareVersions("2", "10"), -1);  // not text order
  EXPECT_EQ(CompareVersions("10", "2"), 1);
  EXPECT_EQ(CompareVersions("1.10", "1.9"), 1);
  EXPECT_EQ(CompareVersions("1.2.5", "1.2.6"), -1);
  EXPECT_EQ(CompareVersions("1.3", "1.2.9"), 1);
  EXPECT_EQ(CompareVersions("1.2.5", "1.2.5"), 0);
}

TEST(CompareVersions, MissingPartsCountAsZero) {
  EXPECT_EQ(CompareVersions("1.0.0", "1"), 0);
  EXPECT_EQ(CompareVersions("1.2.5.0", "1.2.5"), 0);
  EXPECT_EQ(CompareVersions("1.2", "1.2.0.0.0"), 0);
  EXPECT_EQ(CompareVersions("1.2", "1.2.0.1"), -1);
  EXPECT_EQ(CompareVersions("", "0"), 0);
  EXPECT_EQ(CompareVersions("", "0.0.1"), -1);
}

TEST(CompareVersions, ReadsEachPartLikeASignedDecimalConversion) {
  EXPECT_EQ(CompareVersions("1.2beta", "1.2"), 0);  // trailing letters are ignored
  EXPECT_EQ(CompareVersions("1.x", "1.0"), 0);      // no digits reads 0
  EXPECT_EQ(CompareVersions("1..2", "1.0.2"), 0);
  EXPECT_EQ(CompareVersions("-1", "0"), -1);
  EXPECT_EQ(CompareVersions(" 3", "2"), 1);
  EXPECT_EQ(CompareVersions("1.2.", "1.2"), 0);
}

}  // namespace

}  // namespace orv
