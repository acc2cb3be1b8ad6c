#pragma once

/// The requests of folders in steps: the operations on one folder or message take them one after the other, those on
/// many (ews/bulk) fill them with several.

#include <span>

#include "ews/model/internal/uVqEWSCall.h"
#include "ews/model/uVqEWSFolderInterfaces.h"

#pragma GCC visibility push(hidden)

namespace velmore {

/// Fills an m:GetFolder that asks for all members.
void EwsAskForFolders(const TVqEWSCall& ACall, std::span<const TItemId> AIds);

/// The folder that an answer holds, of the class that stands for its element. Asks nothing.
TVqRef<IVqEWSFolder> EwsTakeFolder(TVqComponent* ACreator, const IVqDOMElement& ALoaded);

/// Fills an m:CreateItem with MIME texts for one folder.
///
/// Owns the folder's id and what goes along with each message. One thread at a time. Making one asks the server for the
/// drafts when the folder is one of mail.
class TVqEWSImport {
 public:
  /// Empty flags stand for those that the folder suggests.
  TVqEWSImport(IVqEWSFolder& AFolder, TVqEWSMessageFlags AFlags);
  /// What stands in the request once; gives the element of its messages.
  IVqDOMElement Begin(const TVqEWSCall& ACall) const;
  /// Adds one message to them; the stream is read from its start.
  void Add(const IVqDOMElement& AItems, TVqStream& AMime) const;

 private:
  TItemId FFolder;
  bool FMail;
  string FFlags;
};

}  // namespace velmore

#pragma GCC visibility pop
