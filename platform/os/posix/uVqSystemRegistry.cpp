#include "platform/os/uVqFileRegistry.h"

namespace velmore {

TVqRef<IVqRegistry> VqSystemRegistry() {
  return MakeRef<TVqFileRegistry>("%LOCALAPPDATA%\\Velmore\\EWS\\Registry.txt",
                                  "%PROGRAMDATA%\\Velmore\\EWS\\Registry.txt");
}

}  // namespace velmore
