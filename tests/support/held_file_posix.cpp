#include "support/held_file.h"

namespace orv {

bool HeldFile::SharingIsEnforced() { return false; }

bool HeldFile::Hold(const std::filesystem::path&) { return false; }

void HeldFile::Release() {}

}  // namespace orv
