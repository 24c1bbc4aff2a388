#include "wine_probe.h"

bool RunningUnderWine() { return false; }
