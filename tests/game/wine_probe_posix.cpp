#include "wine_probe.h"

namespace orv {

bool RunningUnderWine() { return false; }

}  // namespace orv
