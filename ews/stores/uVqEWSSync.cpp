#include "ews/stores/uVqEWSSync.h"

#include <algorithm>

#include "ews/model/internal/uVqEWSCall.h"
#include "ews/stores/uVqEWSTableParts_p.h"
#include "ews/values/internal/uVqEWSTableCells.h"
#include "platform/xml/uVqXMLUtils.h"

namespace velmore {
namespace {

constexpr std::int32_t kMostChangesPerPage = 512;  // no server takes more
constexpr const char* kInvalidState = "ErrorInvalidSyncStateData";

struct TKindName {
  const char* Name;
  TVqEWSChangeKind Kind;
};
constexpr TKindName kKinds[] = {{"Create", TVqEWSChangeKind::created},
                                {"Update", TVqEWSChangeKind::updated},
                                {"Delete", TVqEWSChangeKind::deleted},
                                {"ReadFlagChange", TVqEWSChangeKind::readChanged}};

}  // namespace

// ---- The walk

TVqEWSChanges::TVqEWSChanges(TVqComponent* ACreator, const string& AState, const char* AOperation, const char* AIsLast)
    : TVqEWSObject(ACreator, true), FOperation(AOperation), FIsLast(AIsLast), FState(AState) {}

void TVqEWSChanges::SetState(const string& AValue) {
  FState = AValue;
  DropPage();
}

void TVqEWSChanges::Open() {
  LeaveRow();
  if (FPast) return Fetch();
  FRow = 0;
}

void TVqEWSChanges::Next() {
  LeaveRow();
  if (FRow < 0) return;
  if (!FPast && FRow + 1 < static_cast<std::int32_t>(FRows.size())) {
    ++FRow;
    return;
  }
  FPast = true;
  FState = FNextState;
  FLast ? DropPage() : Fetch();
}

void TVqEWSChanges::DropPage() {
  LeaveRow();
  LeavePage();
  FRows.clear();
  FRow = -1;
  FPast = true;
}

const TVqEWSChanges::TRow& TVqEWSChanges::Row() const {
  if (FRow < 0) throw EVqException("There is no data!");
  return FRows[static_cast<std::size_t>(FRow)];
}

TItemId TVqEWSChanges::IdOf(const char* AName) {
  const TRow& row = Row();
  return EwsReadId((row.Object ? row.Object : row.Change).SelectSingleElement(AName, kSelectRequired));
}

TVqRef<IVqEWSMsgStore> TVqEWSChanges::Store() {
  const auto store = EwsStoreAbove(*this);
  if (!store) throw EVqException("The folder has no message store.");
  return store;
}

// ---- Pages

void TVqEWSChanges::AddState(const TVqEWSCall& ACall) const {
  if (!FState.empty()) ACall.Add("m:SyncState").SetText(FState);
}

IVqDOMElement TVqEWSChanges::Ask() try {
  TVqEWSCall call(*this, FOperation);
  Compose(call);
  return call.Send();
} catch (const EVqSOAPFault& fault) {
  if (fault.ResponseCode() == kInvalidState) throw EVqEWSSyncStateInvalid(kInvalidState, fault.FaultString(), 0);
  throw;
} catch (const EEWSException& refusal) {
  if (refusal.ResponseCode() == kInvalidState) throw EVqEWSSyncStateInvalid(refusal);
  throw;
}

std::vector<TVqEWSChanges::TRow> TVqEWSChanges::RowsOf(const IVqDOMElement& AChanges) {
  std::vector<TRow> rows;
  for (const IVqDOMElement& change : AChanges.GetChildElements()) {
    const string name = change.GetLocalName();
    const auto* const kind = std::ranges::find_if(kKinds, [&](const TKindName& each) { return name == each.Name; });
    if (kind == std::end(kKinds)) continue;  // of a newer server
    const bool hasObject = kind->Kind == TVqEWSChangeKind::created || kind->Kind == TVqEWSChangeKind::updated;
    rows.push_back({kind->Kind, change, hasObject ? change.GetFirstChildElement() : IVqDOMElement()});
  }
  return rows;
}

void TVqEWSChanges::Fetch() {
  for (;;) {
    const IVqDOMElement message = Ask();
    const string next = message.SelectSingleElement("SyncState", kSelectRequired).GetText();
    const bool last = VqXMLToBool(message.SelectSingleElement(FIsLast, kSelectRequired).GetText());
    std::vector<TRow> rows = RowsOf(message.SelectSingleElement("Changes", kSelectQuiet));
    if (!last && next == FState) {
      throw EVqException("The server says that more changes follow, and does not move on.");
    }
    // A page that cannot be fetched leaves the old one in place, behind empty ones as well.
    FNextState = next;
    FLast = last;
    if (rows.empty()) FState = next;
    if (rows.empty() && !last) continue;
    DropPage();
    if (rows.empty()) return;
    FRows = std::move(rows);
    FRow = 0;
    FPast = false;
    return;
  }
}

// ---- Items

TVqEWSItemChanges::TVqEWSItemChanges(TVqComponent* ACreator, const TItemId& AFolderId, const string& AState)
    : TVqEWSChanges(ACreator, AState, "SyncFolderItems", "IncludesLastItemInRange"),
      FFolderId(AFolderId),
      FCells(std::make_unique<TVqEWSTableCells>()),
      FFields(std::make_unique<TVqEWSFields>(
          this, [this](TVqEWSGetDataElmSource source, bool raiseError) { return GetRowData(source, raiseError); })) {}

TVqEWSItemChanges::~TVqEWSItemChanges() = default;

void TVqEWSItemChanges::SetMaxChangesPerPage(std::int32_t AValue) {
  if (AValue < 1 || AValue > kMostChangesPerPage)
    throw EVqException(
        Format("A page has from 1 to %d changes, not %d.", {std::int64_t{kMostChangesPerPage}, std::int64_t{AValue}}));
  FMaxChangesPerPage = AValue;
}

void TVqEWSItemChanges::SetWithAssociated(bool AValue) {
  if (AValue) EwsCheckVersion(Exchange2010, ActiveSession().GetServerVersion(), "SetWithAssociated");
  FWithAssociated = AValue;
}

void TVqEWSItemChanges::Compose(const TVqEWSCall& ACall) {
  EwsAddItemShape(ACall.Method(), *FFields, "IdOnly");
  ACall.AddId(ACall.Add("m:SyncFolderId"), "t:FolderId", FFolderId);
  AddState(ACall);
  if (!FIgnored.empty()) {
    const IVqDOMElement ignored = ACall.Add("m:Ignore");
    for (const TItemId& id : FIgnored) ACall.AddId(ignored, "t:ItemId", id);
  }
  ACall.Add("m:MaxChangesReturned").SetText(VqIntToXML(FMaxChangesPerPage));
  if (FWithAssociated) ACall.Add("m:SyncScope").SetText("NormalAndAssociatedItems");
}

void TVqEWSItemChanges::LeaveRow() {
  FRecord.reset();
  FCells->Forget();
}

bool TVqEWSItemChanges::GetIsRead() {
  if (GetKind() != TVqEWSChangeKind::readChanged)
    throw EVqException("The change does not tell by itself whether the item was read: ask for the column.");
  return VqXMLToBool(Detail("IsRead").GetText());
}

bool TVqEWSItemChanges::HasField(const TVqEWSFieldDef& AFieldDef) {
  TVqEWSField* field = FFields->FindField(AFieldDef);
  return field && !Eof() && GetElement() && field->IsFromServer();
}

TVqXMLSchemaElement* TVqEWSItemChanges::GetRowData(TVqEWSGetDataElmSource ASource, bool ARaiseError) {
  if (ASource != desCurrent)
    throw EAssertionFailed("Assertion failure (ews/uVqEWSSync)");  // a change has one state of its data
  const IVqDOMElement item = Eof() ? IVqDOMElement() : GetElement();
  if (!item) {
    if (ARaiseError) throw EVqException("There is no data!");
    return nullptr;
  }
  if (!FRecord) {
    const TVqXMLSchemaClass* recordClass = EwsFindItemClass(item.GetLocalName());
    // A kind that the library does not know has what every item has.
    FRecord = (recordClass ? *recordClass : TEwsItem::SchemaClass()).CreateRecord(item);
  }
  if (!FCells->Valid()) FFields->FindCells(FRecord->AsElement(), *FCells);
  return FRecord.get();
}

TVqRef<IVqEWSItem> TVqEWSItemChanges::GetItem() {
  return Store()->GetItem(GetItemId());
}

// ---- Folders

TVqEWSFolderChanges::TVqEWSFolderChanges(TVqComponent* ACreator, const TItemId& AFolderId, const string& AState)
    : TVqEWSChanges(ACreator, AState, "SyncFolderHierarchy", "IncludesLastFolderInRange"), FFolderId(AFolderId) {}

void TVqEWSFolderChanges::Compose(const TVqEWSCall& ACall) {
  ACall.Add("m:FolderShape/t:BaseShape").SetText("AllProperties");
  const IVqDOMElement folder = ACall.Add("m:SyncFolderId");
  if (FFolderId.Id.empty())
    folder.AddElement("t:DistinguishedFolderId").SetAttribute("Id", VqEnumToText(dfinmsgfolderroot));
  else
    ACall.AddId(folder, "t:FolderId", FFolderId);
  AddState(ACall);
}

TVqRef<IVqEWSFolder> TVqEWSFolderChanges::GetFolder() {
  return Store()->GetFolder(GetFolderId());
}

}  // namespace velmore
