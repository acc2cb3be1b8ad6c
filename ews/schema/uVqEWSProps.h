#pragma once

/// The dictionary of everything that can be read from or written to a server object: property definitions (where a
/// value stands in the XML of an item) and field definitions (how the same value is named in a request).
///
///     #include "ews/schema/uVqEWSPropsPR.h"                                  // the rows of one family
///     PVqEWSPropDef def = GetPropDef("PR_SUBJECT", true);             // the same row as &PR_SUBJECT, by its key
///     string path = GetNodePath(EPR_COMMON_PRIVATE);                  // where the value stands
///     GetFieldDef(ufuitem_Subject)->UnindexedFieldURI                 // "item:Subject"
///
/// The rows are constants in read-only memory that live as long as the program. Each family has a header of its
/// own, as thousands of names cost every file that includes them:
///
///     uVqEWSPropsPR.h    PR_    members of the schema            uVqEWSPropsFLD.h   FLD_   their fields
///     uVqEWSPropsEPR.h   EPR_   named properties                 uVqEWSPropsEFLD.h  EFLD_  their fields
///     uVqEWSPropsMPR.h   MPR_   MAPI properties by tag           uVqEWSPropsMFLD.h  MFLD_  their fields
///
/// Nothing here talks to a server. Look-ups may be used from several threads; `RegisterProp` and `RegisterField` only
/// before any thread looks up.

#include <functional>
#include <vector>

#include "ews/schema/uVqEWSShortString.h"
#include "platform/common/uVqTypes.h"

namespace velmore {

enum TUnindexedFieldURI : std::int32_t;  // uVqEWSTypes.h
enum TDictionaryURI : std::int32_t;

// ---- Records

/// The type of an extended property's value. The wire text is the name without "pt".
enum TVqEWSPropType : std::uint8_t {
#define VQ_PROP_TYPE(text, kind, type) pt##text,
#include "ews/tables/uVqEWSPropTypes.inc"
};

/// Whether a named property has a number or a name within its set.
enum TVqEWSPropKind : std::uint8_t { pkId, pkName };

/// A member of the schema: one value, an element with parts, or a dictionary of keyed entries.
enum TVqEWSPropDefNodeType : std::uint8_t { pdntSimple, pdntComplex, pdntArray };

/// Which element names a field in a request: `t:FieldURI`, `t:IndexedFieldURI` or `t:ExtendedFieldURI`.
enum TVqEWSFieldDefType : std::uint8_t { fdtField, fdtIndexedField, fdtExtendedField };

struct TVqEWSPropDef;
struct TVqEWSFieldDef;
/// A definition by its address; null for none.
using PVqEWSPropDef = const TVqEWSPropDef*;
using PVqEWSFieldDef = const TVqEWSFieldDef*;
/// Several of them, in an order that is stated where they are used.
using TVqEWSPropDefArray = std::vector<PVqEWSPropDef>;

/// Says where a value stands: a plain record, so that an application can make its own.
///
///     constexpr TVqEWSPropDef EPR_PROJECT{.PropDefName = "EPR_PROJECT",
///                                         .Extended = true,
///                                         .PropType = ptString,
///                                         .PropertySetId = &PSETID_PublicStrings,
///                                         .PropKind = pkName,
///                                         .Name = "Project"};
///
/// Owns nothing: `ParentProp` and `PropertySetId` must outlive the record, and a registered record the program. The
/// fields of the variant that `Extended` does not select are at their defaults.
struct TVqEWSPropDef {
  /// The key: the name of the constant.
  TVqShortString PropDefName{};
  /// False: a member of the schema. True: a MAPI or named property.
  bool Extended = false;

  // Not extended.

  /// Path below the object's element, without prefixes: "Subject", "CompleteName/FirstName".
  TVqShortString NodeName{};
  /// One value, an element with parts, or a dictionary.
  TVqEWSPropDefNodeType NodeType = pdntSimple;
  /// The row that this one is a part of.
  PVqEWSPropDef ParentProp = nullptr;

  // Extended.

  /// The type of the value; it is part of the request.
  TVqEWSPropType PropType = ptNull;
  /// Empty in every row of the library; an application's record may fill it.
  TVqShortString DistinguishedPropertySetId{};
  /// The set of a named property.
  const TGUID* PropertySetId = nullptr;
  /// The MAPI tag, 0 when there is none.
  std::uint16_t PropertyTag = 0;
  /// Which of the next two counts.
  TVqEWSPropKind PropKind = pkId;
  /// The number or the name within the set.
  std::int32_t Id = 0;
  TVqShortString Name{};
};

/// Says how a value is named in a request. Owns nothing; `PropDef` must outlive it.
struct TVqEWSFieldDef {
  TVqShortString FieldDefName{};  ///< the key: the name of the constant
  /// What the field names, and the element that names it.
  PVqEWSPropDef PropDef = nullptr;
  TVqEWSFieldDefType FieldType = fdtField;
  TVqShortString UnindexedFieldURI{};  ///< "item:Subject"; empty for an extended field
  TVqShortString FieldIndex{};         ///< "HomePhone", for `fdtIndexedField` only

  /// The URI under its short name.
  constexpr TVqShortString FieldURI() const noexcept { return UnindexedFieldURI; }
};

// ---- Property sets

/// The ids of property sets: those of MAPI, of the mailbox's applications and of headers.
extern const TGUID PS_MAPI;
extern const TGUID PS_PUBLIC_STRINGS;
extern const TGUID PSETID_PublicStrings;
extern const TGUID PS_INTERNET_HEADERS;
extern const TGUID PSETID_InternetHeaders;
extern const TGUID PSETID_Appointment;
extern const TGUID PSETID_Task;
extern const TGUID PSETID_Address;
extern const TGUID PSETID_Common;
extern const TGUID PSETID_Log;
extern const TGUID PSETID_Note;
extern const TGUID PSETID_Sharing;
extern const TGUID PSETID_PostRss;
extern const TGUID PSETID_Messaging;
extern const TGUID PSETID_Attachment;
extern const TGUID PSETID_CalendarAssistant;
extern const TGUID PSETID_UnifiedMessaging;
extern const TGUID PSETID_Meeting;
extern const TGUID PSETID_AirSync;
/// The library's own set: instructions that travel with an item through a save.
extern const TGUID PSETID_Velmore;
/// Sets of documents and of the server's own bookkeeping.
extern const TGUID GUID_PKMDocSummaryInformation;
extern const TGUID PSETID_Exchange1;

// ---- Registration

/// Adds an application's definition, which must live as long as the program. A key that exists already is no failure:
/// the first row stays, and the parts of `ParentProp` do not grow. Raises a plain exception for none and for an empty
/// key. Call it before any thread looks up.
void RegisterProp(PVqEWSPropDef APropDef);
/// The same for a field; its property must be set.
void RegisterField(PVqEWSFieldDef AFieldDef);

// ---- Look-up of properties

/// By key, one hash look-up. Absent: none, or with `ARaise` a plain exception "There is no property definition "%s"!".
PVqEWSPropDef GetPropDef(std::string_view APropDefName, bool ARaise);
/// The registered row that equals the argument: by key, else, for an extended record, the first row with the same tag,
/// or the same set and the same id or name. The type is not compared. Linear in the rows. Absent: raises "There is no
/// property definition "%s"!".
PVqEWSPropDef GetPropDef(const TVqEWSPropDef& APropDef);
/// By EWS class and member: the property of the field that `GetFieldDef(AClassName, AName, false)` finds; else the
/// first row whose key (extended) or node name (schema) is `AName`; else the "EPR_" row with that tail, ignoring case.
/// `AClassName` may be empty. Absent: none, or with `ARaise` a plain exception "There is no property definition for
/// "%s:%s"!".
PVqEWSPropDef GetPropDef(const string& AClassName, const string& AName, bool ARaise);
/// The parts of a complex or array row, in the order in which they were registered; empty for any other row.
const TVqEWSPropDefArray& GetKeyPropDefs(PVqEWSPropDef APropDef);

// ---- Look-up of fields

/// By key, one hash look-up. Absent: none, or with `ARaise` a plain exception "There is no field definition "%s"!".
PVqEWSFieldDef GetFieldDef(std::string_view AFieldDefName, bool ARaise);
/// The registered row with the argument's key; raises as above.
PVqEWSFieldDef GetFieldDef(const TVqEWSFieldDef& AFieldDef);
/// By enumeration value. Raises as above: seven values, all `ufubooking_...`, have no field.
PVqEWSFieldDef GetFieldDef(TUnindexedFieldURI AURI);
/// Raises for every value, as the rows of dictionaries have the entry's key in theirs
/// (`FLD_CONTACTS_PHONENUMBER_HOMEPHONE`). This is intended: without a key, no entry can be asked for.
PVqEWSFieldDef GetFieldDef(TDictionaryURI AURI);
/// By EWS class ("TEwsMessage") and member ("Subject"), falling back to the fields of every item. Contacts are looked
/// for among contacts, personas and persons. Absent: none, or with `ARaise` a plain exception "There is no field
/// definition for "%s.%s"!".
PVqEWSFieldDef GetFieldDef(const string& AClassName, const string& AName, bool ARaise);
/// The first field whose property has this key (byte by byte). Linear in the fields. Absent: raises "There is no field
/// definition for "%s"!".
PVqEWSFieldDef GetFirstFieldDef(std::string_view APropDefName);

// ---- Walks

/// Calls `AVisit` for every definition, in the order in which they were registered (PR, EPR, MPR, an application's
/// own), until it gives false.
void ForEachPropDef(const std::function<bool(const TVqEWSPropDef&)>& AVisit);
/// The same for fields (FLD, EFLD, MFLD, an application's own).
void ForEachFieldDef(const std::function<bool(const TVqEWSFieldDef&)>& AVisit);

// ---- Texts

/// The selection path of the value below the object's element: the node name, or
/// `ExtendedProperty/ExtendedFieldURI[(@PropertyTag="0x37")]/../Value` and its kin. Raises a plain exception for an
/// extended record that has neither a tag nor a set.
string GetNodePath(PVqEWSPropDef APropDef);
string GetNodePath(const TVqEWSPropDef& APropDef);
/// The member of a record that stands for an element: the element's name, with "_" after the ten that are words of the
/// code ("Type_", "Start_").
string NodeNameToPropName(const string& AName);
/// "folder:FolderId" for `ufufolder_FolderId`: every "_" of the value's name is a ":".
string FieldURIToString(TUnindexedFieldURI AURI);
string FieldURIToString(TDictionaryURI AURI);
/// The converse; false, and nothing changed, for a text that is no value.
bool TryStringToFieldURI(const string& AText, TUnindexedFieldURI& AURI);
bool TryStringToFieldURI(const string& AText, TDictionaryURI& AURI);
/// A set's id as requests have it: lower case, no braces.
string PropSetIDToString(const TGUID& APropSetId);
/// The `PropertyType` of the wire: "SystemTime" for `ptSystemTime`.
string PropTypeToString(TVqEWSPropType APropType);

}  // namespace velmore
