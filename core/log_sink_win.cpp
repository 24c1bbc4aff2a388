#include "core/log_sink.h"

#include <windows.h>

#include <cstdio>

namespace orv {

LocalTime LocalTimeNow() {
  SYSTEMTIME t;
  GetLocalTime(&t);
  return {t.wYear, t.wMonth, t.wDay, t.wHour, t.wMinute, t.wSecond};
}

void AppendToFile(const std::filesystem::path& path, std::string_view bytes) {
  FILE* file = _wfopen(path.c_str(), L"ab");
  if (!file) return;
  std::fwrite(bytes.data(), 1, bytes.size(), file);
  std::fclose(file);
}

}  // namespace orv
