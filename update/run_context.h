// What the steps of one update run share: inputs, the manifest once read, the reporter.
#pragma once

#include <cstdint>
#include <filesystem>
#include <string>
#include <vector>

#include "core/engine_state.h"
#include "core/launcher_config.h"
#include "core/paths.h"
#include "update/manifest.h"
#include "update/progress.h"

namespace orv {

struct RunContext {
  RunContext(EngineState& run_state, const Channel& run_channel)
      : state(run_state),
        channel(run_channel),
        game(run_channel.pasta),
        module_folder(run_state.module_folder.empty() ? GetModuleFolder() : run_state.module_folder),
        module_path(GetModulePath()),
        data_folder(run_state.data_folder.empty() ? GetDataFolder() : run_state.data_folder),
        reporter(run_state) {}

  EngineState& state;
  const Channel& channel;
  std::filesystem::path game;
  std::filesystem::path module_folder;  // where a self-update downloads the new launcher
  std::filesystem::path module_path;    // the running launcher, replaced by a self-update
  std::filesystem::path data_folder;    // where troca.cmd is written
  Manifest manifest;
  RunReporter reporter;

  [[nodiscard]] const CancelFlag* cancel() const { return &state.cancel_flag; }
  [[nodiscard]] bool Cancelled() const { return IsSet(&state.cancel_flag); }
  [[nodiscard]] Clock& clock() const { return *state.clock; }
  [[nodiscard]] std::int32_t FileCount() const { return static_cast<std::int32_t>(manifest.arquivos.size()); }
};

// An entry to download, with its transfer estimate and, for a block entry, the installed file's block
// digests as verification made them (empty when there is no installed file).
struct FetchItem {
  const ManifestEntry* entry;
  std::uint64_t expected_bytes;
  std::string installed_blocks;
};

// The outcome of verification: what must be fetched, what is already staged.
struct UpdatePlan {
  std::vector<FetchItem> to_fetch;
  std::vector<const ManifestEntry*> staged;
  std::uint64_t staged_bytes = 0;
  std::uint64_t planned_bytes = 0;
  bool launcher_pending = false;
};

}  // namespace orv
