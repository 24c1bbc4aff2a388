#include <windows.h>

#include <string>
#include <vector>

#include "core/text.h"
#include "tools/orvpack/orvpack.h"

using namespace orv;

// The entry MinGW calls with -municode; declared here because no header does.
int wmain(int argc, wchar_t** argv);

int wmain(int argc, wchar_t** argv) {
  // Texts are UTF-8 throughout; let the console show them as such.
  SetConsoleOutputCP(CP_UTF8);
  std::vector<std::string> args;
  for (int i = 1; i < argc; ++i) args.push_back(WideToUtf8(argv[i]));
  return OrvpackMain(args);
}
