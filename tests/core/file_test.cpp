// The file seam: the RAII File and the whole-file helpers, the same expectations on both platforms
// except where a platform fact differs (a file held open blocks a replacement only on Windows).
#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <utility>
#include <vector>

#include "core/file.h"
#include "core/file_util.h"
#include "core/paths.h"
#include "support/held_file.h"
#include "support/temp_dir.h"

namespace orv {

namespace {

std::string ReadAll(File& file) {
  std::string out(64, '\0');
  const std::int64_t got = file.ReadFull(out.data(), out.size());
  out.resize(got < 0 ? 0 : static_cast<size_t>(got));
  return out;
}

// Open modes: which ones need the file, which create it, which keep or drop its bytes.
TEST(File, OpenModesCreateTruncateOrKeep) {
  TempDir dir;
  const auto path = dir / "modos.bin";
  File file;
  EXPECT_FALSE(file.Open(path, File::Access::kRead));  // must exist
  EXPECT_FALSE(file.Open(path, File::Access::kReadSequential));
  EXPECT_FALSE(file.Open(path, File::Access::kWriteExisting));
  EXPECT_FALSE(file.IsOpen());
  EXPECT_FALSE(PathExists(path));  // a failed open creates nothing

  ASSERT_TRUE(file.Open(path, File::Access::kCreate));
  ASSERT_TRUE(file.Write("abcdef", 6));
  file.Close();
  EXPECT_FALSE(file.IsOpen());

  // Opened or created, and written from position 0 without truncating.
  ASSERT_TRUE(file.Open(path, File::Access::kOpenOrCreate));
  ASSERT_TRUE(file.Write("XY", 2));
  file.Close();
  EXPECT_EQ(ReadTestFile(path), "XYcdef");

  ASSERT_TRUE(file.Open(path, File::Access::kWriteExisting));
  ASSERT_TRUE(file.Write("Z", 1));
  file.Close();
  EXPECT_EQ(ReadTestFile(path), "ZYcdef");  // position 0 again

  ASSERT_TRUE(file.Open(path, File::Access::kCreate));  // truncates
  file.Close();
  EXPECT_EQ(FileSizeOf(path), 0);

  const auto fresh = dir / "novo.bin";
  ASSERT_TRUE(file.Open(fresh, File::Access::kOpenOrCreate));
  EXPECT_EQ(file.Size(), 0);
}

TEST(File, AFolderIsNotAFile) {
  TempDir dir;
  ASSERT_TRUE(CreateFolder(dir / "pasta"));
  File file;
  EXPECT_FALSE(file.Open(dir / "pasta", File::Access::kRead));
  EXPECT_FALSE(file.Open(dir / "pasta", File::Access::kReadSequential));
  EXPECT_FALSE(file.IsOpen());
}

// Reads: 0 at the end, a short ReadFull when the file ends first, seeks and appends.
TEST(File, ReadAtTheEndSeekAndAppend) {
  TempDir dir;
  const auto path = dir / "fim.bin";
  WriteTestFile(path, "0123456789");
  File file(path, File::Access::kReadSequential);
  ASSERT_TRUE(file.IsOpen());
  EXPECT_EQ(file.Size(), 10);
  char buffer[16] = {};
  EXPECT_EQ(file.ReadFull(buffer, 4), 4);
  EXPECT_EQ(std::string(buffer, 4), "0123");
  EXPECT_EQ(file.ReadFull(buffer, sizeof buffer), 6);  // the rest, fewer than asked
  EXPECT_EQ(std::string(buffer, 6), "456789");
  EXPECT_EQ(file.Read(buffer, sizeof buffer), 0);  // at the end
  EXPECT_EQ(file.ReadFull(buffer, sizeof buffer), 0);

  File random(path, File::Access::kRead);
  ASSERT_TRUE(random.Seek(7));
  EXPECT_EQ(ReadAll(random), "789");
  ASSERT_TRUE(random.Seek(20));  // past the end: reads nothing
  EXPECT_EQ(random.Read(buffer, sizeof buffer), 0);

  File empty_source;
  WriteTestFile(dir / "vazio.bin", "");
  ASSERT_TRUE(empty_source.Open(dir / "vazio.bin", File::Access::kRead));
  EXPECT_EQ(empty_source.Read(buffer, sizeof buffer), 0);

  // Readers share with readers only: on Windows no writer gets in until they close.
  File blocked(path, File::Access::kWriteExisting);
  EXPECT_EQ(blocked.IsOpen(), !HeldFile::SharingIsEnforced());
  blocked.Close();
  file.Close();
  random.Close();
  empty_source.Close();

  File append(path, File::Access::kWriteExisting);
  ASSERT_TRUE(append.SeekToEnd());
  ASSERT_TRUE(append.Write("AB", 2));
  EXPECT_TRUE(append.Flush());
  EXPECT_EQ(append.Size(), 12);
  append.Close();
  EXPECT_EQ(ReadTestFile(path), "0123456789AB");
}

TEST(File, MovedHandleHasOneOwner) {
  TempDir dir;
  WriteTestFile(dir / "dono.bin", "abc");
  File first(dir / "dono.bin", File::Access::kRead);
  File second(std::move(first));
  EXPECT_FALSE(first.IsOpen());  // NOLINT(bugprone-use-after-move): the moved-from state is the point
  ASSERT_TRUE(second.IsOpen());
  File third;
  third = std::move(second);
  EXPECT_FALSE(second.IsOpen());  // NOLINT(bugprone-use-after-move)
  EXPECT_EQ(ReadAll(third), "abc");
}

// Replacing a file that a reader holds open: Windows refuses and leaves both files as they were;
// POSIX replaces the name while the reader keeps the old bytes.
TEST(FileHelpers, ReplacingAFileHeldOpen) {
  TempDir dir;
  const auto target = dir / "jogo.exe";
  const auto staged = dir / "jogo.exe.part";
  WriteTestFile(target, "antigo");
  WriteTestFile(staged, "novo");
  File reader(target, File::Access::kRead);
  ASSERT_TRUE(reader.IsOpen());
  if (HeldFile::SharingIsEnforced()) {
    EXPECT_FALSE(MoveFileReplacing(staged, target, true));
    EXPECT_EQ(ReadTestFile(target), "antigo");
    EXPECT_EQ(ReadTestFile(staged), "novo");
    reader.Close();
    ASSERT_TRUE(MoveFileReplacing(staged, target, true));  // released: now it goes through
  } else {
    ASSERT_TRUE(MoveFileReplacing(staged, target, true));
    EXPECT_EQ(ReadAll(reader), "antigo");
  }
  EXPECT_EQ(ReadTestFile(target), "novo");
  EXPECT_FALSE(PathExists(staged));

  // Without a reader, a plain move replaces too; a missing source changes nothing.
  WriteTestFile(staged, "terceiro");
  ASSERT_TRUE(MoveFileReplacing(staged, target, false));
  EXPECT_EQ(ReadTestFile(target), "terceiro");
  EXPECT_FALSE(MoveFileReplacing(dir / "nada", target, false));
  EXPECT_EQ(ReadTestFile(target), "terceiro");
}

TEST(FileHelpers, WholeFilesSizesAndTimes) {
  TempDir dir;
  const auto file = dir / "a/b/c.bin";
  const std::string bytes("\0\x01\xFFtexto", 8);
  ASSERT_TRUE(WriteWholeFile(file, bytes));  // parent folders are created
  std::string back;
  ASSERT_TRUE(ReadWholeFile(file, back));
  EXPECT_EQ(back, bytes);
  EXPECT_EQ(FileSizeOf(file), 8);
  EXPECT_NE(FileWriteTime(file), 0u);
  std::int64_t size = -1;
  std::uint64_t time = 0;
  ASSERT_TRUE(FileSizeAndTime(file, size, time));
  EXPECT_EQ(size, 8);
  EXPECT_EQ(time, FileWriteTime(file));

  ASSERT_TRUE(WriteWholeFile(file, ""));
  ASSERT_TRUE(ReadWholeFile(file, back));
  EXPECT_TRUE(back.empty());
  EXPECT_EQ(FileSizeOf(file), 0);

  EXPECT_EQ(FileSizeOf(dir / "a"), -1);  // a folder has no size
  EXPECT_FALSE(FileSizeAndTime(dir / "a", size, time));
  EXPECT_EQ(FileSizeOf(dir / "nada"), -1);
  EXPECT_EQ(FileWriteTime(dir / "nada"), 0u);
  EXPECT_FALSE(FileSizeAndTime(dir / "nada", size, time));
  EXPECT_FALSE(ReadWholeFile(dir / "nada", back));
  EXPECT_TRUE(EnsureParentFolder(PathFromUtf8("semseparador")));
}

// Folders: one level made, an empty one removed, a full one kept, sub-folders listed by name only.
TEST(FileHelpers, FoldersAreMadeRemovedAndListed) {
  TempDir dir;
  EXPECT_TRUE(CreateFolder(dir / "Ação"));
  EXPECT_TRUE(CreateFolder(dir / "Ação"));  // already there is fine
  EXPECT_FALSE(CreateFolder(dir / "x/y"));  // one level only
  ASSERT_TRUE(CreateFolder(dir / "b"));
  WriteTestFile(dir / "b/arquivo.txt", "x");
  WriteTestFile(dir / "solto.txt", "x");

  std::vector<std::string> names;
  for (const auto& name : ListSubfolders(dir.path())) names.push_back(PathToUtf8(name));
  std::sort(names.begin(), names.end());
  EXPECT_EQ(names, (std::vector<std::string>{"Ação", "b"}));  // files, "." and ".." left out
  EXPECT_TRUE(ListSubfolders(dir / "nada").empty());
  EXPECT_TRUE(ListSubfolders(dir / "solto.txt").empty());

  EXPECT_FALSE(RemoveEmptyFolder(dir / "b"));  // not empty
  EXPECT_TRUE(PathExists(dir / "b/arquivo.txt"));
  EXPECT_TRUE(DeleteFileAt(dir / "b/arquivo.txt"));
  EXPECT_FALSE(DeleteFileAt(dir / "b/arquivo.txt"));  // already gone
  EXPECT_TRUE(RemoveEmptyFolder(dir / "b"));
  EXPECT_FALSE(PathExists(dir / "b"));
  EXPECT_FALSE(RemoveEmptyFolder(dir / "b"));
}

}  // namespace

}  // namespace orv
