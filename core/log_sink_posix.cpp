#include "core/log_sink.h"

#include <cstdio>
#include <ctime>

namespace orv {

LocalTime LocalTimeNow() {
  const std::time_t now = std::time(nullptr);
  std::tm t{};
  localtime_r(&now, &t);
  return {t.tm_year + 1900, t.tm_mon + 1, t.tm_mday, t.tm_hour, t.tm_min, t.tm_sec};
}

void AppendToFile(const std::filesystem::path& path, std::string_view bytes) {
  FILE* file = std::fopen(path.c_str(), "ab");
  if (!file) return;
  std::fwrite(bytes.data(), 1, bytes.size(), file);
  std::fclose(file);
}

}  // namespace orv
