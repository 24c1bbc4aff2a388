// The page's five files, built into the program, and the folder the page is served from.
#pragma once

#include <filesystem>
#include <span>
#include <string_view>

namespace orv {

struct PageFile {
  std::string_view name;  // "index.html", ...
  std::span<const char> bytes;
};

// The built-in files, in the order they are written out.
[[nodiscard]] std::span<const PageFile> BuiltInPageFiles();
// The built-in bytes of one file; empty when there is none of that name.
[[nodiscard]] std::span<const char> BuiltInPageFile(std::string_view name);

// A "ui" folder beside the executable that holds its own index.html wins and nothing is written.
// Otherwise the built-in files are written into the data folder's "ui" folder (other files there,
// such as a studio's fundo.mp4, stay) and that folder is returned.
[[nodiscard]] std::filesystem::path ExtractUiFiles();

}  // namespace orv
