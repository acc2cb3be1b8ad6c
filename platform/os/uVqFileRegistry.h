#pragma once

/// A registry in two files, one for each root: what stands in for that of Windows where there is no Windows, and what
/// tests use.
///
/// A file is a text that can be read and edited:
///
///     Velmore Registry 1
///     [SOFTWARE\Velmore\EWS\Profiles\Anna]
///     "UserName"="CONTOSO\\anna"
///     "IgnoreRevocation"=dword:00000001
///     end
///
/// In quotes, a backslash stands before a backslash, a quote and the letters n, r and uXXXX; in the line of a key, "%"
/// and two hexadecimal digits stand for a control character or for "%" itself. A file that breaks these rules or ends
/// without its last line is an error with the number of the line, and is never written over.
///
/// Any number of processes may work with it. Readers see one whole state; what was written through a key goes into the
/// file when the key is closed, all at once, and undoes nothing that others have written meanwhile. A key has the
/// rights that were asked for; views do not exist here.

#include "platform/os/uVqRegistry.h"

namespace velmore {

/// The registry in two files. Owns their names; reads the files at each use and keeps nothing.
class TVqFileRegistry final : public TVqObject, public IVqRegistry {
 public:
  /// Variables in the names are expanded and separators translated at each use. Files and their folders come into being
  /// with the first key: the user's for the user alone, the machine's readable by all.
  TVqFileRegistry(string AUserFile, string AMachineFile)
      : FUserFile(std::move(AUserFile)), FMachineFile(std::move(AMachineFile)) {}

  TVqRef<IVqRegistryKey> OpenKey(TVqRegistryRoot ARoot, const string& APath, std::uint32_t AAccess,
                                 bool ACreate) override;
  bool DeleteKey(TVqRegistryRoot ARoot, const string& APath, std::uint32_t AAccess) override;

 private:
  string FUserFile;
  string FMachineFile;
};

}  // namespace velmore
