#pragma once

// The launcher's own version: the banner, the user agent, "inicio" and the self-update check use it.
inline constexpr char kLauncherVersion[] = "1.2.5";
