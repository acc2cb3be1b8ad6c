#include "ews/session/uVqEWSProfiles.h"

namespace velmore {

bool TVqEWSProfileCustomContainer::ProfileExists(const string& AProfileName) {
  TVqStrings names;
  GetProfileNames(names);
  return names.IndexOf(AProfileName) >= 0;
}

}  // namespace velmore
