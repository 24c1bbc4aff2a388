// cabinet.dll's decoders when the system really has them; ours otherwise.
#include <windows.h>
// compressapi.h needs windows.h first.
#include <compressapi.h>

#include <new>

#include "formats/codec/decompressor.h"
#include "formats/codec/decompressor_backend.h"

namespace orv {

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

// cabinet.dll and its three functions, looked up once for the whole process; every decompressor
// shares them. All null when the library or one function is missing, or under Wine.
struct CabinetApi {
  Library library;
  CreateDecompressorFn create = nullptr;
  DecompressFn decompress = nullptr;
  CloseDecompressorFn close = nullptr;

  CabinetApi() {
    if (library.get() == nullptr) return;
    auto create_fn = Symbol<CreateDecompressorFn>(library.get(), "CreateDecompressor");
    auto decompress_fn = Symbol<DecompressFn>(library.get(), "Decompress");
    auto close_fn = Symbol<CloseDecompressorFn>(library.get(), "CloseDecompressor");
    if (create_fn == nullptr || decompress_fn == nullptr || close_fn == nullptr) return;
    create = create_fn;
    decompress = decompress_fn;
    close = close_fn;
  }
  [[nodiscard]] bool Usable() const { return create != nullptr; }
};

// Null under Wine, whose stubs must never be called (the library is not even loaded there).
const CabinetApi* Cabinet() {
  static const CabinetApi* const api = []() -> const CabinetApi* {
    if (RunningUnderWine()) return nullptr;
    static const CabinetApi loaded;
    return loaded.Usable() ? &loaded : nullptr;
  }();
  return api;
}

class CabinetBackend final : public DecompressorBackend {
 public:
  explicit CabinetBackend(const CabinetApi& api) : api_(api) {}
  ~CabinetBackend() override {
    if (handle_ != nullptr) api_.close(handle_);
  }
  CabinetBackend(const CabinetBackend&) = delete;
  CabinetBackend& operator=(const CabinetBackend&) = delete;

  // False when cabinet.dll refuses the algorithm.
  bool Open(std::uint32_t algorithm) {
    DECOMPRESSOR_HANDLE handle = nullptr;
    if (!api_.create(algorithm, nullptr, &handle)) return false;
    handle_ = handle;
    return true;
  }

  bool Decompress(const void* in, std::size_t in_size, void* out, std::size_t capacity,
                  std::size_t* decoded_size) override {
    SIZE_T size = 0;
    const BOOL ok = api_.decompress(handle_, in, in_size, out, capacity, &size);
    *decoded_size = size;
    return ok != FALSE;
  }

 private:
  const CabinetApi& api_;
  DECOMPRESSOR_HANDLE handle_ = nullptr;
};

}  // namespace

std::unique_ptr<DecompressorBackend> CreatePlatformBackend(std::uint32_t algorithm) {
  const CabinetApi* api = Cabinet();
  if (api == nullptr) return CreateBuiltinBackend(algorithm);
  std::unique_ptr<CabinetBackend> cabinet(new (std::nothrow) CabinetBackend(*api));
  if (!cabinet || !cabinet->Open(algorithm)) return nullptr;
  return cabinet;
}

bool SystemDecompressorInUse() { return Cabinet() != nullptr; }

}  // namespace orv
