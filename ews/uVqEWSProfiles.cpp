#include "ews/uVqEWSProfiles.h"

#include "ews/uVqEWS.h"

namespace velmore {

bool TVqEWSProfileCustomContainer::LoadProfile(TVqEWSCustomSession& ASession, const string& AProfileName) {
  if (ASession.GetAutodiscoverEMail().empty() && ASession.GetServiceUrl().empty()) {
    throw EEWSException(
        "The \"" + AProfileName +
        "\" profile is corrupted.\r\nIt does not contain a ServiceUrl, nor an Autodiscover email address.\r\n"
        "Please fix the profile information and try it again.");
  }
  return false;
}

bool TVqEWSProfileCustomContainer::ProfileExists(const string& AProfileName) {
  TVqStrings names;
  GetProfileNames(names);
  return names.IndexOf(AProfileName) >= 0;
}

}  // namespace velmore
