#include "platform/os/uVqFileRegistry.h"

#include <optional>

#include "platform/os/uVqEnvironment.h"
#include "platform/os/uVqFiles.h"
#include "platform/os/uVqRegistryTree_p.h"

namespace velmore {
namespace {

constexpr std::size_t kMaxName = 255;  // of a key, in 16-bit units, as on Windows
constexpr std::size_t kMaxDepth = 512;

using TPath = std::vector<string>;

string Join(const TPath& path) {
  string text;
  for (const string& name : path) (text += "\\") += name;
  return text;
}

/// One root's file.
class TStore {
 public:
  TStore(TVqRegistryRoot root, const string& configured) : FRoot(root) {
    const std::optional<string> name = VqTryExpandPath(configured);
    if (!name) {
      throw EVqRegistryError(
          "There is no file for " + VqRegistryRootText(root) + ": \"" + configured +
              "\" names a variable that is not set. Set HOME or XDG_DATA_HOME, or name another file.",
          kVqRegistryFailed);
    }
    FName = *name;
  }

  string KeyText(const TPath& path) const { return VqRegistryRootText(FRoot) + Join(path); }

  std::unique_ptr<TVqRegistryTree> Load(const TPath& path) const {
    return Guarded(path, "read", [&] {
      std::optional<std::string> text = VqTryReadFile(FName);
      if (!text) return std::make_unique<TVqRegistryTree>();
      return std::make_unique<TVqRegistryTree>(std::move(*text), FName);
    });
  }

  /// Lets `change` work on the newest state, with everybody else kept out, and writes it unless the change says false.
  template <typename TChange>
  void Change(const TPath& path, TChange change) const {
    const bool user = FRoot == TVqRegistryRoot::currentUser;
    Guarded(path, "changed", [&] {
      VqMakeFolders(VqFolderOf(FName), user ? 0700 : 0755);
      const TVqFileLock lock(FName, 10000, user ? 0600 : 0660);
      const std::unique_ptr<TVqRegistryTree> tree = Load(path);
      if (change(*tree)) VqReplaceFile(FName, tree->Text(), user ? TVqFileModes{0600, 0660} : TVqFileModes{0644, 0664});
    });
  }

  [[noreturn]] void RaiseDenied(const TPath& path, const char* what, const string& why) const {
    throw EVqRegistryError(
        "The registry key \"" + KeyText(path) + "\" cannot be " + what + ": access is denied. " + why,
        kVqRegistryAccessDenied);
  }

 private:
  template <typename TWork>
  auto Guarded(const TPath& path, const char* what, TWork work) const -> decltype(work()) {
    try {
      return work();
    } catch (const EVqFileError& failure) {
      if (failure.Reason() == EVqFileError::TReason::accessDenied) RaiseDenied(path, what, failure.Message());
      throw EVqRegistryError("The registry key \"" + KeyText(path) + "\" cannot be " + what + ". " + failure.Message(),
                             kVqRegistryFailed);
    }
  }

  TVqRegistryRoot FRoot;
  string FName;
};

/// Reads one state of the file and remembers what is written, until it is closed.
class TKey final : public TVqObject, public IVqRegistryKey {
 public:
  TKey(TStore store, TPath path, std::uint32_t access, std::unique_ptr<TVqRegistryTree> tree)
      : FStore(std::move(store)), FPath(std::move(path)), FAccess(access), FTree(std::move(tree)) {}

  std::uint32_t GetAccess() const override { return FAccess; }

  std::vector<string> GetKeyNames() override {
    std::vector<string> names;
    for (const auto& key : Node(kVqKeyEnumerate, "listed").Keys) names.emplace_back(key->Name);
    return names;
  }
  std::vector<string> GetValueNames() override {
    std::vector<string> names;
    for (const TVqRegistryValue& value : Node(kVqKeyQueryValue, "read").Values)
      names.emplace_back(TVqRegistryTree::NameOf(value));
    return names;
  }
  bool ValueExists(const string& AName) override {
    return TVqRegistryTree::FindValue(Node(kVqKeyQueryValue, "read"), AName) != nullptr;
  }
  string ReadString(const string& AName) override { return Read<string>(AName, TVqRegistryTree::TryText, "text"); }
  std::uint32_t ReadInteger(const string& AName) override {
    return Read<std::uint32_t>(AName, TVqRegistryTree::TryNumber, "number");
  }

  void WriteString(const string& AName, const string& AValue) override {
    Write(AName, TVqRegistryTree::DataOf(AValue));
  }
  void WriteInteger(const string& AName, std::uint32_t AValue) override {
    Write(AName, TVqRegistryTree::DataOf(AValue));
  }
  bool DeleteValue(const string& AName) override {
    if (!TVqRegistryTree::DeleteValue(Node(kVqKeySetValue, "changed"), AName)) return false;
    FChanges.push_back({AName, {}});
    return true;
  }

  void Close() override {
    if (!FTree) return;
    FTree.reset();
    if (FChanges.empty()) return;
    FStore.Change(FPath, [this](TVqRegistryTree& tree) {
      TVqRegistryNode& node = tree.Make(FPath);
      for (const TChange& change : FChanges) {
        if (change.Data)
          tree.SetData(node, change.Name, *change.Data);
        else
          TVqRegistryTree::DeleteValue(node, change.Name);
      }
      return true;
    });
  }

 private:
  struct TChange {
    string Name;
    std::optional<std::string> Data;  // nothing: deleted
  };

  TVqRegistryNode& Node(std::uint32_t right, const char* what) {
    if (!FTree) throw EVqException("The registry key \"" + FStore.KeyText(FPath) + "\" is closed.");
    if (!(FAccess & right)) FStore.RaiseDenied(FPath, what, "It was opened without the right to do so.");
    return *FTree->Find(FPath);
  }

  template <typename T, typename TTry>
  T Read(const string& name, TTry tryRead, const char* kind) {
    T result{};
    const TVqRegistryValue* value = TVqRegistryTree::FindValue(Node(kVqKeyQueryValue, "read"), name);
    if (value && !tryRead(*value, result)) {
      throw EVqRegistryError(
          "The value \"" + name + "\" of the registry key \"" + FStore.KeyText(FPath) + "\" is no " + kind + ".",
          kVqRegistryWrongKind);
    }
    return result;
  }

  void Write(const string& name, std::string data) {
    TVqRegistryNode& node = Node(kVqKeySetValue, "changed");  // raises when there is no tree any more
    FTree->SetData(node, name, data);
    FChanges.push_back({name, std::move(data)});
  }

  TStore FStore;
  TPath FPath;
  std::uint32_t FAccess;
  std::unique_ptr<TVqRegistryTree> FTree;  // none once it is closed
  std::vector<TChange> FChanges;
};

}  // namespace

TVqRef<IVqRegistryKey> TVqFileRegistry::OpenKey(TVqRegistryRoot ARoot, const string& APath, std::uint32_t AAccess,
                                                bool ACreate) {
  const TStore store(ARoot, ARoot == TVqRegistryRoot::currentUser ? FUserFile : FMachineFile);
  const TPath path = VqRegistryNames(APath);
  std::unique_ptr<TVqRegistryTree> tree = store.Load(path);
  if (!tree->Find(path)) {
    if (!ACreate) return nullptr;
    for (const string& name : path) {
      if (name.Length() > kMaxName || path.size() > kMaxDepth) {
        throw EVqRegistryError("A registry key below " + VqRegistryRootText(ARoot) +
                                   " cannot be made: a name has at most 255 characters, a path at most 512 names.",
                               kVqRegistryBadName);
      }
    }
    store.Change(path, [&](TVqRegistryTree& newest) {
      const bool made = !newest.Find(path);
      newest.Make(path);
      return made;
    });
    tree = store.Load(path);
    tree->Make(path);  // for the case that it is gone again
  }
  return MakeRef<TKey>(store, path, AAccess, std::move(tree));
}

bool TVqFileRegistry::DeleteKey(TVqRegistryRoot ARoot, const string& APath, std::uint32_t AAccess) {
  const TStore store(ARoot, ARoot == TVqRegistryRoot::currentUser ? FUserFile : FMachineFile);
  const TPath path = VqRegistryNames(APath);
  if (path.empty()) throw EVqRegistryError("A root of the registry cannot be deleted.", kVqRegistryBadName);
  if (!(AAccess & kVqKeySetValue)) store.RaiseDenied(path, "deleted", "It was asked for without the right to do so.");
  if (!store.Load(path)->Find(path)) return false;  // no folder and no lock is made for nothing
  bool deleted = false;
  store.Change(path, [&](TVqRegistryTree& newest) { return deleted = newest.Delete(path); });
  return deleted;
}

}  // namespace velmore
