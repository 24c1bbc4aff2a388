// The files of a game build folder, as the manifest names them.
#pragma once

#include <cstdint>
#include <filesystem>
#include <string>
#include <vector>

namespace orv {

struct BuildFile {
  std::string caminho;  // relative path with "/" separators, UTF-8
  std::filesystem::path path;
  std::uint64_t size = 0;
};

// Every regular file under `folder`, sorted by "caminho". False with `error` set when the folder
// cannot be read or a name could not be installed by the launcher (".." or ":" in it).
[[nodiscard]] bool ListBuildFiles(const std::filesystem::path& folder, std::vector<BuildFile>& files,
                                  std::string& error);

}  // namespace orv
