// cabinet.dll's decoders when the system really has them; ours otherwise.
#include <windows.h>
// compressapi.h needs windows.h first.
#include <compressapi.h>

#include <new>

#include "formats/codec/decompressor.h"
#include "formats/codec/decompressor_backend.h"

namespace {

using CreateDecompressorFn = BOOL(WINAPI*)(DWORD, PCOMPRESS_ALLOCATION_ROUTINES, PDECOMPRESSOR_HANDLE);
using DecompressFn = BOOL(WINAPI*)(DECOMPRESSOR_HANDLE, LPCVOID, SIZE_T, PVOID, SIZE_T, PSIZE_T);
using CloseDecompressorFn = BOOL(WINAPI*)(DECOMPRESSOR_HANDLE);

template <typename Fn>
Fn Symbol(HMODULE module, const char* name) {
  // Through void(*)() so that the cast between function types is explicit and warning-free.
  return reinterpret_cast<Fn>(reinterpret_cast<void (*)()>(GetProcAddress(module, name)));
}

// Wine's cabinet.dll exports the Compression API as stubs that abort the process when called.
bool RunningUnderWine() {
  HMODULE ntdll = GetModuleHandleW(L"ntdll.dll");
  return ntdll != nullptr && GetProcAddress(ntdll, "wine_get_version") != nullptr;
}

class Library {
 public:
  Library() : module_(LoadLibraryExW(L"cabinet.dll", nullptr, LOAD_LIBRARY_SEARCH_SYSTEM32)) {}
  ~Library() {
    if (module_ != nullptr) FreeLibrary(module_);
  }
  Library(const Library&) = delete;
  Library& operator=(const Library&) = delete;
  [[nodiscard]] HMODULE get() const { return module_; }

 private:
  HMODULE module_;
};

class CabinetBackend final : public DecompressorBackend {
 public:
  CabinetBackend() = default;
  ~CabinetBackend() override {
    if (handle_ != nullptr) close_(handle_);
  }
  CabinetBackend(const CabinetBackend&) = delete;
  CabinetBackend& operator=(const CabinetBackend&) = delete;

  // False when cabinet.dll or its API is missing, or when it refuses the algorithm.
  bool Open(std::uint32_t algorithm) {
    if (library_.get() == nullptr) return false;
    auto create = Symbol<CreateDecompressorFn>(library_.get(), "CreateDecompressor");
    decompress_ = Symbol<DecompressFn>(library_.get(), "Decompress");
    close_ = Symbol<CloseDecompressorFn>(library_.get(), "CloseDecompressor");
    if (create == nullptr || decompress_ == nullptr || close_ == nullptr) return false;
    DECOMPRESSOR_HANDLE handle = nullptr;
    if (!create(algorithm, nullptr, &handle)) return false;
    handle_ = handle;
    return true;
  }

  bool Decompress(const void* in, std::size_t in_size, void* out, std::size_t capacity,
                  std::size_t* decoded_size) override {
    SIZE_T size = 0;
    const BOOL ok = decompress_(handle_, in, in_size, out, capacity, &size);
    *decoded_size = size;
    return ok != FALSE;
  }

 private:
  Library library_;
  DecompressFn decompress_ = nullptr;
  CloseDecompressorFn close_ = nullptr;
  DECOMPRESSOR_HANDLE handle_ = nullptr;
};

bool CabinetHasApi() {
  if (RunningUnderWine()) return false;
  Library library;
  return library.get() != nullptr && GetProcAddress(library.get(), "CreateDecompressor") != nullptr &&
         GetProcAddress(library.get(), "Decompress") != nullptr &&
         GetProcAddress(library.get(), "CloseDecompressor") != nullptr;
}

}  // namespace

std::unique_ptr<DecompressorBackend> CreatePlatformBackend(std::uint32_t algorithm) {
  if (!CabinetHasApi()) return CreateBuiltinBackend(algorithm);
  std::unique_ptr<CabinetBackend> cabinet(new (std::nothrow) CabinetBackend);
  if (!cabinet || !cabinet->Open(algorithm)) return nullptr;
  return cabinet;
}

bool SystemDecompressorInUse() { return CabinetHasApi(); }
