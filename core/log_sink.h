// Platform parts of the log: the local clock and an append-only write.
#pragma once

#include <filesystem>
#include <string_view>

namespace orv {

struct LocalTime {
  int year, month, day, hour, minute, second;
};

LocalTime LocalTimeNow();
// Opens for appending, writes, closes; failures are ignored.
void AppendToFile(const std::filesystem::path& path, std::string_view bytes);

}  // namespace orv
