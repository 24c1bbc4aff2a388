// Console helpers of the command-line tools. Ctrl+C sets the cancel flag so the run stops cleanly at
// its next check and keeps what it downloaded.
#pragma once

#include "core/callbacks.h"

namespace orv {

void CancelOnInterrupt(CancelFlag* flag);

// True when standard output is a terminal (a progress bar is drawn in place there).
[[nodiscard]] bool StdoutIsTerminal();

}  // namespace orv
