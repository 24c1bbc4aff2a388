#include "host/win/ui_files.h"

#include <windows.h>

#include "core/file_util.h"
#include "core/paths.h"

namespace orv {

namespace {

struct UiResource {
  const wchar_t* name;
  const wchar_t* file;
};

// In the order they are written.
constexpr UiResource kUiResources[] = {
    {L"UI_INDEX_HTML", L"index.html"}, {L"UI_APP_JS", L"app.js"},     {L"UI_ESTILO_CSS", L"estilo.css"},
    {L"UI_ICONE_PNG", L"icone.png"},   {L"UI_LOGO_PNG", L"logo.png"},
};

// Missing or empty resources are skipped; a file that cannot be written keeps its old content.
bool WriteResource(const UiResource& resource, const std::filesystem::path& folder) {
  HRSRC found = FindResourceW(nullptr, resource.name, MAKEINTRESOURCEW(10));  // RT_RCDATA
  if (found == nullptr) return false;
  const DWORD size = SizeofResource(nullptr, found);
  HGLOBAL loaded = LoadResource(nullptr, found);
  const void* bytes = loaded != nullptr ? LockResource(loaded) : nullptr;
  if (bytes == nullptr || size == 0) return false;
  const std::filesystem::path path = folder / resource.file;
  EnsureParentFolder(path);
  HANDLE file = CreateFileW(path.c_str(), GENERIC_WRITE, 0, nullptr, CREATE_ALWAYS, FILE_ATTRIBUTE_NORMAL, nullptr);
  if (file == INVALID_HANDLE_VALUE) return false;
  DWORD written = 0;
  const BOOL ok = WriteFile(file, bytes, size, &written, nullptr);
  CloseHandle(file);
  return ok && written == size;
}

}  // namespace

std::filesystem::path ExtractUiFiles() {
  const std::filesystem::path beside = GetModuleFolder() / L"ui";
  if (FileSizeOf(beside / L"index.html") >= 0) return beside;
  const std::filesystem::path folder = GetDataFolder() / L"ui";
  CreateDirectoryW(folder.c_str(), nullptr);
  for (const UiResource& resource : kUiResources) (void)WriteResource(resource, folder);
  return folder;
}

}  // namespace orv
