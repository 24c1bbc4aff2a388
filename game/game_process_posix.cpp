#include "game/game_process.h"

#include <spawn.h>
#include <sys/types.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

// The process environment, declared by POSIX at global scope.
extern char** environ;

namespace orv {

namespace {

// `wine` as the shell would find it on PATH; empty when it is not installed.
std::string FindWine() {
  const char* path = std::getenv("PATH");
  std::stringstream folders(path != nullptr ? path : "");
  std::string folder;
  while (std::getline(folders, folder, ':')) {
    if (folder.empty()) continue;
    const std::string candidate = folder + "/wine";
    if (access(candidate.c_str(), X_OK) == 0) return candidate;
  }
  return {};
}

std::vector<std::string> SplitAtBlanks(const std::string& arguments) {
  std::vector<std::string> words;
  std::stringstream stream(arguments);
  std::string word;
  while (stream >> word) words.push_back(word);
  return words;
}

// The Windows game runs through Wine, as a player starts one. The launcher never watches it; a small
// detached thread only reaps it, so no zombie is left when the launcher stays open.
class PosixGameProcessStarter final : public GameProcessStarter {
 public:
  bool Start(const std::filesystem::path& executable, const std::string& arguments,
             const std::filesystem::path& working_folder, std::uint32_t& error_code) override {
    const std::string wine = FindWine();
    if (wine.empty()) {
      error_code = ENOENT;
      return false;
    }
    std::vector<std::string> words{wine, executable.native()};
    for (auto& word : SplitAtBlanks(arguments)) words.push_back(std::move(word));
    std::vector<char*> argv;
    for (auto& word : words) argv.push_back(word.data());
    argv.push_back(nullptr);

    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_addchdir_np(&actions, working_folder.c_str());
    pid_t pid = 0;
    const int result = posix_spawn(&pid, wine.c_str(), &actions, nullptr, argv.data(), environ);
    posix_spawn_file_actions_destroy(&actions);
    if (result != 0) {
      error_code = static_cast<std::uint32_t>(result);
      return false;
    }
    std::thread([pid] { waitpid(pid, nullptr, 0); }).detach();
    return true;
  }
};

}  // namespace

GameProcessStarter& SystemGameProcessStarter() {
  static PosixGameProcessStarter starter;
  return starter;
}

}  // namespace orv
