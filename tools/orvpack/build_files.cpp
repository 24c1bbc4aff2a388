#include "tools/orvpack/build_files.h"

#include <algorithm>
#include <system_error>

#include "core/paths.h"

namespace orv {

bool ListBuildFiles(const std::filesystem::path& folder, std::vector<BuildFile>& files, std::string& error) {
  std::error_code ec;
  if (!std::filesystem::is_directory(folder, ec)) {
    error = "pasta do build nao encontrada: " + PathToUtf8(folder);
    return false;
  }
  std::filesystem::recursive_directory_iterator it(folder, ec);
  for (; !ec && it != std::filesystem::recursive_directory_iterator(); it.increment(ec)) {
    if (!it->is_regular_file(ec)) continue;
    BuildFile file;
    file.path = it->path();
    file.caminho = PathToUtf8(it->path().lexically_relative(folder));
    std::replace(file.caminho.begin(), file.caminho.end(), '\\', '/');
    file.size = it->file_size(ec);
    if (!IsSafeRelativePath(file.caminho)) {
      error = "nome que o launcher recusaria (\"..\" ou \":\"): " + file.caminho;
      return false;
    }
    files.push_back(std::move(file));
  }
  if (ec) {
    error = "falha ao ler a pasta do build: " + ec.message();
    return false;
  }
  std::sort(files.begin(), files.end(), [](const BuildFile& a, const BuildFile& b) { return a.caminho < b.caminho; });
  return true;
}

}  // namespace orv
