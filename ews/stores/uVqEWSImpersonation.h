#pragma once

/// Acting on another user's mailbox: every request names the user in its header. Needs an account that the server
/// allows to impersonate.

#include "ews/stores/uVqEWSMsgStore.h"

namespace velmore {

/// Base of other objects whose requests carry the header. See TVqEWSObject about its life.
class TVqEWSImpersonatedObject : public TVqEWSObject {
 public:
  /// See TVqEWSObject.
  TVqEWSImpersonatedObject(TVqComponent* ACreator, bool AKeepCreatorAlive)
      : TVqEWSObject(ACreator, AKeepCreatorAlive) {}

  /// Adds the header without looking whether there is one.
  TVqRef<IVqSOAPRequest> CreateRequest(TVqSOAPClient* ASOAPClient, const string& AMethod,
                                       const string& AResponseName) override;
  /// SMTP address; empty adds no header.
  const string& GetImpersonatedUser() const noexcept { return FSmtpAddress; }
  void SetImpersonatedUser(const string& AValue) { FSmtpAddress = AValue; }

 protected:
  ~TVqEWSImpersonatedObject() override = default;

 private:
  string FSmtpAddress;
};

/// A mailbox that is opened in the name of its owner.
class TVqEWSImpersonatedMsgStore : public TVqEWSMsgStore, public virtual IVqEWSImpersonatedMsgStore {
 public:
  /// The address serves as display name, too. An empty one adds no header.
  TVqEWSImpersonatedMsgStore(TVqEWSBaseSession* ASession, const string& ASmtpAddress);

  /// A header that is there already gets this store's user.
  TVqRef<IVqSOAPRequest> CreateRequest(TVqSOAPClient* ASOAPClient, const string& AMethod,
                                       const string& AResponseName) override;
  string GetImpersonatedUser() override { return FSmtpAddress; }
  void SetImpersonatedUser(const string& AValue) override { FSmtpAddress = AValue; }

 protected:
  ~TVqEWSImpersonatedMsgStore() override = default;
  string OwnAddress() override { return FSmtpAddress.empty() ? TVqEWSMsgStore::OwnAddress() : FSmtpAddress; }

 private:
  string FSmtpAddress;
};

}  // namespace velmore
