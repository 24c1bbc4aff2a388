#include "tools/common/console.h"

#include <windows.h>

namespace orv {

namespace {
CancelFlag* g_flag = nullptr;

BOOL WINAPI OnConsoleEvent(DWORD event) {
  if ((event == CTRL_C_EVENT || event == CTRL_BREAK_EVENT) && g_flag != nullptr) {
    g_flag->store(1);
    return TRUE;  // handled: the run stops by itself
  }
  return FALSE;
}
}  // namespace

void CancelOnInterrupt(CancelFlag* flag) {
  g_flag = flag;
  SetConsoleCtrlHandler(OnConsoleEvent, TRUE);
}

bool StdoutIsTerminal() {
  DWORD mode = 0;
  return GetConsoleMode(GetStdHandle(STD_OUTPUT_HANDLE), &mode) != 0;
}

}  // namespace orv
