#include <windows.h>

#include "core/text.h"
#include "support/child_process.h"

namespace orv {

namespace {

// One argument quoted the way CommandLineToArgvW and the C runtime read it back.
std::wstring Quoted(const std::wstring& arg) {
  std::wstring out = L"\"";
  size_t backslashes = 0;
  for (wchar_t ch : arg) {
    if (ch == L'\\') {
      ++backslashes;
      continue;
    }
    // Backslashes before a quote are doubled, and the quote escaped.
    out.append(ch == L'"' ? backslashes * 2 + 1 : backslashes, L'\\');
    backslashes = 0;
    out += ch;
  }
  out.append(backslashes * 2, L'\\');
  out += L'"';
  return out;
}

// The parent's environment block with `extra` put over it (same name replaced, others added).
std::wstring EnvironmentBlock(const std::vector<std::string>& extra) {
  std::vector<std::wstring> overrides;
  for (const std::string& entry : extra) overrides.push_back(Utf8ToWide(entry));
  std::wstring block;
  wchar_t* strings = GetEnvironmentStringsW();
  for (const wchar_t* item = strings; item != nullptr && *item != L'\0'; item += wcslen(item) + 1) {
    const std::wstring entry = item;
    // Names like "=C:" (the current folder of a drive) start with '='.
    const std::wstring name = entry.substr(0, entry.find(L'=', 1) + 1);
    bool replaced = false;
    for (const std::wstring& override_entry : overrides) {
      replaced = replaced || CompareStringOrdinal(override_entry.c_str(), static_cast<int>(name.size()), name.c_str(),
                                                  static_cast<int>(name.size()), TRUE) == CSTR_EQUAL;
    }
    if (!replaced) block += entry + L'\0';
  }
  if (strings != nullptr) FreeEnvironmentStringsW(strings);
  for (const std::wstring& entry : overrides) block += entry + L'\0';
  block += L'\0';
  return block;
}

HANDLE AsHandle(std::intptr_t value) { return reinterpret_cast<HANDLE>(value); }

}  // namespace

ChildProcess::~ChildProcess() {
  if (process_ != -1 && !waited_) {
    Kill();
    Wait();
  }
  if (process_ != -1) CloseHandle(AsHandle(process_));
  if (output_ != -1) CloseHandle(AsHandle(output_));
}

bool ChildProcess::Start(const std::filesystem::path& program, const std::vector<std::string>& args,
                         const std::vector<std::string>& environment) {
  SECURITY_ATTRIBUTES inheritable{sizeof(SECURITY_ATTRIBUTES), nullptr, TRUE};
  HANDLE read_end = nullptr;
  HANDLE write_end = nullptr;
  if (!CreatePipe(&read_end, &write_end, &inheritable, 0)) return false;
  SetHandleInformation(read_end, HANDLE_FLAG_INHERIT, 0);  // only the write end goes to the child

  std::wstring command = Quoted(program.wstring());
  for (const std::string& arg : args) command += L" " + Quoted(Utf8ToWide(arg));
  std::wstring env = EnvironmentBlock(environment);
  STARTUPINFOW startup{};
  startup.cb = sizeof(startup);
  startup.dwFlags = STARTF_USESTDHANDLES;
  startup.hStdInput = GetStdHandle(STD_INPUT_HANDLE);
  startup.hStdOutput = write_end;
  startup.hStdError = GetStdHandle(STD_ERROR_HANDLE);
  PROCESS_INFORMATION info{};
  const BOOL started = CreateProcessW(program.c_str(), command.data(), nullptr, nullptr, TRUE,
                                      CREATE_UNICODE_ENVIRONMENT, env.data(), nullptr, &startup, &info);
  CloseHandle(write_end);  // or the pipe never reports the child's end
  if (!started) {
    CloseHandle(read_end);
    return false;
  }
  CloseHandle(info.hThread);
  process_ = reinterpret_cast<std::intptr_t>(info.hProcess);
  output_ = reinterpret_cast<std::intptr_t>(read_end);
  return true;
}

std::size_t ChildProcess::Read(char* buffer, std::size_t size) {
  DWORD got = 0;
  const DWORD wanted = size > 0x10000000 ? 0x10000000 : static_cast<DWORD>(size);
  // A broken pipe (the child ended) reads as the end.
  if (!ReadFile(AsHandle(output_), buffer, wanted, &got, nullptr)) return 0;
  return got;
}

void ChildProcess::Kill() {
  if (process_ == -1 || waited_) return;
  if (TerminateProcess(AsHandle(process_), 1)) killed_ = true;
}

int ChildProcess::Wait() {
  if (waited_ || process_ == -1) return exit_code_;
  WaitForSingleObject(AsHandle(process_), INFINITE);
  DWORD code = 0;
  GetExitCodeProcess(AsHandle(process_), &code);
  waited_ = true;
  exit_code_ = killed_ ? -1 : static_cast<int>(code);
  return exit_code_;
}

}  // namespace orv
