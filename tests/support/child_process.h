// A program of this build started as a separate process, for tests that must see what a crash, a
// power cut or another program does to a whole process: standard output comes through a pipe, and
// Kill ends the process at once, without any chance to clean up (SIGKILL; TerminateProcess on
// Windows, as the task manager does).
#pragma once

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <string>
#include <vector>

namespace orv {

class ChildProcess {
 public:
  ChildProcess() = default;
  // A child still running is killed and waited for.
  ~ChildProcess();
  ChildProcess(const ChildProcess&) = delete;
  ChildProcess& operator=(const ChildProcess&) = delete;

  // Starts `program` with `args` (UTF-8) and the parent's environment plus `environment`
  // ("NAME=value" each). Standard input and error are the parent's; standard output is the pipe
  // that Read drains. False when the program could not be started.
  [[nodiscard]] bool Start(const std::filesystem::path& program, const std::vector<std::string>& args,
                           const std::vector<std::string>& environment);
  // Blocks until some output arrives: the count read, 0 once the child has closed its output
  // (ended or killed).
  [[nodiscard]] std::size_t Read(char* buffer, std::size_t size);
  // Ends the child at once. Harmless when it has already ended.
  void Kill();
  // Waits for the end: the exit code, or -1 when Kill ended it.
  int Wait();

 private:
  std::intptr_t process_ = -1;  // pid, or the process HANDLE
  std::intptr_t output_ = -1;   // read end of the pipe: descriptor or HANDLE
  bool killed_ = false;
  bool waited_ = false;
  int exit_code_ = -1;
};

}  // namespace orv
