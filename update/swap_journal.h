// The staging folder (<game>/.atualizando) and its swap journal (diario.json).
//
// New files are built in the staging folder under their relative paths. The install writes the
// journal (the list of relative paths to move into place) and then replays it. The journal is
// complete on disk before the first move and deleted only after the last, and a staged file that is
// already gone counts as moved, so a replay interrupted at any point is finished by the next one.
#pragma once

#include <filesystem>
#include <string>
#include <vector>

namespace orv {

[[nodiscard]] std::filesystem::path StagingFolder(const std::filesystem::path& game_folder);
[[nodiscard]] std::filesystem::path JournalPath(const std::filesystem::path& game_folder);

class SwapJournal {
 public:
  // The journal text: {"trocas":[...relative paths as JSON strings...]}.
  [[nodiscard]] static std::string Text(const std::vector<std::string>& relative_paths);
  // Writes the journal whole (parent folders made); failures surface as "no journal" at replay.
  static void Write(const std::filesystem::path& game_folder, const std::vector<std::string>& relative_paths);
  // Finishes whatever journal is present: true when there is none or when every listed file is in
  // place (journal deleted, emptied staging folder removed). False with "diario corrompido" for a
  // journal that is not JSON (left alone), or "nao trocou <path> (o jogo esta aberto?)" when a move
  // fails (journal kept, earlier moves stay done).
  [[nodiscard]] static bool Replay(const std::filesystem::path& game_folder, std::string& reason);
};

// Removes a folder tree that holds no files, depth first; folders that still hold files stay.
void RemoveTree(const std::filesystem::path& folder);

}  // namespace orv
