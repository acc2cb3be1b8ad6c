#pragma once

/// The changes since last time, as folders and stores make them. What they do is told in uVqEWSSyncInterfaces.h.

#include <memory>
#include <vector>

#include "ews/model/uVqEWSBase.h"
#include "ews/model/uVqEWSSyncInterfaces.h"
#include "ews/values/uVqEWSFields.h"

namespace velmore {

class TVqEWSCall;
class TVqEWSTableCells;

/// What both kinds of changes share: the state, the page in hand, the walk.
///
/// Owns the page; lives by its reference count and keeps its creator (a folder, a store) alive. One thread at a time.
/// Raises what the server refuses as EEWSException; state and page then stay.
class TVqEWSChanges : public TVqEWSObject, public virtual IVqEWSChanges {
 public:
  string GetState() override { return FState; }
  void SetState(const string& AValue) override;
  void Open() override;
  bool Eof() override { return FRow < 0; }
  void Next() override;
  TVqEWSChangeKind GetKind() override { return Row().Kind; }
  IVqDOMElement GetElement() override { return Row().Object; }

 protected:
  /// `AOperation` without prefix; `AIsLast` is the element of its answer that tells whether more follows.
  TVqEWSChanges(TVqComponent* ACreator, const string& AState, const char* AOperation, const char* AIsLast);
  ~TVqEWSChanges() override = default;

  /// Fills the request; AddState writes the state in its place.
  virtual void Compose(const TVqEWSCall& ACall) = 0;
  /// What a derived class made of the current row, or of the page in hand, is to be forgotten.
  virtual void LeaveRow() {}
  virtual void LeavePage() {}
  /// The state that the request goes out with; nothing for the beginning.
  void AddState(const TVqEWSCall& ACall) const;
  /// The id of the current change's object, in an element of that name.
  TItemId IdOf(const char* AName);
  /// A child of the current change's element; empty when it is absent.
  IVqDOMElement Detail(const char* AName) { return Row().Change.SelectSingleElement(AName, kSelectQuiet); }
  /// The store along the creators. Raises a plain exception when there is none.
  TVqRef<IVqEWSMsgStore> Store();

 private:
  struct TRow {
    TVqEWSChangeKind Kind;
    IVqDOMElement Change;  // what the page has: t:Create
    IVqDOMElement Object;  // what is in it: t:Message; empty where there is only an id
  };

  const TRow& Row() const;
  IVqDOMElement Ask();
  void Fetch();
  void DropPage();
  static std::vector<TRow> RowsOf(const IVqDOMElement& AChanges);

  const char* FOperation;
  const char* FIsLast;
  string FState;      // behind the last page that was gone past
  string FNextState;  // behind the page in hand
  bool FLast = false;
  bool FPast = true;  // the page in hand was gone past, or there is none
  std::vector<TRow> FRows;
  std::int32_t FRow = -1;
};

/// Of the items of a folder.
class TVqEWSItemChanges : public TVqEWSChanges, public virtual IVqEWSItemChanges {
 public:
  /// The changes since that state; asks nothing until it is opened.
  TVqEWSItemChanges(TVqComponent* ACreator, const TItemId& AFolderId, const string& AState);

  TVqEWSFields& GetFields() override { return *FFields; }
  std::int32_t GetMaxChangesPerPage() override { return FMaxChangesPerPage; }
  void SetMaxChangesPerPage(std::int32_t AValue) override;
  bool GetWithAssociated() override { return FWithAssociated; }
  void SetWithAssociated(bool AValue) override;
  void SetIgnored(std::span<const TItemId> AItemIds) override { FIgnored.assign(AItemIds.begin(), AItemIds.end()); }
  TItemId GetItemId() override { return IdOf("ItemId"); }
  bool GetIsRead() override;
  bool HasField(const TVqEWSFieldDef& AFieldDef) override;
  TVqEWSField& FieldByName(const TVqEWSFieldDef& AFieldDef) override { return FFields->FieldByName(AFieldDef); }
  TVqRef<IVqEWSItem> GetItem() override;

 protected:
  ~TVqEWSItemChanges() override;
  void Compose(const TVqEWSCall& ACall) override;
  void LeaveRow() override;
  void LeavePage() override { FFields->ForgetMade(); }

 private:
  TVqXMLSchemaElement* GetRowData(TVqEWSGetDataElmSource ASource, bool ARaiseError);

  TItemId FFolderId;
  std::int32_t FMaxChangesPerPage = 512;
  bool FWithAssociated = false;
  std::vector<TItemId> FIgnored;
  std::unique_ptr<TVqXMLSchemaElement> FRecord;  // of the row, made when it is asked for
  std::unique_ptr<TVqEWSTableCells> FCells;      // of the row
  std::unique_ptr<TVqEWSFields> FFields;
};

/// Of the folders below a folder.
class TVqEWSFolderChanges : public TVqEWSChanges, public virtual IVqEWSFolderChanges {
 public:
  /// The changes since that state below a folder; below all that people see when the id is empty. Asks nothing until it
  /// is opened.
  TVqEWSFolderChanges(TVqComponent* ACreator, const TItemId& AFolderId, const string& AState);

  TItemId GetFolderId() override { return IdOf("FolderId"); }
  TVqRef<IVqEWSFolder> GetFolder() override;

 protected:
  ~TVqEWSFolderChanges() override = default;
  void Compose(const TVqEWSCall& ACall) override;

 private:
  TItemId FFolderId;
};

}  // namespace velmore
