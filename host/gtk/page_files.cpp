#include "host/gtk/page_files.h"

#include <array>
#include <system_error>

#include "core/file_util.h"
#include "core/paths.h"

// The bytes come from ui/ at build time (see host/gtk/CMakeLists.txt: ORV_UI_DIR). `symbol` names a
// declaration, so it cannot be parenthesised.
// NOLINTBEGIN(bugprone-macro-parentheses)
#define ORV_EMBED(symbol, file)           \
  asm(".section .rodata\n"                \
      ".global " #symbol "\n" #symbol     \
      ":\n"                               \
      ".incbin \"" ORV_UI_DIR "/" file    \
      "\"\n"                              \
      ".global " #symbol "_end\n" #symbol \
      "_end:\n"                           \
      ".byte 0\n"                         \
      ".previous\n");                     \
  extern "C" const char symbol[];         \
  extern "C" const char symbol##_end[];
// NOLINTEND(bugprone-macro-parentheses)

ORV_EMBED(orv_ui_index_html, "index.html")
ORV_EMBED(orv_ui_app_js, "app.js")
ORV_EMBED(orv_ui_estilo_css, "estilo.css")
ORV_EMBED(orv_ui_icone_png, "icone.png")
ORV_EMBED(orv_ui_logo_png, "logo.png")

namespace orv {

namespace {

std::span<const char> Bytes(const char* begin, const char* end) { return {begin, static_cast<size_t>(end - begin)}; }

const std::array<PageFile, 5>& Files() {
  static const std::array<PageFile, 5> files = {{
      {"index.html", Bytes(orv_ui_index_html, orv_ui_index_html_end)},
      {"app.js", Bytes(orv_ui_app_js, orv_ui_app_js_end)},
      {"estilo.css", Bytes(orv_ui_estilo_css, orv_ui_estilo_css_end)},
      {"icone.png", Bytes(orv_ui_icone_png, orv_ui_icone_png_end)},
      {"logo.png", Bytes(orv_ui_logo_png, orv_ui_logo_png_end)},
  }};
  return files;
}

}  // namespace

std::span<const PageFile> BuiltInPageFiles() { return Files(); }

std::span<const char> BuiltInPageFile(std::string_view name) {
  for (const PageFile& file : Files()) {
    if (file.name == name) return file.bytes;
  }
  return {};
}

std::filesystem::path ExtractUiFiles() {
  const std::filesystem::path beside = GetModuleFolder() / "ui";
  std::error_code error;
  if (std::filesystem::is_regular_file(beside / "index.html", error)) return beside;

  const std::filesystem::path folder = GetDataFolder() / "ui";
  std::filesystem::create_directory(folder, error);
  // Rewritten on every start, so a page edited in the data folder does not outlive an update.
  for (const PageFile& file : Files()) {
    (void)WriteWholeFile(folder / file.name, std::string_view(file.bytes.data(), file.bytes.size()));
  }
  return folder;
}

}  // namespace orv
