// Small start-up decisions of the Linux launcher, kept apart so they can be tested.
#pragma once

namespace orv {

// True when "--auto" appears anywhere in the arguments (a plain, case-sensitive substring search,
// so a longer word that begins with it counts too).
[[nodiscard]] bool HasAutoOption(int argc, char** argv);

}  // namespace orv
