#include "ews/session/uVqEWSProfiles.h"

#include "platform/crypt/uVqCNG.h"

namespace velmore {

bool TVqEWSProfileCustomContainer::ProfileExists(const string& AProfileName) {
  TVqStrings names;
  GetProfileNames(names);
  return names.IndexOf(AProfileName) >= 0;
}

std::string TVqEWSProfileCustomContainer::EncryptPassword(const string& APassword) {
  if (APassword.Trim().empty()) return {};
  TVqBytes plain(APassword, true);
  const TVqWiped wiped(plain);
  return TVqDataProtection().Encrypt(plain, false).Encode();
}

string TVqEWSProfileCustomContainer::DecryptPassword(const std::string& AText) {
  if (string(AText).Trim().empty()) return {};
  TVqBytes plain = TVqDataProtection().Decrypt(TVqBytes::Decode(AText));
  const TVqWiped wiped(plain);
  return plain.AsString(true);
}

void TVqEWSProfileCustomContainer::AssignTo(TVqComponent* ADest) {
  auto* dest = dynamic_cast<TVqEWSProfileCustomContainer*>(ADest);
  if (!dest) return TVqComponent::AssignTo(ADest);
  dest->FStoreCredentials = FStoreCredentials;
  dest->FStoreProxyCredentials = FStoreProxyCredentials;
}

}  // namespace velmore
