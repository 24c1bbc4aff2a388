// Where the game itself keeps its settings: the local application data folder as the game sees it.
// Windows: the known folder Local AppData. Linux: the game runs through Wine, so it is the Wine
// prefix's one ($WINEPREFIX, else ~/.wine, + drive_c/users/$USER/AppData/Local). The test folder
// overrides of core/paths.h replace both.
#pragma once

#include <filesystem>

namespace orv {

[[nodiscard]] std::filesystem::path GameLocalAppData();

}  // namespace orv
