#pragma once

/// Items of every kind: loading, lazy loading and saving. TVqEWSItem is the plain one; messages are in uVqEWSMessage.h.
///
/// An item holds its state as two records: the current one, which getters read and setters write, and a copy as it came
/// from the server. The server is asked for "AllProperties" once; what that leaves out is fetched one by one when it is
/// first read. A save compares the two records.

#include <type_traits>

#include "ews/model/uVqEWSBase.h"
#include "ews/model/uVqEWSItemInterfaces.h"

namespace velmore {

class TVqBinResponse;
class TVqEWSCall;
struct TVqEWSLoadedItem;

/// The type of a setter's argument: texts and bytes go by reference.
template <typename T>
using TVqSetterOf = std::conditional_t<std::is_same_v<T, string> || std::is_same_v<T, TBytes>, const T&, T>;

// What a row of ews/tables/MemberRows*.inc becomes in its class; what it becomes in the source is in
// uVqEWSMemberRows_p.h.
#define VQ_DECLARE_Read(name, type, ...) type Get##name() override;
#define VQ_DECLARE_Write(name, type, ...) \
  type Get##name() override;              \
  void Set##name(TVqSetterOf<type> AValue) override;
#define VQ_DECLARE_Child(name, type, ...) type& Get##name() override;
#define VQ_DECLARE_Array(name, type, ...) TVqXMLSchemaElementArray<type>& Get##name() override;
#define VQ_DECLARE_Own(...)

/// The part of TVqEWSBaseItem<T> that is the same for every record type: all item records derive from TEwsItem.
///
/// Owns its envelope, attachments and categories; keeps its creator alive. Lives by its reference count. One thread at
/// a time. Getters may ask the server and raise; see IVqEWSItem for each operation.
class TVqEWSItemCore : public TVqEWSPropObjectCore, public virtual IVqEWSItem {
 public:
  TItemId GetID() override;
  /// Writes the id into the record, where getters and the next save find it.
  void SetId(const TItemId& AId) override;

  TItemType GetItemType() override { return tItem; }
  IVqDOMElement AsElement() override { return NewRecord().AsElement(); }
  bool GetIsNewItem() override { return FIsNewItem; }
  bool GetIsSaved() override { return !GetID().Id.empty(); }
  TVqRef<IVqEWSMsgStore> GetMsgStore() override;
  TVqRef<IVqEWSFolder> GetParentFolder() override;

  string GetBodyText() override;
  void SetBodyText(const string& AValue) override;
  TVqEwsTextBody GetTextBody() override;
  TVqEWSAttachments& GetAttachments() override;
  TVqEWSStrings& GetCategories() override;
  TVqEWSItemResponseTypes GetAllowedResponseTypes() override;
  bool GetIsPrivate() override;
  void SetIsPrivate(bool AValue) override;

  void DeleteProperty(const TVqEWSPropDef& APropDef) override { TVqEWSPropObjectCore::DeleteProperty(APropDef); }
  void GetAdditionalProperties(const std::vector<string>& AProps) override;
  void SaveChanges(TVqEWSSaveOption ASaveOption) override;
  void SaveToFile(const string& AFileName) override;
  void SaveToStream(TVqStream& AStream) override;
  const std::vector<TVqEWSRefusedDeletion>& GetRefusedDeletions() const override { return FRefusedDeletions; }

  /// Reads the item again (m:GetItem): the records are new, and no attachments, categories or recipients are in hand.
  virtual void ReloadItem(const TItemId& AItemId);
  /// Deletes the inline images that a save made out of the body's pictures ("_inlineImg0" and so on). In memory: the
  /// save sends it.
  void ClearInlineAttachments();

  const TVqEWSMemberTable& MemberTable() const override;

 protected:
  /// The class of the record that the item's data is read with.
  TVqEWSItemCore(TVqComponent* ACreator, const TVqXMLSchemaClass& ARecordClass);
  ~TVqEWSItemCore() override;

  /// What a constructor ends with: a new item (empty id) prepares its m:CreateItem, any other one is loaded, at once or
  /// when it is first read, or takes what was loaded already.
  void Initialize(const TItemId& AItemId);
  void Initialize(const TVqEWSLoadedItem& ALoaded) { TakeLoaded(ALoaded); }

  void SetPropData(const IVqDOMElement& AElement) override;
  /// Called when other records have taken the place of the former ones, which views that the item keeps belong to.
  virtual void AfterLoad() {}
  /// Called first in each save, before anything is composed.
  virtual void PrepareSave() {}
  /// Called with each m:CreateItem and m:UpdateItem of a save before it is sent. The base moves pictures of an HTML
  /// body ("data:" and "file:") into inline attachments. Overriders call it first.
  virtual void BeforeSaveChanges(IVqSOAPRequest& ASOAPRequest);

  /// Called with the `t:Updates` of an update without changes where the schema has no form for one: what is put there
  /// is sent, and nothing is sent otherwise. Nothing here.
  virtual void FillEmptyUpdate(const IVqDOMElement&) {}
  /// Adds the `t:SetItemField` of a property to the changes of an update.
  void AddSetItemField(const IVqDOMElement& AUpdates, TVqEWSProperty& AProperty);

  /// The current record as an item's; for one member, the part that is known where that is enough.
  TEwsItem& Item() const { return static_cast<TEwsItem&>(NewRecord()); }
  TEwsItem& ItemToRead(std::string_view AMember) const { return static_cast<TEwsItem&>(RecordToRead(AMember)); }
  TEwsItem& ItemToWrite(std::string_view AMember) const { return static_cast<TEwsItem&>(RecordToWrite(AMember)); }
  TVqXMLSchemaElement& RecordToRead(std::string_view AMember) const;
  TVqXMLSchemaElement& RecordToWrite(std::string_view AMember) const;
  /// The envelope that carries the item: for a new item the request, for a loaded one the answer.
  const TVqRef<IVqSOAPEnvelope>& Envelope() const noexcept { return FItem; }
  /// The envelope as the unsent m:CreateItem; empty for any other.
  TVqRef<IVqSOAPRequest> NewItemRequest() const;
  /// The server's version; raises when the session is gone or not logged on.
  TServerVersion ServerVersion() const { return ActiveSession().GetServerVersion(); }
  /// Raises a plain exception when the server is older.
  void NeedsVersion(TServerVersion ARequired, const char* AFeature) const;
  /// The HTML that came from somebody else: pictures of this machine that it names are not taken. Here: the body as it
  /// was loaded.
  virtual string ForeignHtml();
  /// "Message", "Item": the local name of the item's element, in requests and in what is loaded.
  string ElementName();
  virtual string LoadedElementName() { return ElementName(); }
  /// The member that the body stands in.
  virtual const char* BodyMember() { return "Body"; }
  /// True while a creation also sends the item: then the answer need not tell an id, and nothing is left to be loaded.
  virtual bool MayBeGone() const { return false; }
  /// While it lives, a save reads the item back at once: it will not be where it is for long.
  class TReadBackAtOnce {
   public:
    /// Begins that time.
    explicit TReadBackAtOnce(TVqEWSItemCore& AItem) noexcept : FItem(AItem) { FItem.FReadsBackAtOnce = true; }
    ~TReadBackAtOnce() { FItem.FReadsBackAtOnce = false; }
    TReadBackAtOnce(const TReadBackAtOnce&) = delete;
    TReadBackAtOnce& operator=(const TReadBackAtOnce&) = delete;

   private:
    TVqEWSItemCore& FItem;
  };

 private:
  friend class TVqEWSItemParts;
  enum class TLater : std::uint8_t { no, opened, saved };

  void PrepareCreateItem();
  void TakeLoaded(const TVqEWSLoadedItem& ALoaded);
  void BeginSave();
  bool IsToBeCreated();
  void OnGetSOAPElement(TVqXMLSchemaElement* ARecord, const TVqXMLSchemaInfo& AInfo);
  TVqRef<TVqBinResponse> FetchMimeContent();
  void AddPropertyURI(const IVqDOMElement& AProperties, const string& AEntry);
  IVqDOMElement OldNode(const string& AName) const;
  IVqDOMElement NewNode(const string& AName) const;
  std::vector<TVqXMLSchemaElement*> RecordsToMerge(const IVqDOMElement& AOld, const IVqDOMElement& ANew) const;
  void MergeMember(const IVqDOMElement& AAnswer, const string& AEntry);
  void MergeIntoPart(const IVqDOMElement& AAnswer, const string& AMember);
  void MergeDefinition(const IVqDOMElement& AAnswer, const string& AName);
  /// False when nothing was sent.
  bool UpdateItem(TVqEWSSaveOption ASaveOption, bool AExtendedOnly);
  IVqDOMElement ComposeUpdate(const TVqEWSCall& ACall, TVqEWSSaveOption ASaveOption, bool AExtendedOnly);
  bool CreateItem();
  /// True when extended properties were left out, which go out behind it.
  bool ComposeCreate(const TVqEWSCall& ACall);
  void AddEntries(const IVqDOMElement& AUpdates, const char* AURI, TVqEWSProperty& AProperty,
                  const IVqDOMElement& ANow);
  std::vector<TVqRef<IVqEWSAttachment>> OwnAttachments();
  void PrepareAttachments();
  void TakeOverCreatedAttachments();
  std::vector<string> KnownAttachments();
  /// Makes the attachments' part of a save; after the item, before the reload.
  void SaveAttachments(bool AKeyIsFresh);
  void FetchChangeKey();
  void SetRootId(const TItemId& AId);
  void DeleteAttachments(const std::vector<string>& AIds);
  void CreateAttachments();
  void ForgetCarriedOutDeletions();
  bool IsLean() const { return ActiveSession().GetLeanRoundTrips(); }
  void ForgetHandedOut();
  void LoadLater(const TItemId& AItemId);
  void LoadNow();
  void KeepSent(const IVqDOMElement& AItem);
  void ReadBack();
  bool IsResponse();
  IVqDOMElement ChangedMember(std::string_view AMember) const;
  bool HasEmptiedPart() const;
  void MoveImages(const IVqDOMElement& ABody);
  void ClearInlineAttachments(const std::string& AHtml);

  bool FIsNewItem = false;
  bool FReadsBackAtOnce = false;
  TLater FLater = TLater::no;               // the load that is asked for is that of the next read
  bool FKeepsPart = false;                  // what a save has sent is known, and takes changes
  std::vector<IVqDOMElement> FSent;         // members that the save that runs has sent
  bool FCreationIsUnsure = false;           // an attachment may have been made of which no answer told
  std::vector<string> FCreatedAttachments;  // ids of those made on the server since the last load
  TVqRef<TVqEWSObjectSession> FSession;     // for the attachments
  std::vector<TVqEWSRefusedDeletion> FRefusedDeletions;
  std::unique_ptr<TVqEWSAttachments> FAttachments;
  std::unique_ptr<TVqEWSStrings> FCategories;
  // Those of earlier loads, which somebody may hold: they raise.
  std::vector<std::unique_ptr<TVqEWSAttachments>> FFormerAttachments;
  std::vector<std::unique_ptr<TVqEWSStrings>> FFormerCategories;
  TVqRef<IVqSOAPEnvelope> FItem;
  IVqDOMElement FPropDataElm;

 public:
  // The published properties that have no rules of their own.
#define VQ_MEMBER(access, ...) VQ_DECLARE_##access(__VA_ARGS__)
#include "ews/tables/MemberRowsItem.inc"
};

/// An item with a record of type T.
template <typename T>
class TVqEWSBaseItem : public TVqEWSItemCore {
 protected:
  /// Loads nothing yet: the derived constructor calls Initialize.
  explicit TVqEWSBaseItem(TVqComponent* ACreator) : TVqEWSItemCore(ACreator, T::SchemaClass()) {}
  ~TVqEWSBaseItem() override = default;

  /// The current record, and the one as loaded, as a T.
  T& NewData() const { return static_cast<T&>(NewRecord()); }
  T& OldData() const { return static_cast<T&>(OldRecord()); }
  /// The current record for one member, see TVqEWSItemCore.
  T& NewDataToRead(std::string_view AMember) const { return static_cast<T&>(RecordToRead(AMember)); }
  T& NewDataToWrite(std::string_view AMember) const { return static_cast<T&>(RecordToWrite(AMember)); }
};

/// An item of a kind that has no class of its own.
class TVqEWSItem : public TVqEWSBaseItem<TEwsItem> {
 public:
  /// An empty id makes a new item in `ACreator` (a folder); any other loads the item (m:GetItem).
  TVqEWSItem(TVqComponent* ACreator, const TItemId& AItemId);
  /// The item that an answer to m:GetItem holds. Asks nothing.
  TVqEWSItem(TVqComponent* ACreator, const TVqEWSLoadedItem& ALoaded);

 protected:
  ~TVqEWSItem() override = default;
};

/// A reply whose first "MimeContent" never becomes part of the tree: it is cut out of the bytes, and the tree has an
/// empty element in its place.
class TVqBinResponse : public TVqSOAPResponse {
 public:
  /// Takes over the bytes of the reply. Raises EVqXMLError as its base.
  TVqBinResponse(std::string ASOAPResponse, const string& ASOAPResponseElmName);

  /// Decodes the content into a file, which is created or overwritten. A reply without content makes an empty file.
  void SaveMimeContent(const string& AFileName);
  /// The same into a stream, at its position.
  void SaveMimeContent(TVqStream& AStream);

 private:
  struct TParts {
    std::string Document;
    std::shared_ptr<const std::string> MimeContent;
  };
  static TParts Cut(std::string bytes);
  TVqBinResponse(TParts parts, const string& ASOAPResponseElmName);

  std::shared_ptr<const std::string> FMimeContent;  // base64; none when it stands in the tree
};

}  // namespace velmore
