#include <windows.h>

#include "wine_probe.h"

namespace orv {

bool RunningUnderWine() {
  const HMODULE ntdll = GetModuleHandleW(L"ntdll.dll");
  return ntdll != nullptr && GetProcAddress(ntdll, "wine_get_version") != nullptr;
}

}  // namespace orv
