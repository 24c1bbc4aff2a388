#include "support/child_process.h"

#include <fcntl.h>
#include <signal.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

// The process environment, declared by POSIX at global scope.
extern char** environ;

namespace orv {

namespace {

// The parent's environment with `extra` put over it (same name replaced, others added).
std::vector<std::string> MergedEnvironment(const std::vector<std::string>& extra) {
  std::vector<std::string> merged;
  for (char** item = environ; *item != nullptr; ++item) {
    const std::string entry = *item;
    const std::string name = entry.substr(0, entry.find('=') + 1);
    bool replaced = false;
    for (const std::string& override_entry : extra) replaced = replaced || override_entry.rfind(name, 0) == 0;
    if (!replaced) merged.push_back(entry);
  }
  merged.insert(merged.end(), extra.begin(), extra.end());
  return merged;
}

std::vector<char*> Pointers(std::vector<std::string>& texts) {
  std::vector<char*> pointers;
  for (std::string& text : texts) pointers.push_back(text.data());
  pointers.push_back(nullptr);
  return pointers;
}

}  // namespace

ChildProcess::~ChildProcess() {
  if (process_ > 0 && !waited_) {
    Kill();
    Wait();
  }
  if (output_ >= 0) ::close(static_cast<int>(output_));
}

bool ChildProcess::Start(const std::filesystem::path& program, const std::vector<std::string>& args,
                         const std::vector<std::string>& environment) {
  int pipe_ends[2];
  if (::pipe2(pipe_ends, O_CLOEXEC) != 0) return false;
  posix_spawn_file_actions_t actions;
  posix_spawn_file_actions_init(&actions);
  // dup2 clears close-on-exec on the copy: only standard output reaches the child.
  posix_spawn_file_actions_adddup2(&actions, pipe_ends[1], STDOUT_FILENO);

  std::vector<std::string> argv_texts{program.string()};
  argv_texts.insert(argv_texts.end(), args.begin(), args.end());
  std::vector<std::string> env_texts = MergedEnvironment(environment);
  std::vector<char*> argv = Pointers(argv_texts);
  std::vector<char*> envp = Pointers(env_texts);
  pid_t pid = 0;
  const int started = posix_spawn(&pid, program.c_str(), &actions, nullptr, argv.data(), envp.data());
  posix_spawn_file_actions_destroy(&actions);
  ::close(pipe_ends[1]);  // or the pipe never reports the child's end
  if (started != 0) {
    ::close(pipe_ends[0]);
    return false;
  }
  process_ = pid;
  output_ = pipe_ends[0];
  return true;
}

std::size_t ChildProcess::Read(char* buffer, std::size_t size) {
  for (;;) {
    const ssize_t got = ::read(static_cast<int>(output_), buffer, size);
    if (got >= 0) return static_cast<std::size_t>(got);
    if (errno != EINTR) return 0;
  }
}

void ChildProcess::Kill() {
  if (process_ <= 0 || waited_) return;
  // The child may have exited already; the signal then finds a zombie and changes nothing.
  if (::kill(static_cast<pid_t>(process_), SIGKILL) == 0) killed_ = true;
}

int ChildProcess::Wait() {
  if (waited_ || process_ <= 0) return exit_code_;
  int status = 0;
  while (::waitpid(static_cast<pid_t>(process_), &status, 0) < 0 && errno == EINTR) {
  }
  waited_ = true;
  exit_code_ = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
  return exit_code_;
}

}  // namespace orv
