#include "core/folder_picker.h"

namespace orv {

// The GTK host brings its own chooser; without a window there is nothing to pick with.
std::filesystem::path PickFolder(const std::filesystem::path&, void*) { return {}; }

}  // namespace orv
