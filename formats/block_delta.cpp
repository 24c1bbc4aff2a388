#include "formats/block_delta.h"

#include <map>
#include <span>
#include <string_view>

#include "core/file.h"
#include "core/file_util.h"
#include "core/log.h"
#include "core/paths.h"
#include "formats/orvb.h"
#include "update/http_client.h"
#include "update/retry.h"
#include "update/sha256.h"
#include "update/work_files.h"

namespace orv {

namespace {

constexpr std::size_t kMaxRunBlocks = 32;
// Above this share of the .orvb still missing, one whole download beats many ranges.
constexpr double kWholeFileShare = 0.6;
// A run's range buffer never grows past this, whatever block size a manifest names.
constexpr std::uint64_t kMaxRunBytes = 32ull << 20;

std::string_view Digest(const std::string& digests, std::size_t index) {
  return std::string_view(digests).substr(index * 32, 32);
}

class BlockDelta {
 public:
  BlockDelta(const ManifestEntry& entry, const std::filesystem::path& installed, const std::string& installed_blocks,
             const std::filesystem::path& target, const std::string& base_url, const ProgressCallback& progress,
             const CancelFlag* cancel, Clock& clock, std::string& error)
      : entry_(entry),
        installed_(installed),
        installed_digests_(installed_blocks),
        target_(target),
        assembled_(WithSuffix(target, kAssembledSuffix)),
        whole_(WithSuffix(target, kOrvbPartialSuffix)),
        url_(EntryUrl(base_url, entry.caminho, ".orvb")),
        progress_(progress),
        cancel_(cancel),
        clock_(clock),
        error_(error) {}

  int Run() {
    if (!FetchTable()) return -1;
    if (table_.raw_size != entry_.tamanho || table_.block_size != entry_.bloco ||
        table_.blocks.size() != entry_.BlockCount()) {
      error_ = "tabela em blocos nao bate com o manifesto";
      return -1;
    }
    const std::map<std::string_view, std::uint32_t> reuse = ReuseMap();
    std::vector<std::uint32_t> missing;
    std::uint64_t missing_bytes = 0;
    for (std::uint32_t i = 0; i < table_.blocks.size(); ++i) {
      if (!reuse.contains(Digest(entry_.blocos, i))) {
        missing.push_back(i);
        missing_bytes += table_.blocks[i].stored_length;
      }
    }
    EnsureParentFolder(target_);
    if (static_cast<double>(missing_bytes) > kWholeFileShare * static_cast<double>(entry_.bTamanho)) {
      return WholeFile(missing.size()) ? Place() : -1;
    }
    if (!Assemble(reuse) || !FetchMissing(missing)) return -1;
    Log("por bloco %s: %zu de %zu blocos baixados (%llu bytes), o resto do instalado", entry_.caminho.c_str(),
        missing.size(), table_.blocks.size(), static_cast<unsigned long long>(missing_bytes));
    output_.Close();
    return Place();
  }

 private:
  // The table's attempts write no log line: only the transfer of the file's own bytes is logged.
  bool FetchTable() {
    const std::uint64_t last = kOrvbHeaderSize + kOrvbEntrySize * entry_.BlockCount() - 1;
    std::vector<std::uint8_t> bytes;
    const auto attempt = [&](std::string& why) {
      return FetchRange(url_, 0, last, bytes, {}, cancel_, why) && ReadOrvbTable(bytes, table_, why);
    };
    return RetryTransfer(attempt, {}, cancel_, clock_, error_);
  }

  // Installed block digest -> the first installed block that has it.
  [[nodiscard]] std::map<std::string_view, std::uint32_t> ReuseMap() const {
    std::map<std::string_view, std::uint32_t> reuse;
    for (std::uint32_t j = 0; (j + 1) * 32ull <= installed_digests_.size(); ++j) {
      reuse.emplace(Digest(installed_digests_, j), j);
    }
    return reuse;
  }

  [[nodiscard]] std::uint64_t RawLength(std::uint32_t index) const {
    const std::uint64_t start = static_cast<std::uint64_t>(index) * entry_.bloco;
    return std::min<std::uint64_t>(entry_.bloco, entry_.tamanho - start);
  }

  bool WriteBlock(std::uint32_t index, const std::uint8_t* data, std::uint64_t size) {
    return output_.Seek(static_cast<std::uint64_t>(index) * entry_.bloco) && output_.Write(data, size);
  }

  bool Assemble(const std::map<std::string_view, std::uint32_t>& reuse) {
    if (!output_.Open(assembled_, File::Access::kCreate)) {
      error_ = "nao criou o arquivo novo";
      return false;
    }
    File source(installed_, File::Access::kRead);  // may be missing: only reused blocks need it
    std::vector<std::uint8_t> buffer;
    for (std::uint32_t i = 0; i < table_.blocks.size(); ++i) {
      const auto found = reuse.find(Digest(entry_.blocos, i));
      if (found == reuse.end()) continue;
      if (IsSet(cancel_)) {
        error_ = "cancelado";
        return false;
      }
      const std::uint64_t length = RawLength(i);
      buffer.resize(length);
      const bool ok = source.IsOpen() && source.Seek(static_cast<std::uint64_t>(found->second) * entry_.bloco) &&
                      source.ReadFull(buffer.data(), length) == static_cast<std::int64_t>(length) &&
                      Sha256OfBuffer(buffer.data(), length) == Digest(entry_.blocos, i) &&
                      WriteBlock(i, buffer.data(), length);
      if (!ok) {
        // The installed file changed under us; downloading instead would hide that, so stop.
        error_ = "nao reaproveitou o bloco " + std::to_string(i) + " do arquivo instalado";
        return false;
      }
    }
    return true;
  }

  bool FetchMissing(const std::vector<std::uint32_t>& missing) {
    std::vector<std::uint8_t> range;
    std::vector<std::uint8_t> decoded;
    for (const std::vector<std::uint32_t>& run : Runs(missing)) {
      const std::uint64_t begin = table_.blocks[run.front()].offset;
      std::uint64_t span = 0;
      if (!RunSpan(run, span)) {
        error_ = "tabela em blocos invalida";
        return false;
      }
      if (!FetchRun(begin, begin + span - 1, range)) return false;
      for (const std::uint32_t k : run) {
        const OrvbBlock& block = table_.blocks[k];
        // Blocks of one run are adjacent in the table but a hostile table could place them anywhere;
        // the test is written so that no term can wrap around.
        if (block.offset < begin || block.offset - begin > range.size() ||
            block.stored_length > range.size() - (block.offset - begin)) {
          error_ = "tabela em blocos invalida";
          return false;
        }
        const std::span<const std::uint8_t> stored(range.data() + (block.offset - begin), block.stored_length);
        if (!DecodeOrvbBlock(table_, k, stored, decoded, error_)) return false;
        if (Sha256OfBuffer(decoded.data(), decoded.size()) != Digest(entry_.blocos, k)) {
          error_ = "bloco " + std::to_string(k) + " veio corrompido";
          return false;
        }
        if (!WriteBlock(k, decoded.data(), decoded.size())) {
          error_ = "falha ao gravar (disco cheio?)";
          return false;
        }
      }
    }
    return true;
  }

  // The bytes a run's request covers, from its first block's offset to its last block's end. The
  // table comes from the server: the span may not exceed the stored lengths the run needs, so two
  // blocks far apart cannot ask for terabytes (and those lengths are within 0.6 x "bTamanho", or the
  // whole file would have been fetched instead).
  bool RunSpan(const std::vector<std::uint32_t>& run, std::uint64_t& span) const {
    const OrvbBlock& first = table_.blocks[run.front()];
    const OrvbBlock& last = table_.blocks[run.back()];
    std::uint64_t needed = 0;  // at most 32 lengths below 2^32 each: cannot wrap
    for (const std::uint32_t k : run) needed += table_.blocks[k].stored_length;
    if (last.offset < first.offset || last.offset - first.offset > needed - last.stored_length) return false;
    span = last.offset - first.offset + last.stored_length;
    return true;
  }

  // Adjacent blocks share one request, up to 32 of them and a bounded buffer.
  [[nodiscard]] std::vector<std::vector<std::uint32_t>> Runs(const std::vector<std::uint32_t>& missing) const {
    std::vector<std::vector<std::uint32_t>> runs;
    std::uint64_t run_bytes = 0;
    for (const std::vector<std::uint32_t>& run : AdjacentRuns(missing, kMaxRunBlocks)) {
      runs.emplace_back();
      run_bytes = 0;
      for (const std::uint32_t k : run) {
        const std::uint64_t size = table_.blocks[k].stored_length;
        if (!runs.back().empty() && run_bytes + size > kMaxRunBytes) {
          runs.emplace_back();
          run_bytes = 0;
        }
        runs.back().push_back(k);
        run_bytes += size;
      }
    }
    return runs;
  }

  bool FetchRun(std::uint64_t first, std::uint64_t last, std::vector<std::uint8_t>& range) {
    const auto attempt = [&](std::string& why) {
      return FetchRange(url_, first, last, range, progress_, cancel_, why);
    };
    return RetryTransfer(attempt, "faixa de " + entry_.caminho, cancel_, clock_, error_);
  }

  bool WholeFile(std::size_t missing_count) {
    // A pause that comes before the first request is named here; the retry loop keeps the last reason.
    if (IsSet(cancel_)) {
      error_ = "cancelado";
      return false;
    }
    const auto attempt = [&](std::string& why) {
      return DownloadToFile(url_, whole_, progress_, cancel_, why, entry_.bTamanho);
    };
    // On failure the partial .orvb stays for the next run.
    if (!RetryTransfer(attempt, "download " + entry_.caminho, cancel_, clock_, error_)) return false;
    if (!DecompressOrvbFile(whole_, assembled_, entry_.tamanho, cancel_, error_)) {
      DeleteFileAt(assembled_);
      if (!IsSet(cancel_)) DeleteFileAt(whole_);
      return false;
    }
    Log("por bloco %s: inteiro (%zu de %zu blocos faltavam)", entry_.caminho.c_str(), missing_count,
        table_.blocks.size());
    whole_kept_ = true;
    return true;
  }

  int Place() {
    const std::string digest = Sha256OfFile(assembled_, progress_, cancel_);
    if (digest.empty() && IsSet(cancel_)) {
      // Interrupted, not wrong: the downloaded .orvb stays so nothing is fetched twice.
      error_ = "cancelado";
      return -1;
    }
    if (digest != entry_.sha256) {
      DeleteFileAt(assembled_);
      // A whole .orvb that decodes to the wrong file (a part resumed across a republication) would
      // be resumed and fail the same way on every later run.
      if (whole_kept_) DeleteFileAt(whole_);
      error_ = "arquivo montado com hash errado";
      Log("por bloco %s: hash errado (%s)", entry_.caminho.c_str(), digest.c_str());
      return -1;
    }
    // Placed first, deleted second: a crash in between leaves a spare .orvb (dropped when the staged
    // file is taken up), never an assembled file without the download it came from.
    if (!MoveFileReplacing(assembled_, target_, /*write_through=*/false)) {
      error_ = "falha ao gravar (disco cheio?)";
      return -1;
    }
    if (whole_kept_) DeleteFileAt(whole_);
    return 0;
  }

  const ManifestEntry& entry_;
  const std::filesystem::path& installed_;
  const std::string& installed_digests_;
  const std::filesystem::path& target_;
  std::filesystem::path assembled_;
  std::filesystem::path whole_;
  std::string url_;
  const ProgressCallback& progress_;
  const CancelFlag* cancel_;
  Clock& clock_;
  std::string& error_;
  OrvbTable table_;
  File output_;
  bool whole_kept_ = false;
};

}  // namespace

std::vector<std::vector<std::uint32_t>> AdjacentRuns(const std::vector<std::uint32_t>& indices,
                                                     std::size_t max_blocks) {
  std::vector<std::vector<std::uint32_t>> runs;
  for (const std::uint32_t index : indices) {
    if (runs.empty() || runs.back().size() >= max_blocks || runs.back().back() + 1 != index) runs.emplace_back();
    runs.back().push_back(index);
  }
  return runs;
}

int BlockDeltaDownload(const ManifestEntry& entry, const std::filesystem::path& installed,
                       const std::string& installed_blocks, const std::filesystem::path& target,
                       const std::string& base_url, const ProgressCallback& progress, const CancelFlag* cancel,
                       Clock& clock, std::string& error) {
  BlockDelta delta(entry, installed, installed_blocks, target, base_url, progress, cancel, clock, error);
  return delta.Run();
}

}  // namespace orv
