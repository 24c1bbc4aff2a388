#include "game/prerequisites.h"

namespace orv {

namespace {

// The Visual C++ runtime and GameInput are Windows components; under Wine the game uses Wine's own
// (or the prefix's) libraries, so there is nothing the launcher could install here.
class PosixPrerequisites final : public PrerequisiteSystem {
 public:
  PrerequisiteFlags Check() override { return MakePrerequisiteFlags(true, true); }
  bool RunElevatedScript(const std::filesystem::path& script, std::uint32_t& error_code) override {
    (void)script;
    error_code = 50;  // ERROR_NOT_SUPPORTED: never reached, both count as present
    return false;
  }
};

}  // namespace

PrerequisiteSystem& SystemPrerequisites() {
  static PosixPrerequisites system;
  return system;
}

}  // namespace orv
