#include "update/swap_journal.h"

#include "core/file_util.h"
#include "core/json.h"
#include "core/log.h"
#include "core/paths.h"

namespace orv {

std::filesystem::path StagingFolder(const std::filesystem::path& game_folder) {
  return JoinRelative(game_folder, ".atualizando");
}

std::filesystem::path JournalPath(const std::filesystem::path& game_folder) {
  return JoinRelative(StagingFolder(game_folder), "diario.json");
}

std::string SwapJournal::Text(const std::vector<std::string>& relative_paths) {
  std::string text = "{\"trocas\":[";
  for (size_t i = 0; i < relative_paths.size(); ++i) {
    if (i > 0) text += ',';
    text += JsonQuote(relative_paths[i]);
  }
  text += "]}";
  return text;
}

void SwapJournal::Write(const std::filesystem::path& game_folder, const std::vector<std::string>& relative_paths) {
  (void)WriteWholeFile(JournalPath(game_folder), Text(relative_paths));
}

bool SwapJournal::Replay(const std::filesystem::path& game_folder, std::string& reason) {
  const std::filesystem::path staging = StagingFolder(game_folder);
  const std::filesystem::path journal = JournalPath(game_folder);
  std::string text;
  if (!ReadWholeFile(journal, text)) return true;  // nothing decided: staged files wait for the next run

  JsonValue root;
  if (!ParseJson(text, root)) {
    // A half-written journal is never guessed at: it blocks updates until removed by hand.
    reason = "diario corrompido";
    return false;
  }
  for (const JsonValue& item : root.Find("trocas").items) {
    const std::string relative = item.AsString("");
    if (!IsSafeRelativePath(relative)) {
      // The run never journals such a path; a hand-edited journal must not move files out of the game.
      Log("diario: entrada ignorada: %s", relative.c_str());
      continue;
    }
    const std::filesystem::path staged = JoinRelative(staging, relative);
    const std::filesystem::path installed = JoinRelative(game_folder, relative);
    if (FileSizeOf(staged) < 0) continue;  // moved by an earlier, interrupted replay
    EnsureParentFolder(installed);
    if (!MoveFileReplacing(staged, installed, /*write_through=*/true)) {
      reason = "nao trocou " + relative + " (o jogo esta aberto?)";
      return false;
    }
  }
  DeleteFileAt(journal);
  RemoveTree(staging);
  Log("troca concluida pelo diario em %s", PathToUtf8(game_folder).c_str());
  return true;
}

void RemoveTree(const std::filesystem::path& folder) {
  for (const std::filesystem::path& name : ListSubfolders(folder)) RemoveTree(folder / name);
  RemoveEmptyFolder(folder);
}

}  // namespace orv
