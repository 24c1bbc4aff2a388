#include "tools/orvpack/publish.h"

#include <map>
#include <set>
#include <system_error>

#include "core/file.h"
#include "core/file_util.h"
#include "core/paths.h"
#include "formats/pack_writer.h"
#include "tools/orvpack/build_files.h"
#include "update/manifest.h"
#include "update/sha256.h"

namespace orv {

namespace {

// A compressed variant must save at least this share of the file to be worth a second download path.
constexpr double kWorthwhileRatio = 0.9;
constexpr std::uint64_t kCompressMin = 1024;

// Copies `from` to `to` through a temporary name, so a reader never sees half a file.
bool CopyFileAtomically(const std::filesystem::path& from, const std::filesystem::path& to) {
  const std::filesystem::path temporary = WithSuffix(to, ".orvpack-tmp");
  EnsureParentFolder(to);
  File in(from, File::Access::kReadSequential);
  File out(temporary, File::Access::kCreate);
  if (!in.IsOpen() || !out.IsOpen()) return false;
  std::vector<std::uint8_t> buffer(1 << 20);
  for (;;) {
    const std::int64_t got = in.Read(buffer.data(), buffer.size());
    if (got < 0) return false;
    if (got == 0) break;
    if (!out.Write(buffer.data(), static_cast<std::size_t>(got))) return false;
  }
  out.Close();
  return MoveFileReplacing(temporary, to, false);
}

// The entries of the channel's current manifest.json by "caminho" (none when it is missing or not a
// manifest), read as the launcher reads them: an entry the launcher would skip names nothing to reuse
// or delete.
std::map<std::string, ManifestEntry> ReadPreviousManifest(const std::filesystem::path& channel_folder) {
  std::map<std::string, ManifestEntry> previous;
  std::string text;
  Manifest manifest;
  if (!ReadWholeFile(channel_folder / "manifest.json", text) || !ParseManifest(text, {}, manifest)) return previous;
  for (ManifestEntry& entry : manifest.arquivos) previous[entry.caminho] = std::move(entry);
  return previous;
}

bool SameSize(const std::filesystem::path& path, std::uint64_t size) {
  const std::int64_t actual = FileSizeOf(path);
  return actual >= 0 && static_cast<std::uint64_t>(actual) == size;
}

class Publisher {
 public:
  Publisher(const PublishOptions& options, const PublishProgress& progress, const CancelFlag* cancel,
            PublishSummary& summary, std::string& error)
      : options_(options), progress_(progress), cancel_(cancel), summary_(summary), error_(error) {}

  bool Run() {
    std::vector<BuildFile> files;
    if (!Validate() || !ListBuildFiles(options_.build, files, error_)) return false;
    previous_ = ReadPreviousManifest(options_.channel);
    for (const BuildFile& file : files) total_ += file.size;

    Manifest manifest;
    manifest.versao = options_.versao;
    manifest.servidor = options_.servidor;
    manifest.base = options_.base;
    for (const BuildFile& file : files) {
      if (IsSet(cancel_)) {
        error_ = "cancelado";
        return false;
      }
      ManifestEntry published;
      if (!PublishFile(file, published)) return false;
      manifest.arquivos.push_back(std::move(published));
      done_ += file.size;
      Report(file.caminho);
    }
    if (!options_.launcher.empty() && !PublishLauncher(manifest)) return false;
    RemoveDropped(files);
    // The manifest goes last: until it is replaced, clients keep seeing a consistent channel.
    const std::filesystem::path manifest_path = options_.channel / "manifest.json";
    if (!WriteWholeFile(WithSuffix(manifest_path, ".orvpack-tmp"), ManifestText(manifest)) ||
        !MoveFileReplacing(WithSuffix(manifest_path, ".orvpack-tmp"), manifest_path, true)) {
      error_ = "nao gravou " + PathToUtf8(manifest_path);
      return false;
    }
    return true;
  }

 private:
  bool Validate() {
    if (options_.versao.empty() || options_.servidor.empty()) {
      error_ = "--versao e --servidor sao obrigatorios";
      return false;
    }
    if (options_.algorithm != kAlgorithmMszip && options_.algorithm != kAlgorithmXpressHuff) {
      error_ = "algoritmo de compressao nao suportado";
      return false;
    }
    std::error_code ec;
    const auto build = std::filesystem::weakly_canonical(options_.build, ec);
    const auto channel = std::filesystem::weakly_canonical(options_.channel, ec);
    const std::string relative = PathToUtf8(channel.lexically_relative(build));
    if (!ec && (relative == "." || (!relative.empty() && relative.rfind("..", 0) != 0))) {
      error_ = "a pasta do canal nao pode ficar dentro da pasta do build";
      return false;
    }
    return CreateFolderTree(options_.channel);
  }

  bool CreateFolderTree(const std::filesystem::path& folder) {
    std::error_code ec;
    std::filesystem::create_directories(folder, ec);
    if (ec || !std::filesystem::is_directory(folder, ec)) {
      error_ = "nao criou a pasta do canal: " + PathToUtf8(folder);
      return false;
    }
    return true;
  }

  void Report(const std::string& caminho) {
    if (progress_) progress_(done_, total_, caminho);
  }

  bool PublishFile(const BuildFile& file, ManifestEntry& published) {
    published.caminho = file.caminho;
    published.tamanho = file.size;
    published.sha256 = Sha256OfFile(file.path, {}, cancel_);
    if (published.sha256.empty()) {
      error_ = "nao leu " + file.caminho;
      return false;
    }
    const std::filesystem::path out = JoinRelative(options_.channel, file.caminho);
    const auto old = previous_.find(file.caminho);
    const ManifestEntry* before =
        old != previous_.end() && old->second.sha256 == published.sha256 ? &old->second : nullptr;
    bool reused = before != nullptr && SameSize(out, file.size);
    if (!reused && !CopyFileAtomically(file.path, out)) {
      error_ = "nao copiou " + file.caminho;
      return false;
    }
    if (file.size >= options_.block_min) {
      if (!BlockVariant(file, out, before, published, reused)) return false;
      DeleteFileAt(WithSuffix(out, ".orvz"));
    } else {
      if (!CompressedVariant(file, out, before, published, reused)) return false;
      DeleteFileAt(WithSuffix(out, ".orvb"));
    }
    summary_.files++;
    summary_.bytes += file.size;
    summary_.reused += reused ? 1 : 0;
    summary_.published_bytes += published.bloco > 0      ? published.bTamanho
                                : published.zTamanho > 0 ? published.zTamanho
                                                         : published.tamanho;
    return true;
  }

  bool BlockVariant(const BuildFile& file, const std::filesystem::path& out, const ManifestEntry* before,
                    ManifestEntry& published, bool& reused) {
    const std::uint32_t block = options_.block_size != 0 ? options_.block_size : DefaultBlockSize(file.size);
    const std::filesystem::path orvb = WithSuffix(out, ".orvb");
    if (reused && before->bloco == block && before->bTamanho > 0 && SameSize(orvb, before->bTamanho)) {
      published.bloco = before->bloco;
      published.blocos = before->blocos;
      published.bTamanho = before->bTamanho;
    } else {
      reused = false;
      published.bloco = block;
      published.blocos = Sha256OfBlocks(file.path, block, cancel_);
      if (!Encode(file, orvb, block, /*blocks=*/true)) return false;
      published.bTamanho = static_cast<std::uint64_t>(FileSizeOf(orvb));
    }
    summary_.blocked++;
    return true;
  }

  bool CompressedVariant(const BuildFile& file, const std::filesystem::path& out, const ManifestEntry* before,
                         ManifestEntry& published, bool& reused) {
    const std::filesystem::path orvz = WithSuffix(out, ".orvz");
    if (file.size < kCompressMin) {
      DeleteFileAt(orvz);
      return true;
    }
    if (reused && before->bloco == 0) {
      // The earlier decision stands: either its .orvz is still there, or compression did not pay.
      if (before->zTamanho == 0 || SameSize(orvz, before->zTamanho)) {
        published.zTamanho = before->zTamanho;
        summary_.compressed += published.zTamanho > 0 ? 1 : 0;
        return true;
      }
    }
    reused = false;
    if (!Encode(file, orvz, options_.chunk_size, /*blocks=*/false)) return false;
    const auto size = static_cast<std::uint64_t>(FileSizeOf(orvz));
    if (static_cast<double>(size) >= kWorthwhileRatio * static_cast<double>(file.size)) {
      DeleteFileAt(orvz);
      return true;
    }
    published.zTamanho = size;
    summary_.compressed++;
    return true;
  }

  bool Encode(const BuildFile& file, const std::filesystem::path& target, std::uint32_t unit, bool blocks) {
    const PackParameters parameters{options_.algorithm, unit, options_.level};
    const std::filesystem::path temporary = WithSuffix(target, ".orvpack-tmp");
    EnsureParentFolder(target);
    const bool ok = blocks ? WriteOrvbFile(file.path, temporary, parameters, cancel_, error_)
                           : WriteOrvzFile(file.path, temporary, parameters, cancel_, error_);
    if (!ok || !MoveFileReplacing(temporary, target, false)) {
      DeleteFileAt(temporary);
      error_ = file.caminho + ": " + (ok ? "nao gravou o arquivo empacotado" : error_);
      return false;
    }
    return true;
  }

  bool PublishLauncher(Manifest& manifest) {
    if (options_.launcher_versao.empty()) {
      error_ = "--launcher-versao e obrigatorio com --launcher";
      return false;
    }
    manifest.launcher.present = true;
    manifest.launcher.versao = options_.launcher_versao;
    manifest.launcher.sha256 = Sha256OfFile(options_.launcher, {}, cancel_);
    if (manifest.launcher.sha256.empty() ||
        !CopyFileAtomically(options_.launcher, options_.channel / manifest.launcher.arquivo)) {
      error_ = "nao copiou o launcher " + PathToUtf8(options_.launcher);
      return false;
    }
    return true;
  }

  // Outputs of files that left the build go with them; nothing else in the folder is touched.
  void RemoveDropped(const std::vector<BuildFile>& files) {
    std::set<std::string> kept;
    for (const BuildFile& file : files) kept.insert(file.caminho);
    for (const auto& [caminho, entry] : previous_) {
      if (kept.contains(caminho)) continue;
      const std::filesystem::path out = JoinRelative(options_.channel, caminho);
      DeleteFileAt(out);
      DeleteFileAt(WithSuffix(out, ".orvz"));
      DeleteFileAt(WithSuffix(out, ".orvb"));
      summary_.removed++;
    }
  }

  const PublishOptions& options_;
  const PublishProgress& progress_;
  const CancelFlag* cancel_;
  PublishSummary& summary_;
  std::string& error_;
  std::map<std::string, ManifestEntry> previous_;
  std::uint64_t total_ = 0;
  std::uint64_t done_ = 0;
};

}  // namespace

std::uint32_t DefaultBlockSize(std::uint64_t size) { return size < (64ull << 20) ? 256u << 10 : 1u << 20; }

bool PublishChannel(const PublishOptions& options, const PublishProgress& progress, const CancelFlag* cancel,
                    PublishSummary& summary, std::string& error) {
  summary = {};  // each publication counts afresh, whatever the caller's summary held
  Publisher publisher(options, progress, cancel, summary, error);
  return publisher.Run();
}

}  // namespace orv
