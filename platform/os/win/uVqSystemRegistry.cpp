// The registry of Windows behind the same interface as the tree in a file.

#include <windows.h>

#include <system_error>

#include "platform/os/uVqRegistry.h"

namespace velmore {
namespace {

std::wstring Wide(const string& text) {
  return std::wstring(text.begin(), text.end());
}

string Narrow(const wchar_t* text, std::size_t length) {
  return std::u16string(text, text + length);
}

/// Without separators that the system refuses.
string Cleaned(const string& path) {
  string cleaned;
  for (const string& name : VqRegistryNames(path)) {
    if (!cleaned.empty()) cleaned += "\\";
    cleaned += name;
  }
  return cleaned;
}

HKEY RootOf(TVqRegistryRoot root) {
  return root == TVqRegistryRoot::currentUser ? HKEY_CURRENT_USER : HKEY_LOCAL_MACHINE;
}

/// What the system knows of the rights that were asked for. A view that was added to rights which had it already
/// carries into the next bit, which Windows does not know and would refuse.
REGSAM RightsOf(std::uint32_t access) {
  const bool view32 = (access & (kVqKeyView32 | kVqKeyView32 << 1)) != 0;
  return (access & (kVqKeyRead | kVqKeyWrite)) | (view32 ? KEY_WOW64_32KEY : 0);
}

[[noreturn]] void Raise(TVqRegistryRoot root, const string& path, const char* what, LSTATUS number) {
  throw EVqRegistryError("The registry key \"" + VqRegistryRootText(root) + "\\" + path + "\" cannot be " + what +
                             ": " + std::system_category().message(static_cast<int>(number)) + ".",
                         static_cast<std::uint32_t>(number));
}

class TKey final : public TVqObject, public IVqRegistryKey {
 public:
  TKey(TVqRegistryRoot root, string path, std::uint32_t access, HKEY key)
      : FRoot(root), FPath(std::move(path)), FAccess(access), FKey(key) {}

  std::uint32_t GetAccess() const override { return FAccess; }

  std::vector<string> GetKeyNames() override {
    return Names([](HKEY key, DWORD index, wchar_t* name, DWORD* size) {
      return RegEnumKeyExW(key, index, name, size, nullptr, nullptr, nullptr, nullptr);
    });
  }
  std::vector<string> GetValueNames() override {
    return Names([](HKEY key, DWORD index, wchar_t* name, DWORD* size) {
      return RegEnumValueW(key, index, name, size, nullptr, nullptr, nullptr, nullptr);
    });
  }

  bool ValueExists(const string& AName) override {
    const LSTATUS status = RegQueryValueExW(Handle(), Wide(AName).c_str(), nullptr, nullptr, nullptr, nullptr);
    if (status == ERROR_FILE_NOT_FOUND) return false;
    Check(status, "read");
    return true;
  }
  string ReadString(const string& AName) override {
    const std::wstring name = Wide(AName);
    for (;;) {
      DWORD kind = 0, size = 0;
      LSTATUS status = RegQueryValueExW(Handle(), name.c_str(), nullptr, &kind, nullptr, &size);
      if (status == ERROR_FILE_NOT_FOUND) return {};
      Check(status, "read");
      if (kind != REG_SZ && kind != REG_EXPAND_SZ) RaiseWrongKind(AName, "text");
      std::wstring value(size / sizeof(wchar_t) + 1, L'\0');
      status = RegQueryValueExW(Handle(), name.c_str(), nullptr, nullptr, reinterpret_cast<BYTE*>(value.data()), &size);
      if (status == ERROR_MORE_DATA) continue;  // it grew meanwhile
      Check(status, "read");
      std::size_t length = size / sizeof(wchar_t);
      while (length > 0 && value[length - 1] == L'\0') --length;  // the zero may be there or not
      return Narrow(value.data(), length);
    }
  }
  std::uint32_t ReadInteger(const string& AName) override {
    DWORD kind = 0, value = 0, size = sizeof value;
    const LSTATUS status =
        RegQueryValueExW(Handle(), Wide(AName).c_str(), nullptr, &kind, reinterpret_cast<BYTE*>(&value), &size);
    if (status == ERROR_FILE_NOT_FOUND) return 0;
    if (status == ERROR_MORE_DATA || (status == ERROR_SUCCESS && kind != REG_DWORD)) RaiseWrongKind(AName, "number");
    Check(status, "read");
    return value;
  }

  void WriteString(const string& AName, const string& AValue) override {
    const std::wstring value = Wide(AValue);
    Check(RegSetValueExW(Handle(), Wide(AName).c_str(), 0, REG_SZ, reinterpret_cast<const BYTE*>(value.c_str()),
                         static_cast<DWORD>((value.size() + 1) * sizeof(wchar_t))),
          "changed");
  }
  void WriteInteger(const string& AName, std::uint32_t AValue) override {
    const DWORD value = AValue;
    Check(RegSetValueExW(Handle(), Wide(AName).c_str(), 0, REG_DWORD, reinterpret_cast<const BYTE*>(&value),
                         sizeof value),
          "changed");
  }
  bool DeleteValue(const string& AName) override {
    const LSTATUS status = RegDeleteValueW(Handle(), Wide(AName).c_str());
    if (status == ERROR_FILE_NOT_FOUND) return false;
    Check(status, "changed");
    return true;
  }
  void Close() override {
    if (FKey) RegCloseKey(std::exchange(FKey, nullptr));
  }

 private:
  ~TKey() override { Close(); }

  HKEY Handle() const {
    if (!FKey) throw EVqException("The registry key \"" + VqRegistryRootText(FRoot) + "\\" + FPath + "\" is closed.");
    return FKey;
  }
  void Check(LSTATUS status, const char* what) const {
    if (status != ERROR_SUCCESS) Raise(FRoot, FPath, what, status);
  }
  [[noreturn]] void RaiseWrongKind(const string& name, const char* kind) const {
    throw EVqRegistryError("The value \"" + name + "\" of the registry key \"" + VqRegistryRootText(FRoot) + "\\" +
                               FPath + "\" is no " + kind + ".",
                           kVqRegistryWrongKind);
  }

  template <typename TEnumerate>
  std::vector<string> Names(TEnumerate enumerate) {
    std::vector<string> names;
    std::wstring name(16384, L'\0');  // the longest that a value can have
    for (DWORD index = 0;; ++index) {
      auto size = static_cast<DWORD>(name.size());
      const LSTATUS status = enumerate(Handle(), index, name.data(), &size);
      if (status == ERROR_NO_MORE_ITEMS) return names;
      Check(status, "listed");
      names.push_back(Narrow(name.data(), size));
    }
  }

  TVqRegistryRoot FRoot;
  string FPath;
  std::uint32_t FAccess;
  HKEY FKey;
};

class TRegistry final : public TVqObject, public IVqRegistry {
 public:
  TVqRef<IVqRegistryKey> OpenKey(TVqRegistryRoot ARoot, const string& APath, std::uint32_t AAccess,
                                 bool ACreate) override {
    const string path = Cleaned(APath);
    HKEY key = nullptr;
    const LSTATUS status = ACreate ? RegCreateKeyExW(RootOf(ARoot), Wide(path).c_str(), 0, nullptr, 0,
                                                     RightsOf(AAccess), nullptr, &key, nullptr)
                                   : RegOpenKeyExW(RootOf(ARoot), Wide(path).c_str(), 0, RightsOf(AAccess), &key);
    if (status == ERROR_FILE_NOT_FOUND && !ACreate) return nullptr;
    if (status != ERROR_SUCCESS) Raise(ARoot, path, "opened", status);
    return MakeRef<TKey>(ARoot, path, AAccess, key);
  }

  bool DeleteKey(TVqRegistryRoot ARoot, const string& APath, std::uint32_t AAccess) override {
    const string path = Cleaned(APath);
    if (path.empty()) throw EVqRegistryError("A root of the registry cannot be deleted.", kVqRegistryBadName);
    if (!(AAccess & kVqKeySetValue)) Raise(ARoot, path, "deleted", ERROR_ACCESS_DENIED);
    // The view is chosen by the key that it is deleted from.
    const std::vector<string> names = VqRegistryNames(path);
    const string parent = path.Copy(0, path.Length() - names.back().Length());
    HKEY key = nullptr;
    const REGSAM rights =
        DELETE | KEY_ENUMERATE_SUB_KEYS | KEY_QUERY_VALUE | KEY_SET_VALUE | (RightsOf(AAccess) & KEY_WOW64_32KEY);
    LSTATUS status = RegOpenKeyExW(RootOf(ARoot), Wide(Cleaned(parent)).c_str(), 0, rights, &key);
    if (status == ERROR_SUCCESS) {
      status = RegDeleteTreeW(key, Wide(names.back()).c_str());
      RegCloseKey(key);
    }
    if (status == ERROR_FILE_NOT_FOUND) return false;
    if (status != ERROR_SUCCESS) Raise(ARoot, path, "deleted", status);
    return true;
  }
};

}  // namespace

TVqRef<IVqRegistry> VqSystemRegistry() {
  return MakeRef<TRegistry>();
}

}  // namespace velmore
