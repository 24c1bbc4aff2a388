// The whole-file helpers, the same on every platform over the RAII File.
#include "core/file_util.h"

#include "core/file.h"

namespace orv {

bool ReadWholeFile(const fs::path& path, std::string& out) {
  File file(path, File::Access::kRead);
  if (!file.IsOpen()) return false;
  const std::int64_t size = file.Size();
  if (size < 0 || size > 0xFFFFFFFFLL) return false;
  out.assign(static_cast<size_t>(size), '\0');
  return file.ReadFull(out.data(), out.size()) == size;
}

bool WriteWholeFile(const fs::path& path, std::string_view bytes) {
  EnsureParentFolder(path);
  File file(path, File::Access::kCreate);
  if (!file.IsOpen()) return false;
  const bool ok = file.Write(bytes.data(), bytes.size());
  file.Flush();
  return ok;
}

}  // namespace orv
