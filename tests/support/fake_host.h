// The host's window and run starter as the bridge and game room tests see them: each records what it
// was asked to do, and the folder picker answers what the test set.
#pragma once

#include <algorithm>
#include <filesystem>
#include <string>
#include <utility>
#include <vector>

#include "host/host_bridge.h"

namespace orv {

class FakeWindow final : public HostWindow {
 public:
  void BeginDrag() override { calls.emplace_back("arrastar"); }
  void Minimize() override { calls.emplace_back("minimizar"); }
  void RequestClose() override { calls.emplace_back("fechar"); }
  std::filesystem::path PickFolder(const std::filesystem::path& current) override {
    calls.emplace_back("escolher");
    picked_from = current;
    return answer;
  }
  void OpenUrl(const std::string& url) override { calls.push_back("abrir " + url); }

  [[nodiscard]] int CloseRequests() const { return static_cast<int>(std::count(calls.begin(), calls.end(), "fechar")); }

  std::vector<std::string> calls;
  std::filesystem::path answer;
  std::filesystem::path picked_from;
};

class FakeRuns final : public RunStarter {
 public:
  void Start(RunRequest request) override { started.push_back(std::move(request)); }
  std::vector<RunRequest> started;
};

}  // namespace orv
