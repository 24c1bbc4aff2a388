#include "support/held_file.h"

bool HeldFile::SharingIsEnforced() { return false; }

bool HeldFile::Hold(const std::filesystem::path&) { return false; }

void HeldFile::Release() {}
