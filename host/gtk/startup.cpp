#include "host/gtk/startup.h"

#include <string_view>

namespace orv {

bool HasAutoOption(int argc, char** argv) {
  for (int i = 1; i < argc; ++i) {
    if (argv[i] != nullptr && std::string_view(argv[i]).find("--auto") != std::string_view::npos) return true;
  }
  return false;
}

}  // namespace orv
