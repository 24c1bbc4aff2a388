// A counted reference to a COM object, and the small hand-written objects the browser calls back.
#pragma once

#include <windows.h>
#include <objbase.h>

#include <atomic>
#include <functional>
#include <utility>

namespace orv {

// Holds one reference; releases it when replaced or destroyed.
template <class T>
class ComRef {
 public:
  ComRef() = default;
  ~ComRef() { Reset(); }
  ComRef(const ComRef&) = delete;
  ComRef& operator=(const ComRef&) = delete;
  ComRef(ComRef&& other) noexcept : ptr_(std::exchange(other.ptr_, nullptr)) {}
  ComRef& operator=(ComRef&& other) noexcept {
    if (this != &other) {
      Reset();
      ptr_ = std::exchange(other.ptr_, nullptr);
    }
    return *this;
  }

  // Takes a new reference of its own to `ptr`.
  void Assign(T* ptr) {
    if (ptr != nullptr) ptr->AddRef();
    Reset();
    ptr_ = ptr;
  }
  void Reset() {
    if (ptr_ != nullptr) std::exchange(ptr_, nullptr)->Release();
  }
  // For out parameters that hand over a reference.
  T** Put() {
    Reset();
    return &ptr_;
  }
  [[nodiscard]] T* get() const { return ptr_; }
  T* operator->() const { return ptr_; }
  explicit operator bool() const { return ptr_ != nullptr; }

 private:
  T* ptr_ = nullptr;
};

#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wnon-virtual-dtor"
// A completion or event handler whose Invoke calls a C++ callable. Created with one reference,
// which the creator hands to the browser call and then drops (see MakeHandler).
template <class Interface, class A, class B>
class CallbackHandler final : public Interface {
 public:
  using Callback = std::function<HRESULT(A, B)>;
  CallbackHandler(const IID& iid, Callback callback) : iid_(iid), callback_(std::move(callback)) {}

  ULONG STDMETHODCALLTYPE AddRef() override { return refs_.fetch_add(1) + 1; }
  ULONG STDMETHODCALLTYPE Release() override {
    const ULONG left = refs_.fetch_sub(1) - 1;
    if (left == 0) delete this;
    return left;
  }
  HRESULT STDMETHODCALLTYPE QueryInterface(REFIID riid, void** out) override {
    if (out == nullptr) return E_POINTER;
    if (IsEqualIID(riid, IID_IUnknown) || IsEqualIID(riid, iid_)) {
      *out = static_cast<Interface*>(this);
      AddRef();
      return S_OK;
    }
    *out = nullptr;
    return E_NOINTERFACE;
  }
  HRESULT STDMETHODCALLTYPE Invoke(A a, B b) override { return callback_ ? callback_(a, b) : S_OK; }

 private:
  ~CallbackHandler() = default;
  std::atomic<ULONG> refs_{1};
  IID iid_;
  Callback callback_;
};

#pragma GCC diagnostic pop

// A new handler held by a ComRef (so the creator's reference is dropped once the browser took its own).
template <class Interface, class A, class B>
ComRef<Interface> MakeHandler(const IID& iid, std::function<HRESULT(A, B)> callback) {
  ComRef<Interface> ref;
  *ref.Put() = new CallbackHandler<Interface, A, B>(iid, std::move(callback));
  return ref;
}

}  // namespace orv
