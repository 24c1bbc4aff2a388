#include "game/game_process.h"

#include <windows.h>

#include <vector>

#include "core/text.h"

namespace orv {

namespace {

class WindowsGameProcessStarter final : public GameProcessStarter {
 public:
  bool Start(const std::filesystem::path& executable, const std::string& arguments,
             const std::filesystem::path& working_folder, std::uint32_t& error_code) override {
    // CreateProcessW may write into the command line, so it gets its own buffer.
    const std::wstring text = Utf8ToWide(GameCommandLine(executable, arguments));
    std::vector<wchar_t> command_line(text.begin(), text.end());
    command_line.push_back(L'\0');
    STARTUPINFOW startup = {};
    startup.cb = sizeof startup;
    PROCESS_INFORMATION process = {};
    if (!CreateProcessW(executable.c_str(), command_line.data(), nullptr, nullptr, FALSE, 0, nullptr,
                        working_folder.c_str(), &startup, &process)) {
      error_code = GetLastError();
      return false;
    }
    // The launcher never waits for or watches the game.
    CloseHandle(process.hThread);
    CloseHandle(process.hProcess);
    return true;
  }
};

}  // namespace

GameProcessStarter& SystemGameProcessStarter() {
  static WindowsGameProcessStarter starter;
  return starter;
}

}  // namespace orv
