#include "core/log.h"

#include <cstdarg>
#include <cstdio>
#include <mutex>
#include <string>

#include "core/log_sink.h"
#include "core/paths.h"

namespace orv {

void Log(const char* format, ...) {
  char message[2048];
  va_list args;
  va_start(args, format);
  std::vsnprintf(message, sizeof message, format, args);
  va_end(args);

  const LocalTime now = LocalTimeNow();
  char line[2048 + 32];
  const int length = std::snprintf(line, sizeof line, "[%04d-%02d-%02d %02d:%02d:%02d] %s\r\n", now.year, now.month,
                                   now.day, now.hour, now.minute, now.second, message);
  if (length <= 0) return;

  static std::mutex lock;
  const std::lock_guard<std::mutex> guard(lock);
  // The data folder is derived anew for every line, as the log may outlive a folder change.
  AppendToFile(GetDataFolder() / "launcher.log", std::string_view(line, static_cast<size_t>(length)));
}

}  // namespace orv
