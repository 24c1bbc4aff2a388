// The Linux launcher's own decisions that need no display: which files its private origin serves
// and how, the "--auto" rule, and where the page is served from.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "host/gtk/page_files.h"
#include "host/gtk/page_scheme.h"
#include "host/gtk/startup.h"
#include "support/scoped_folders.h"

namespace orv {

namespace {

TEST(PageOrigin, ServesOnlyPlainFileNamesOfItsOwnOrigin) {
  EXPECT_EQ(PageFileName("orvlauncher://app/index.html"), "index.html");
  EXPECT_EQ(PageFileName("orvlauncher://app/fundo.mp4?x=1#t=2"), "fundo.mp4");
  EXPECT_EQ(PageFileName("orvlauncher://app/a_b-c.1.png"), "a_b-c.1.png");
  for (const char* refused :
       {"orvlauncher://app/", "orvlauncher://app/../segredo", "orvlauncher://app/..", "orvlauncher://app/.oculto",
        "orvlauncher://app/sub/index.html", "orvlauncher://app/%2e%2e%2fetc", "orvlauncher://app/a%20b.html",
        "orvlauncher://outro/index.html", "orvlauncher://app.evil/index.html", "file:///etc/passwd",
        "https://app/index.html", "orvlauncher://app/a\\b", ""}) {
    EXPECT_FALSE(PageFileName(refused).has_value()) << refused;
  }
}

TEST(PageOrigin, ByteRangesAreClampedToTheFileAndTheCap) {
  auto range = [](std::string_view header, std::uint64_t size, std::uint64_t cap = 1000) {
    const auto r = ParseRange(header, size, cap);
    return r ? std::vector<std::uint64_t>{r->first, r->last} : std::vector<std::uint64_t>{};
  };
  EXPECT_EQ(range("bytes=0-", 100), (std::vector<std::uint64_t>{0, 99}));
  EXPECT_EQ(range("bytes=10-19", 100), (std::vector<std::uint64_t>{10, 19}));
  EXPECT_EQ(range("bytes=90-500", 100), (std::vector<std::uint64_t>{90, 99}));
  EXPECT_EQ(range("bytes=-10", 100), (std::vector<std::uint64_t>{90, 99}));
  EXPECT_EQ(range("bytes=-500", 100), (std::vector<std::uint64_t>{0, 99}));
  EXPECT_EQ(range("bytes=0-", 100, 16), (std::vector<std::uint64_t>{0, 15}));  // open range capped
  EXPECT_EQ(range("bytes=50-99", 100, 16), (std::vector<std::uint64_t>{50, 65}));
  // Unsatisfiable or malformed: no range at all.
  for (const char* bad : {"bytes=100-", "bytes=20-10", "bytes=-0", "bytes=-", "bytes=a-b", "bytes=1-2,4-5",
                          "bytes= 1-2", "items=0-1", "bytes=18446744073709551616-", ""}) {
    EXPECT_TRUE(range(bad, 100).empty()) << bad;
  }
  EXPECT_TRUE(range("bytes=0-", 0).empty());
}

TEST(PageOrigin, ContentTypesFollowTheExtension) {
  EXPECT_STREQ(PageContentType("index.html"), "text/html; charset=utf-8");
  EXPECT_STREQ(PageContentType("app.js"), "text/javascript; charset=utf-8");
  EXPECT_STREQ(PageContentType("estilo.css"), "text/css; charset=utf-8");
  EXPECT_STREQ(PageContentType("logo.png"), "image/png");
  EXPECT_STREQ(PageContentType("fundo.mp4"), "video/mp4");
  EXPECT_STREQ(PageContentType("html"), "application/octet-stream");
  EXPECT_STREQ(PageContentType("x.HTML"), "application/octet-stream");
}

TEST(AutoOption, AnyArgumentContainingItTurnsItOn) {
  auto has = [](std::vector<std::string> words) {
    std::vector<char*> argv;
    for (auto& word : words) argv.push_back(word.data());
    return HasAutoOption(static_cast<int>(argv.size()), argv.data());
  };
  EXPECT_TRUE(has({"orvlauncher", "--auto"}));
  EXPECT_TRUE(has({"orvlauncher", "x", "--automatico"}));
  EXPECT_TRUE(has({"orvlauncher", "a--auto"}));
  EXPECT_FALSE(has({"orvlauncher"}));
  EXPECT_FALSE(has({"orvlauncher", "--AUTO", "-auto", "--aut"}));
  EXPECT_FALSE(has({"/opt/--auto/orvlauncher"}));  // the program's own path is not an argument
}

class PageFolder : public ::testing::Test {
 protected:
  ScopedFolders folders_;
  std::filesystem::path beside_ = folders_.overrides().module_folder / "ui";
  std::filesystem::path data_ui_ = folders_.overrides().local_app_data / "OrvLauncher" / "ui";
};

TEST_F(PageFolder, BuiltInFilesAreTheFiveOfTheSourceUiFolder) {
  const auto files = BuiltInPageFiles();
  ASSERT_EQ(files.size(), 5u);
  for (const PageFile& file : files) {
    const std::string source = ReadTestFile(std::filesystem::path(ORV_SOURCE_UI_DIR) / std::string(file.name));
    EXPECT_EQ(std::string(file.bytes.data(), file.bytes.size()), source) << file.name;
    EXPECT_EQ(BuiltInPageFile(file.name).data(), file.bytes.data());
  }
  EXPECT_TRUE(BuiltInPageFile("fundo.mp4").empty());
}

TEST_F(PageFolder, BuiltInFilesAreWrittenToTheDataFolderOverOldOnesKeepingOthers) {
  WriteTestFile(data_ui_ / "index.html", "velho");
  WriteTestFile(data_ui_ / "fundo.mp4", "video");
  EXPECT_EQ(ExtractUiFiles(), data_ui_);
  EXPECT_EQ(ReadTestFile(data_ui_ / "index.html"),
            std::string(BuiltInPageFile("index.html").data(), BuiltInPageFile("index.html").size()));
  EXPECT_EQ(ReadTestFile(data_ui_ / "logo.png").size(), BuiltInPageFile("logo.png").size());
  EXPECT_EQ(ReadTestFile(data_ui_ / "fundo.mp4"), "video");
}

TEST_F(PageFolder, AUiFolderBesideTheProgramWithItsOwnIndexWins) {
  WriteTestFile(beside_ / "index.html", "estúdio");
  EXPECT_EQ(ExtractUiFiles(), beside_);
  EXPECT_FALSE(std::filesystem::exists(data_ui_));
  EXPECT_EQ(ReadTestFile(beside_ / "index.html"), "estúdio");

  // Without its own index.html the folder beside the program does not count.
  std::filesystem::remove(beside_ / "index.html");
  WriteTestFile(beside_ / "app.js", "x");
  EXPECT_EQ(ExtractUiFiles(), data_ui_);
}

}  // namespace

}  // namespace orv
