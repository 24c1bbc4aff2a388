#include "core/folder_picker.h"

#include <windows.h>
#include <shobjidl.h>

namespace orv {

namespace {

// Releases a COM interface on every path.
template <typename T>
class ComPtr {
 public:
  ComPtr() = default;
  ~ComPtr() {
    if (ptr_) ptr_->Release();
  }
  ComPtr(const ComPtr&) = delete;
  ComPtr& operator=(const ComPtr&) = delete;
  T** Out() { return &ptr_; }
  T* operator->() const { return ptr_; }
  T* Get() const { return ptr_; }

 private:
  T* ptr_ = nullptr;
};

}  // namespace

std::filesystem::path PickFolder(const std::filesystem::path& current, void* owner_window) {
  ComPtr<IFileOpenDialog> dialog;
  if (FAILED(CoCreateInstance(CLSID_FileOpenDialog, nullptr, CLSCTX_INPROC_SERVER, IID_IFileOpenDialog,
                              reinterpret_cast<void**>(dialog.Out())))) {
    return {};
  }
  FILEOPENDIALOGOPTIONS options = 0;
  dialog->GetOptions(&options);
  dialog->SetOptions(options | FOS_PICKFOLDERS | FOS_FORCEFILESYSTEM);
  dialog->SetTitle(L"Selecione a pasta para instalar o Valdren");
  if (!current.empty()) {
    ComPtr<IShellItem> start;
    if (SUCCEEDED(SHCreateItemFromParsingName(current.c_str(), nullptr, IID_IShellItem,
                                              reinterpret_cast<void**>(start.Out())))) {
      dialog->SetFolder(start.Get());
    }
  }
  if (FAILED(dialog->Show(static_cast<HWND>(owner_window)))) return {};
  ComPtr<IShellItem> result;
  if (FAILED(dialog->GetResult(result.Out()))) return {};
  PWSTR path = nullptr;
  if (FAILED(result->GetDisplayName(SIGDN_FILESYSPATH, &path)) || path == nullptr) return {};
  std::filesystem::path chosen = path;
  CoTaskMemFree(path);
  return chosen;
}

}  // namespace orv
