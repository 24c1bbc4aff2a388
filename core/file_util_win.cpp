#include "core/file_util.h"

#include <windows.h>
#include <shlobj.h>

namespace orv {

bool EnsureParentFolder(const fs::path& path) {
  const std::wstring& text = path.native();
  const size_t cut = text.find_last_of(L"\\/");
  if (cut == std::wstring::npos || cut == 0) return true;
  std::wstring parent = text.substr(0, cut);
  for (auto& ch : parent) {
    if (ch == L'/') ch = L'\\';  // the shell refuses forward slashes
  }
  const int result = SHCreateDirectoryExW(nullptr, parent.c_str(), nullptr);
  if (result == ERROR_SUCCESS || result == ERROR_ALREADY_EXISTS || GetLastError() == ERROR_ALREADY_EXISTS) return true;
  return GetFileAttributesW(parent.c_str()) != INVALID_FILE_ATTRIBUTES;
}

std::int64_t FileSizeOf(const fs::path& path) {
  WIN32_FILE_ATTRIBUTE_DATA data;
  if (!GetFileAttributesExW(path.c_str(), GetFileExInfoStandard, &data)) return -1;
  if (data.dwFileAttributes & FILE_ATTRIBUTE_DIRECTORY) return -1;
  return static_cast<std::int64_t>((static_cast<std::uint64_t>(data.nFileSizeHigh) << 32) | data.nFileSizeLow);
}

std::uint64_t FileWriteTime(const fs::path& path) {
  WIN32_FILE_ATTRIBUTE_DATA data;
  if (!GetFileAttributesExW(path.c_str(), GetFileExInfoStandard, &data)) return 0;
  return (static_cast<std::uint64_t>(data.ftLastWriteTime.dwHighDateTime) << 32) | data.ftLastWriteTime.dwLowDateTime;
}

bool FileSizeAndTime(const fs::path& path, std::int64_t& size, std::uint64_t& time) {
  WIN32_FILE_ATTRIBUTE_DATA data;
  if (!GetFileAttributesExW(path.c_str(), GetFileExInfoStandard, &data)) return false;
  if (data.dwFileAttributes & FILE_ATTRIBUTE_DIRECTORY) return false;
  size = static_cast<std::int64_t>((static_cast<std::uint64_t>(data.nFileSizeHigh) << 32) | data.nFileSizeLow);
  time = (static_cast<std::uint64_t>(data.ftLastWriteTime.dwHighDateTime) << 32) | data.ftLastWriteTime.dwLowDateTime;
  return true;
}

bool PathExists(const fs::path& path) { return GetFileAttributesW(path.c_str()) != INVALID_FILE_ATTRIBUTES; }

bool MoveFileReplacing(const fs::path& from, const fs::path& to, bool write_through) {
  DWORD flags = MOVEFILE_REPLACE_EXISTING;
  if (write_through) flags |= MOVEFILE_WRITE_THROUGH;
  return MoveFileExW(from.c_str(), to.c_str(), flags) != 0;
}

bool DeleteFileAt(const fs::path& path) { return DeleteFileW(path.c_str()) != 0; }

bool CreateFolder(const fs::path& path) {
  CreateDirectoryW(path.c_str(), nullptr);
  const DWORD attributes = GetFileAttributesW(path.c_str());
  return attributes != INVALID_FILE_ATTRIBUTES && (attributes & FILE_ATTRIBUTE_DIRECTORY);
}

bool RemoveEmptyFolder(const fs::path& path) { return RemoveDirectoryW(path.c_str()) != 0; }

std::vector<fs::path> ListSubfolders(const fs::path& folder) {
  std::vector<fs::path> names;
  WIN32_FIND_DATAW entry;
  const std::wstring pattern = folder.native() + L"\\*";
  HANDLE search = FindFirstFileW(pattern.c_str(), &entry);
  if (search == INVALID_HANDLE_VALUE) return names;
  do {
    const std::wstring name = entry.cFileName;
    if ((entry.dwFileAttributes & FILE_ATTRIBUTE_DIRECTORY) && name != L"." && name != L"..") names.emplace_back(name);
  } while (FindNextFileW(search, &entry));
  FindClose(search);
  return names;
}

}  // namespace orv
