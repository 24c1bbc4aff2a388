#include "tools/common/console.h"

#include <unistd.h>

#include <csignal>

namespace orv {

namespace {
CancelFlag* g_flag = nullptr;

extern "C" void OnInterrupt(int) {
  if (g_flag != nullptr) g_flag->store(1);
}
}  // namespace

void CancelOnInterrupt(CancelFlag* flag) {
  static_assert(CancelFlag::is_always_lock_free, "the flag is set from a signal handler");
  g_flag = flag;
  struct sigaction action {};
  action.sa_handler = OnInterrupt;
  sigemptyset(&action.sa_mask);
  sigaction(SIGINT, &action, nullptr);
  sigaction(SIGTERM, &action, nullptr);
}

bool StdoutIsTerminal() { return isatty(STDOUT_FILENO) != 0; }

}  // namespace orv
