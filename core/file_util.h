// Whole-file helpers (over File, for every platform) and the few file-system operations the launcher
// needs, one implementation per platform (Win32 wide functions; POSIX). None of them throws; failures
// are reported by the result.
#pragma once

#include <cstdint>
#include <filesystem>
#include <string>
#include <string_view>
#include <vector>

namespace orv {

namespace fs = std::filesystem;

// Reads the whole file (shared for reading). True only when exactly its size was read; an empty
// file reads as true with empty content. Files are limited to 4 GiB - 1.
[[nodiscard]] bool ReadWholeFile(const fs::path& path, std::string& out);
// Creates or truncates the file (parent folder made first), writes all bytes, flushes them to disk.
[[nodiscard]] bool WriteWholeFile(const fs::path& path, std::string_view bytes);
// Creates every missing folder above `path`. A path without a separator counts as success.
bool EnsureParentFolder(const fs::path& path);
// Size in bytes; -1 when missing or a folder.
[[nodiscard]] std::int64_t FileSizeOf(const fs::path& path);
// Last-write time as a FILETIME-scaled number (100 ns units since 1601-01-01 UTC); 0 when unknown.
[[nodiscard]] std::uint64_t FileWriteTime(const fs::path& path);
// Size and last-write time with one look at the file (the verification of an unchanged game does
// this per file and nothing else). False when missing or a folder.
[[nodiscard]] bool FileSizeAndTime(const fs::path& path, std::int64_t& size, std::uint64_t& time);
// True when something (file or folder) is at `path`.
[[nodiscard]] bool PathExists(const fs::path& path);

// Renames `from` over `to`, replacing it. `write_through` waits until the move is on disk.
// Fails (without touching `to`) when the target is held open without delete sharing, as a running
// game holds its files on Windows.
[[nodiscard]] bool MoveFileReplacing(const fs::path& from, const fs::path& to, bool write_through);
// Deletes one file; false when it was not there or could not be deleted.
bool DeleteFileAt(const fs::path& path);
// Creates one folder level; true if it exists afterwards.
bool CreateFolder(const fs::path& path);
// Removes an empty folder; false otherwise.
bool RemoveEmptyFolder(const fs::path& path);
// Names of the sub-folders directly inside `folder` ("." and ".." excluded).
[[nodiscard]] std::vector<fs::path> ListSubfolders(const fs::path& folder);

}  // namespace orv
