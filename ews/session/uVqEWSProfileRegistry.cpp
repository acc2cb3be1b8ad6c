#include "ews/session/uVqEWSProfileRegistry.h"

#include "ews/session/uVqEWS.h"
#include "ews/session/uVqEWSProfileSettings_p.h"

namespace velmore {
namespace {

// The rights are part of how the profiles are found: a profile is read and written with the view of 32-bit programs
// added, everything else without.
constexpr std::uint32_t kRead = 131609;
constexpr std::uint32_t kWrite = 131615;
constexpr std::uint32_t kProfileRead = kRead + kVqKeyView32;
constexpr std::uint32_t kProfileWrite = kWrite + kVqKeyView32;

constexpr char kDefault[] = "DefaultProfileName";
constexpr char kPrompt[] = "PromptForProfile";
constexpr char kMailboxes[] = "\\AdditionalMailboxes";

}  // namespace

TVqRegistryRoot TVqEWSProfileRegistryContainer::Root() const {
  return FRootKey == rkCurrentUser ? TVqRegistryRoot::currentUser : TVqRegistryRoot::localMachine;
}

TVqRef<IVqRegistry> TVqEWSProfileRegistryContainer::Registry() const {
  return FRegistry ? FRegistry : VqSystemRegistry();
}

/// The key, or none also where the system does not let us open it. A registry that is damaged is another matter.
TVqRef<IVqRegistryKey> TVqEWSProfileRegistryContainer::TryOpen(const string& APath, std::uint32_t AAccess,
                                                               bool ACreate) const {
  try {
    return Registry()->OpenKey(Root(), APath, AAccess, ACreate);
  } catch (const EVqRegistryError& failure) {
    if (failure.GetNumber() != kVqRegistryAccessDenied) throw;
    return nullptr;
  }
}

string TVqEWSProfileRegistryContainer::GetDefaultProfileName() {
  const TVqRef<IVqRegistryKey> key = TryOpen(FKey, kRead, false);
  if (!key) return {};
  const string name = key->ReadString(kDefault);
  for (const string& profile : key->GetKeyNames()) {
    if (SameText(profile, name)) return name;
  }
  return {};
}

bool TVqEWSProfileRegistryContainer::GetPromptForProfile() {
  const TVqRef<IVqRegistryKey> key = TryOpen(FKey, kRead, false);
  return !key || !key->ValueExists(kPrompt) || key->ReadBoolean(kPrompt);
}

void TVqEWSProfileRegistryContainer::SetPromptForProfile(bool AValue) {
  const TVqRef<IVqRegistryKey> key = Registry()->OpenKey(Root(), FKey, kWrite, true);
  key->WriteBoolean(kPrompt, AValue);
  key->Close();
}

void TVqEWSProfileRegistryContainer::SetDefaultProfileName(const string& AValue) {
  const TVqRef<IVqRegistryKey> key = Registry()->OpenKey(Root(), FKey, kWrite, true);
  key->WriteString(kDefault, AValue);
  key->Close();
}

std::int32_t TVqEWSProfileRegistryContainer::GetProfileNames(TVqStrings& AStrings) {
  AStrings.Clear();
  TVqRef<IVqRegistryKey> key = TryOpen(FKey, kRead, false);
  if (!key) {
    // A right to read does not make a key, so it is made first.
    if (const TVqRef<IVqRegistryKey> made = TryOpen(FKey, kWrite, true)) made->Close();
    key = TryOpen(FKey, kRead, false);
  }
  if (!key) return 0;
  for (const string& name : key->GetKeyNames()) AStrings.Add(name);
  return AStrings.Count();
}

bool TVqEWSProfileRegistryContainer::LoadProfile(TVqEWSCustomSession& ASession, const string& AProfileName) {
  const string path = FKey + "\\" + AProfileName;
  const bool canBe = !AProfileName.empty() && !AProfileName.Contains("\\");
  std::exception_ptr foreign;
  if (const TVqRef<IVqRegistryKey> key = canBe ? TryOpen(path, kProfileRead, false) : nullptr) {
    TVqStrings mailboxes;
    if (const TVqRef<IVqRegistryKey> list = TryOpen(path + kMailboxes, kProfileRead, true)) {
      for (const string& mailbox : list->GetValueNames()) mailboxes.Add(mailbox);
    }
    const auto read = [&key](TVqEWSProfileValue& value) {
      if (!key->ValueExists(value.Name)) return false;
      if (value.IsBoolean) {
        value.Boolean = key->ReadBoolean(value.Name);
      } else {
        value.Text = key->ReadString(value.Name);
      }
      return true;
    };
    foreign = EwsApplyProfile(ASession, read, true);
    ASession.SetAdditionalMailboxes(mailboxes);
  }
  TVqEWSProfileCustomContainer::LoadProfile(ASession, AProfileName);
  if (foreign) std::rethrow_exception(foreign);
  return true;
}

void TVqEWSProfileRegistryContainer::SaveProfile(TVqEWSCustomSession& ASession, const string& AProfileName) {
  EwsCheckProfileName(AProfileName, true);
  // What may fail goes before anything is written: a key that is missing, an Autodiscover that does not answer.
  const bool machine = FRootKey == rkLocalMachine;
  const std::vector<TVqEWSProfileValue> values =
      EwsProfileOf(ASession, *this, {machine, machine, machine ? "User" : "Machine"});
  const TVqStrings mailboxes = ASession.GetAdditionalMailboxes();

  const TVqRef<IVqRegistry> registry = Registry();
  const string path = FKey + "\\" + AProfileName;
  const TVqRef<IVqRegistryKey> key = registry->OpenKey(Root(), path, kProfileWrite, true);
  for (const TVqEWSProfileValue& value : values) {
    if (value.IsBoolean) {
      key->WriteBoolean(value.Name, value.Boolean);
    } else {
      key->WriteString(value.Name, value.Text);
    }
  }
  key->Close();

  const TVqRef<IVqRegistryKey> list = registry->OpenKey(Root(), path + kMailboxes, kProfileWrite, true);
  for (const string& name : list->GetValueNames()) list->DeleteValue(name);
  for (const string& mailbox : mailboxes) list->WriteBoolean(mailbox, true);
  list->Close();
  FixProfile(registry);
}

void TVqEWSProfileRegistryContainer::DeleteProfile(const string& AProfileName) {
  EwsCheckProfileName(AProfileName, true);  // an empty one would be the key of all profiles
  const TVqRef<IVqRegistry> registry = Registry();
  registry->DeleteKey(Root(), FKey + "\\" + AProfileName, kWrite);
  if (const TVqRef<IVqRegistryKey> key = registry->OpenKey(Root(), FKey, kWrite, false)) {
    if (SameText(key->ReadString(kDefault), AProfileName)) key->WriteString(kDefault, string());
    key->Close();
  }
  FixProfile(registry);
}

void TVqEWSProfileRegistryContainer::FixProfile(const TVqRef<IVqRegistry>& ARegistry) {
  const TVqRef<IVqRegistryKey> key = ARegistry->OpenKey(Root(), FKey, kRead, false);
  if (!key) return;
  const std::vector<string> names = key->GetKeyNames();
  if (names.size() != 1) return;
  const TVqRef<IVqRegistryKey> written = ARegistry->OpenKey(Root(), FKey, kWrite, true);
  written->WriteString(kDefault, names.front());
  written->WriteBoolean(kPrompt, false);
  written->Close();
}

void TVqEWSProfileRegistryContainer::AssignTo(TVqComponent* ADest) {
  if (auto* dest = dynamic_cast<TVqEWSProfileRegistryContainer*>(ADest)) {
    dest->FRootKey = FRootKey;
    dest->FKey = FKey;
    dest->FRegistry = FRegistry;
  }
  TVqEWSProfileCustomContainer::AssignTo(ADest);
}

}  // namespace velmore
