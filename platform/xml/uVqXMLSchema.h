#pragma once

/// Typed records: views over one element of a document, with a getter and a setter for each member that the schema
/// gives it. `ews/schema/uVqEWSTypes.h` has the records of the types schema.
///
///     TEwsMessage message(element);                       // parses nothing, copies nothing
///     string subject = message.GetSubject();              // reads <t:Subject>
///     message.GetBody().SetValue("Hello");                // makes <t:Body> at its place, if missing
///     if (message.FindNode("t:Attachments")) ...          // asks, and makes nothing
///
/// A record has no data of its own: getters read the tree, setters write it, the tree is the wire form.
///
/// What every record has in common:
/// - Owns: a share of the document, and the records of its children that were asked for. A getter of a class gives a
///   reference to a record that its parent owns: one for each node, for the parent's lifetime.
/// - Copy: none. Making one costs no allocation beyond the record itself.
/// - Threads: a record belongs to the thread that its document belongs to. Even a getter writes (the list of children).
/// - Raises: EConvertError for text that does not convert, EVqXMLError for text that XML cannot carry. A record whose
///   node was written over is discarded: using it raises a plain exception. Nothing here talks to a server, unless a
///   handler of `OnGetSOAPElement` does.

#include <deque>
#include <memory>
#include <optional>

#include "platform/common/uVqSerializer.h"
#include "platform/xml/uVqXMLDOM.h"

namespace velmore {

class TVqXMLSchemaElement;
class TVqXMLSchemaClass;
class TVqRecordVisitor;

/// How often a member may stand in its record, and whether it must. The table of registration values behind the names:
///
/// | Rule     | min | max | required          | choice |
/// |----------|-----|-----|-------------------|--------|
/// | Optional | 0   | 1   | no                | -1     |
/// | Required | 1   | 1   | no                | -1     |  (an attribute: 0, 1, yes)
/// | Many     | 0   | -1  | no                | -1     |
/// | NonEmpty | 1   | -1  | no                | -1     |
/// | UpTo3    | 0   | 3   | no                | -1     |
/// | Choice0  | 0   | 1   | no                | 0      |
/// | Choice1  | 0   | 1   | no                | 1      |
enum class TVqXMLSchemaRule : std::uint8_t { Optional, Required, Many, NonEmpty, UpTo3, Choice0, Choice1 };

/// One row of a class's table: a member as the schema declares it. Lives in read-only memory.
struct TVqXMLSchemaMember {
  std::string_view Name;  ///< with prefix for an element ("t:Subject"), bare for an attribute ("BodyType")
  /// An element or an attribute; how often it stands in the record; and its type.
  TVqDOMNodeType NodeType = TVqDOMNodeType::ntElement;
  TVqXMLSchemaRule Rule = TVqXMLSchemaRule::Optional;
  TVqTypeInfo Type;
  const TVqXMLSchemaClass* Class = nullptr;  ///< the class of a record, or of an array's entries if they are records
};

/// What is known of one member of a record. A value; a copy copies the name.
class TVqXMLSchemaInfo {
 public:
  /// A member that no class knows: only its name and kind.
  TVqXMLSchemaInfo(const string& AName, TVqDOMNodeType ANodeType) : FName(AName), FNodeType(ANodeType) {}
  /// A member as AddSchemaInfo registers it.
  TVqXMLSchemaInfo(std::int32_t AIndex, TVqDOMNodeType ANodeType, const string& AName, std::int32_t AMinOccurs,
                   std::int32_t AMaxOccurs, bool ARequired, std::int32_t AChoiceGroup, TVqTypeInfo AType = {})
      : FName(AName),
        FNodeType(ANodeType),
        FRequired(ARequired),
        FIndex(AIndex),
        FMinOccurs(AMinOccurs),
        FMaxOccurs(AMaxOccurs),
        FChoiceGroup(AChoiceGroup),
        FType(AType) {}

  /// The member's key within its record: a running number over the class and its bases.
  std::int32_t GetIndex() const noexcept { return FIndex; }
  /// An element or an attribute.
  TVqDOMNodeType GetNodeType() const noexcept { return FNodeType; }
  /// The name, an element's with its prefix.
  const string& GetName() const noexcept { return FName; }
  /// 0 for optional, 1 for required.
  std::int32_t GetMinOccurs() const noexcept { return FMinOccurs; }
  /// -1 for any number. Some arrays of the schema are registered with 1, on purpose: the number restricts nothing and
  /// is given as registered.
  std::int32_t GetMaxOccurs() const noexcept { return FMaxOccurs; }
  /// True for an attribute that must be there.
  bool GetRequired() const noexcept { return FRequired; }
  /// Members of one record with the same number from 0 are alternatives; -1 for none.
  std::int32_t GetChoiceGroup() const noexcept { return FChoiceGroup; }
  /// The member's type; kind tkUnknown for one that an application registered.
  const TVqTypeInfo& GetTypeInfo() const noexcept { return FType; }

 private:
  string FName;
  TVqDOMNodeType FNodeType;
  bool FRequired = false;
  std::int32_t FIndex = -1;
  std::int32_t FMinOccurs = 0;
  std::int32_t FMaxOccurs = 1;
  std::int32_t FChoiceGroup = -1;
  TVqTypeInfo FType;
};

namespace detail {
class TVqXMLNameIndex;
}  // namespace detail

/// A record class at run time: its name, its base, its members, and a way to make a record of it. One constant object
/// per class (`TEwsMessage::SchemaClass()`), alive as long as the program, for any number of threads. Only `GetMember`
/// and `CreateRecord` raise.
class TVqXMLSchemaClass {
 public:
  /// A new record, owned by the caller.
  using TFactory = TVqXMLSchemaElement* (*)(const IVqDOMElement& AElement);

  /// All arguments are constants that live as long as the program; the tables of records make these.
  constexpr TVqXMLSchemaClass(std::string_view AName, const TVqXMLSchemaClass* ABase,
                              const TVqXMLSchemaMember* AMembers, std::int32_t AFirstIndex, std::int32_t AOwnCount,
                              TFactory AFactory) noexcept
      : FName(AName),
        FBase(ABase),
        FMembers(AMembers),
        FFirstIndex(AFirstIndex),
        FOwnCount(AOwnCount),
        FFactory(AFactory) {}
  TVqXMLSchemaClass(const TVqXMLSchemaClass&) = delete;
  TVqXMLSchemaClass& operator=(const TVqXMLSchemaClass&) = delete;

  /// "TEwsMessage".
  std::string_view GetName() const noexcept { return FName; }
  /// Null for the root of all records.
  const TVqXMLSchemaClass* GetBase() const noexcept { return FBase; }
  /// True for the class itself, too.
  bool InheritsFrom(const TVqXMLSchemaClass& AOther) const noexcept;
  /// Makes a record of this class on an element.
  std::unique_ptr<TVqXMLSchemaElement> CreateRecord(const IVqDOMElement& AElement) const;

  /// Members of the class alone.
  std::int32_t GetOwnMemberCount() const noexcept { return FOwnCount; }
  /// The index of the class's first own member: the number of its bases' members.
  std::int32_t GetFirstIndex() const noexcept { return FFirstIndex; }
  /// Members of the class and its bases.
  std::int32_t GetMemberCount() const noexcept { return FFirstIndex + FOwnCount; }
  /// By index over the whole chain, the root's members first; raises EListError with "Invalid Schema Index" outside.
  const TVqXMLSchemaMember& GetMember(std::int32_t AIndex) const;
  /// Index of the member with this name, or -1. The name is taken with prefix ("t:Subject", "BodyType") or, failing
  /// that, without ("Subject"). A name that is declared twice along the chain gives the most derived declaration.
  std::int32_t FindMember(std::string_view AName) const;
  /// The member as a `TVqXMLSchemaInfo`.
  TVqXMLSchemaInfo GetInfo(std::int32_t AIndex) const;
  /// Kind and type name of the member with this name; kind tkUnknown when there is no such member.
  TVqTypeInfo GetTypeInfo(std::string_view AName) const;

  /// The first child element with this name, prefix included, made if missing at its place among the members of this
  /// class. For code that has an element of the class but no record.
  IVqDOMElement ChildOf(const IVqDOMElement& AParent, std::string_view AName) const;
  /// Makes one more child element, at its place among the members of this class. Siblings that the class does not know
  /// stay where they are.
  IVqDOMElement InsertInto(const IVqDOMElement& AParent, std::string_view AName) const;

 private:
  friend class TVqXMLSchemaElement;
  const detail::TVqXMLNameIndex& NameIndex() const;

  std::string_view FName;
  const TVqXMLSchemaClass* FBase;
  const TVqXMLSchemaMember* FMembers;
  std::int32_t FFirstIndex;
  std::int32_t FOwnCount;
  TFactory FFactory;
  // Made at the first look-up by name; published once, never changed, never freed.
  mutable std::atomic<const detail::TVqXMLNameIndex*> FIndex{nullptr};
};

namespace detail {
extern const TVqXMLSchemaClass RootSchemaClass;           // of TVqXMLSchemaElement
extern const TVqXMLSchemaClass SimpleContentSchemaClass;  // of TVqXMLSchemaSimpleContentElement
}  // namespace detail

/// Asked when a typed getter does not find a member: the record (null when the property layer asks) and the member. The
/// handler may add the member to the tree; the getter then looks again.
using TVqGetSOAPElementEvent = std::function<void(TVqXMLSchemaElement* ARecord, const TVqXMLSchemaInfo& AInfo)>;

template <typename T>
class TVqXMLSchemaElementArray;

namespace detail {

template <typename T>
concept SchemaRecord = std::derived_from<T, TVqXMLSchemaElement>;

template <typename T>
inline constexpr bool kIsSet = false;
template <typename T>
inline constexpr bool kIsSet<TVqSet<T>> = true;

template <typename T>
struct SetValueOf {
  using type = T;
};
template <typename T>
struct SetValueOf<TVqSet<T>> {
  using type = T;
};

/// A plain value made of members, described for the serializer (uVqXMLSerializer.h).
template <typename T>
concept SerializableRecord = requires(TVqRecordVisitor& visitor, T& value) {
  VqDescribeRecord(visitor, value);
};
using DescribeFunction = void (*)(TVqRecordVisitor& visitor, void* value);

/// Values and their wire texts, white space around them ignored. Empty text is the empty value.
void ReadValue(std::string_view text, string& value);
void ReadValue(std::string_view text, bool& value);
void ReadValue(std::string_view text, std::int32_t& value);
void ReadValue(std::string_view text, std::int64_t& value);
void ReadValue(std::string_view text, double& value);
void ReadValue(std::string_view text, TDateTime& value);
void ReadValue(std::string_view text, TGUID& value);
void ReadValue(std::string_view text, TBytes& value);
string WriteValue(const string& value);
string WriteValue(bool value);
string WriteValue(std::int32_t value);
string WriteValue(std::int64_t value);
string WriteValue(double value);
string WriteValue(TDateTime value);
string WriteValue(const TGUID& value);
string WriteValue(const TBytes& value);

template <typename T>
concept SimpleValue = std::same_as<T, string> || std::same_as<T, bool> || std::same_as<T, std::int32_t> ||
    std::same_as<T, std::int64_t> || std::same_as<T, double> || std::same_as<T, TDateTime> || std::same_as<T, TGUID> ||
    std::same_as<T, TBytes>;

/// Numbers of other widths, read and written as the widest one of their kind.
template <typename T>
concept OtherNumber =
    std::is_arithmetic_v<T> && !SimpleValue<T> && !std::same_as<T, char> && !std::same_as<T, wchar_t> &&
    !std::same_as<T, char8_t> && !std::same_as<T, char16_t> && !std::same_as<T, char32_t>;

[[noreturn]] void RaiseMisfit(const string& number);
/// The same number in the other type; raises EConvertError when it does not fit.
template <std::integral TTo, std::integral TFrom>
TTo Fitting(TFrom value) {
  if (!std::in_range<TTo>(value)) RaiseMisfit(std::to_string(value));
  return static_cast<TTo>(value);
}

std::int32_t ReadEnum(std::string_view text, const TVqEnumInfo& info) noexcept;

/// A value of T from its wire text; an unknown enumeration text gives the first value.
template <typename T>
T FromText(std::string_view text) {
  T value{};
  if constexpr (kIsSet<T>) {
    value = VqTextToSet<typename SetValueOf<T>::type>(string(text));
  } else if constexpr (std::is_enum_v<T>) {
    value = static_cast<T>(ReadEnum(text, VqEnumInfoOf(value)));
  } else {
    ReadValue(text, value);
  }
  return value;
}

/// The wire text of a value: what `FromText` reads.
template <typename T>
string ToText(const T& value) {
  if constexpr (kIsSet<T>) {
    return VqSetTextOf(VqEnumInfoOf(typename SetValueOf<T>::type{}), value.Bits(), "", ' ', "");
  } else if constexpr (std::is_enum_v<T>) {
    return VqEnumToText(value);
  } else {
    return WriteValue(value);
  }
}

[[noreturn]] void RaiseNoSchemaClass();
template <typename T>
[[noreturn]] T& RaiseNoSchemaClass() {
  RaiseNoSchemaClass();
}

struct TVqXMLSchemaExtras;
class TVqXMLSchemaArray;
using ArrayFactory = TVqXMLSchemaArray* (*)(const IVqDOMElement& parent, std::string_view name);

template <typename T>
TVqXMLSchemaElement* MakeRecord(const IVqDOMElement& element) {
  return new T(element);
}

}  // namespace detail

/// Base of all records. See the head of this file for what it owns, costs and raises.
class TVqXMLSchemaElement : public TVqObjectEx {
 public:
  /// A record over an element. Over a handle that refers to nothing, reads give empty values and writes raise.
  explicit TVqXMLSchemaElement(const IVqDOMElement& AElement) noexcept : FElement(AElement) {}
  ~TVqXMLSchemaElement() override;

  // ---- The record

  /// The class by its C++ type: `TEwsMessage::SchemaClass()`.
  static const TVqXMLSchemaClass& SchemaClass() noexcept;
  /// The class of the record that this really is.
  virtual const TVqXMLSchemaClass& GetSchemaClass() const noexcept;
  /// "TEwsMessage". An application's own class without a table gives the name of its base.
  string ClassName() const { return GetSchemaClass().GetName(); }

  /// The element itself. Raises a plain exception when this record was discarded.
  const IVqDOMElement& AsElement() const { return Element(); }
  /// The element's markup, its own tag included.
  string GetXML() const { return Element().GetXML(); }
  /// Gives up the record, and with it every record and array that it handed out: using one of them raises a plain
  /// exception from now on. The document is let go.
  void Discard() noexcept;
  /// Copies attributes and everything inside onto the other record's element, in place of what that had.
  void AssignTo(TVqXMLSchemaElement& ATarget) const;
  /// The same; raises a plain exception for a null pointer.
  void AssignTo(TVqXMLSchemaElement* ATarget) const;

  // ---- Members by name
  // Names as `TVqXMLSchemaClass::FindMember` takes them. A name that the record does not have gives an empty handle.

  /// What is known of a member; nothing when there is no such member.
  std::optional<TVqXMLSchemaInfo> FindSchemaInfo(const TVqUtf8View& AName) const;
  /// Kind and type name of a member; kind tkUnknown when there is no such member.
  TVqTypeInfo GetTypeInfo(const TVqUtf8View& AName) const;
  /// The member's node, made at its place if missing.
  IVqDOMNode GetNode(const TVqUtf8View& AName);
  /// The member's node, empty if missing. Makes nothing and asks nobody.
  IVqDOMNode FindNode(const TVqUtf8View& AName) const;
  /// Takes the member's (first) node out of the tree; a missing one is no error.
  void RemoveNode(const TVqUtf8View& AName);

  // ---- Members by index
  // What the accessors of the records are made of. An index that the record does not have raises EListError with
  // "Invalid Schema Index". Getters give the empty value for a missing node and for a node without text.

  /// The node of a member. A missing one is made, if `ACreate`, at its place among the members of the whole class
  /// chain.
  IVqDOMNode GetNodeByIndex(std::int32_t AIndex, bool ACreate);

  /// The text as it stands, or converted.
  string GetStringValue(std::int32_t AIndex) const;
  std::int32_t GetIntValue(std::int32_t AIndex) const;
  std::int64_t GetLongValue(std::int32_t AIndex) const;
  double GetDoubleValue(std::int32_t AIndex) const;
  bool GetBooleanValue(std::int32_t AIndex) const;
  /// The day, without a time zone.
  TDateTime GetDateValue(std::int32_t AIndex) const;
  /// The time of day as a fraction of a day, as it stands: no zone is applied.
  TDateTime GetTimeValue(std::int32_t AIndex) const;
  /// UTC.
  TDateTime GetDatetimeValue(std::int32_t AIndex) const;
  /// In days.
  double GetDurationValue(std::int32_t AIndex) const;
  /// The text as it stands.
  string GetLanguageValue(std::int32_t AIndex) const { return GetStringValue(AIndex); }
  string GetAnyUriValue(std::int32_t AIndex) const { return GetStringValue(AIndex); }
  /// With or without braces in the text.
  TGUID GetGuidValue(std::int32_t AIndex) const;
  /// The base-64 text as it stands; `VqXMLToBytes` decodes it.
  string GetBase64binaryValue(std::int32_t AIndex) const { return GetStringValue(AIndex); }

  /// The node is made if missing, its text replaced.
  void SetValue(std::int32_t AIndex, const TVqUtf8View& AValue);
  void SetStringValue(std::int32_t AIndex, const TVqUtf8View& AValue) { SetValue(AIndex, AValue); }
  void SetIntValue(std::int32_t AIndex, std::int32_t AValue);
  void SetLongValue(std::int32_t AIndex, std::int64_t AValue);
  void SetDoubleValue(std::int32_t AIndex, double AValue);
  void SetBooleanValue(std::int32_t AIndex, bool AValue);
  void SetDateValue(std::int32_t AIndex, TDateTime AValue);
  void SetTimeValue(std::int32_t AIndex, TDateTime AValue);
  void SetDatetimeValue(std::int32_t AIndex, TDateTime AValue);
  void SetDurationValue(std::int32_t AIndex, double ADays);
  void SetLanguageValue(std::int32_t AIndex, const TVqUtf8View& AValue) { SetValue(AIndex, AValue); }
  void SetAnyUriValue(std::int32_t AIndex, const TVqUtf8View& AValue) { SetValue(AIndex, AValue); }
  void SetGuidValue(std::int32_t AIndex, const TGUID& AValue);
  void SetBase64binaryValue(std::int32_t AIndex, const TVqUtf8View& AValue) { SetValue(AIndex, AValue); }

  /// A member as a T. A record class gives a reference to the one record of the node, which is made if missing;
  /// everything else is a value: numbers of any width, text, enumerations, sets, and plain records known to the
  /// serializer. A number that does not fit raises EConvertError; any other class raises "Only TVqXMLSchemaElement
  /// class types are supported!".
  template <typename T>
  decltype(auto) GetValue(std::int32_t AIndex) const;
  /// The converse. Writing a record class copies attributes and everything inside the source's element onto the node,
  /// and discards all child records and arrays of this record: references to them must not be used any more.
  template <typename T>
  void SetValue(std::int32_t AIndex, const T& AValue);

  /// The array of a member, made once and owned by this record. Never asks for the member: an array only looks.
  template <typename T>
  TVqXMLSchemaElementArray<T>& GetArray(std::int32_t AIndex) const;
  /// The value of T that has the name of the alternative present in a choice group; the first value when none is
  /// present.
  template <VqTextEnum T>
  T GetChoice(std::int32_t AGroup) const {
    return static_cast<T>(ChoiceOf(AGroup, VqEnumInfoOf(T{})));
  }

  // ---- Loading on demand

  /// Fired by the typed getters (class getters included, before they make the element) when the member's node is
  /// missing. Never by setters, FindNode, GetNode, arrays and choices. Records of children do not inherit the handler.
  void SetOnGetSOAPElement(TVqGetSOAPElementEvent AHandler);
  /// Empty when no handler is set.
  const TVqGetSOAPElementEvent& GetOnGetSOAPElement() const noexcept;

  // ---- Serialisation

  /// The record as text. Raises a plain exception for any format other than dsfXML and dsfJSON.
  string Serialize(TVqDataSerializationFormatType AFormat) const;
  /// Replaces everything in this record's element by what a text of `Serialize` holds. Child records and arrays are
  /// discarded. Raises EVqXMLError, and changes nothing, for text that is not well-formed.
  void Deserialize(TVqDataSerializationFormatType AFormat, const string& AText);
  /// The element's markup. A target namespace, if given, is declared for the element's prefix; without namespaces,
  /// prefixes and declarations are left out.
  string AsXML(const string& ATargetNamespace = {}, bool AExcludeNamespaces = false) const;
  /// As `Serialize` with dsfJSON.
  string AsJSON() const;

 protected:
  /// For the record classes of an application: registers members by AddSchemaInfo. Runs before the first access to a
  /// member; the overriding class calls its base first. Classes with a table need none.
  virtual void AfterConstruction() {}
  /// Registers one more member, behind all others. Raises EListError for an index that is taken. A name that is taken
  /// replaces the earlier declaration.
  void AddSchemaInfo(std::int32_t AIndex, TVqDOMNodeType ANodeType, const string& AName, std::int32_t AMinOccurs,
                     std::int32_t AMaxOccurs, bool ARequired, std::int32_t AChoiceGroup);

  /// The element; raises a plain exception when this record was discarded.
  const IVqDOMElement& Element() const {
    if (FDiscarded) RaiseDiscarded();
    return FElement;
  }

  /// The one record of a member's node, for accessors of classes with a table; the node is made if missing.
  TVqXMLSchemaElement& GetRecord(std::int32_t AIndex, const TVqXMLSchemaClass& AClass) const;

 private:
  friend class detail::TVqXMLSchemaArray;
  struct TMember;

  [[noreturn]] static void RaiseDiscarded();
  void Prepare() const;
  TMember MemberByIndex(std::int32_t index) const;
  bool MemberByName(std::string_view name, TMember& member) const;
  TVqXMLSchemaInfo InfoOf(const TMember& member) const;
  std::int32_t RankOf(std::string_view name) const;
  IVqDOMNode NodeOf(const TMember& member) const;
  IVqDOMNode MakeNode(const TMember& member) const;
  bool Demand(const TMember& member) const;
  std::string_view ReadText(std::int32_t index, std::string& scratch) const;
  template <typename T>
  T ReadSimple(std::int32_t index) const;
  std::int32_t ReadEnumValue(std::int32_t index, const TVqEnumInfo& info) const;
  IVqDOMNode NodeOrDemand(std::int32_t index) const;
  IVqDOMNode NodeForRecord(std::int32_t index) const;
  void ReadRecord(std::int32_t index, void* value, detail::DescribeFunction describe) const;
  void WriteRecord(std::int32_t index, void* value, detail::DescribeFunction describe);
  TVqXMLSchemaElement& ReadChild(std::int32_t index, TVqXMLSchemaClass::TFactory factory,
                                 bool (*isInstance)(const TVqXMLSchemaElement&)) const;
  void WriteString(std::int32_t index, const string& value);
  void WriteEnumValue(std::int32_t index, const TVqEnumInfo& info, std::int32_t value);
  void WriteChild(std::int32_t index, const TVqXMLSchemaElement& source);
  detail::TVqXMLSchemaArray& ReadArray(std::int32_t index, detail::ArrayFactory factory) const;
  std::int32_t ChoiceOf(std::int32_t group, const TVqEnumInfo& info) const;
  void DiscardChildren() noexcept;
  detail::TVqXMLSchemaExtras& Extras() const;

  IVqDOMElement FElement;
  bool FDiscarded = false;
  mutable bool FPrepared = false;
  mutable detail::TVqXMLSchemaExtras* FExtras = nullptr;  // owned; only for records that have any
};

namespace detail {

/// What the arrays of all types have in common.
class TVqXMLSchemaArray : public TVqObjectEx {
 public:
  ~TVqXMLSchemaArray() override;

  /// Number of entries: all elements of the entries' name at any depth below the parent, on purpose: entries of lists
  /// in lists are found that way. An entry that holds an element of the same name counts for two.
  std::int32_t Count() const { return static_cast<std::int32_t>(Entries().size()); }
  /// Takes an entry out of the tree. Its record is discarded; records of later entries keep the position under which
  /// they were asked for. Raises EListError for a position that is not there.
  void Delete(std::int32_t AIndex);
  /// Removes everything inside the parent, other members included. Records that were asked for stay valid.
  void Clear();
  /// The element around the entries, and the entries' name with prefix.
  const IVqDOMElement& GetParentElement() const noexcept { return FParent; }
  string GetElementName() const { return FName; }

 protected:
  TVqXMLSchemaArray(const IVqDOMElement& AParent, std::string_view AName);

  TVqXMLSchemaElement& RecordAt(std::int32_t AIndex, TVqXMLSchemaClass::TFactory AFactory);
  IVqDOMElement ElementAt(std::int32_t AIndex) const;
  std::string TextAt(std::int32_t AIndex) const;
  /// Appends an entry to the parent and gives its position. A text that XML cannot carry appends nothing.
  std::int32_t Append();
  std::int32_t Append(const TVqUtf8View& AText);

 private:
  friend class velmore::TVqXMLSchemaElement;
  const std::deque<void*>& Entries() const;
  void Discard() noexcept;

  IVqDOMElement FParent;
  IVqDOMDocument FDocument;
  std::string FName;
  bool FDiscarded = false;
  std::vector<std::unique_ptr<TVqXMLSchemaElement>> FRecords;  // by position
  std::vector<std::unique_ptr<TVqXMLSchemaElement>> FParked;
  // The nodes that were found, as long as nothing changed that could give other ones.
  mutable std::deque<void*> FEntries;  // deletions at either end move nothing
  mutable std::uint32_t FEntriesAt = 0;
  mutable bool FEntriesKnown = false;
};

template <typename TArray>
class TVqXMLArrayIterator {
 public:
  TVqXMLArrayIterator(TArray* array, std::int32_t index) : FArray(array), FIndex(index) {}
  decltype(auto) operator*() const { return FArray->GetItem(FIndex); }
  TVqXMLArrayIterator& operator++() {
    ++FIndex;
    return *this;
  }
  bool operator!=(const TVqXMLArrayIterator& other) const noexcept { return FIndex != other.FIndex; }

 private:
  TArray* FArray;
  std::int32_t FIndex;
};

}  // namespace detail

/// The entries of one name under one element, as records or (for text, numbers, GUIDs and enumerations) as values.
///
/// Owns the records that were asked for, by position, until it is destroyed. No copies. Belongs to its document's
/// thread. Raises EListError for positions that are not there. Going through all entries by position is linear as long
/// as the document does not change in between.
template <typename T>
class TVqXMLSchemaElementArray : public detail::TVqXMLSchemaArray {
 public:
  /// The entries named `AName` (prefix included) below `AParent`.
  TVqXMLSchemaElementArray(const IVqDOMElement& AParent, const TVqUtf8View& AName)
      : TVqXMLSchemaArray(AParent, AName.View()) {}

  /// The value at a position, converted at each call.
  T GetItem(std::int32_t AIndex) const { return detail::FromText<T>(TextAt(AIndex)); }
  /// Writes the value at a position.
  void SetItem(std::int32_t AIndex, const T& AValue) { ElementAt(AIndex).SetText(detail::ToText(AValue)); }
  /// Appends a value behind everything else inside the parent.
  T Add(const T& AValue = {}) { return GetItem(Append(detail::ToText(AValue))); }

  /// Over the values. The array must outlive the loop.
  auto begin() const { return detail::TVqXMLArrayIterator<const TVqXMLSchemaElementArray>(this, 0); }
  auto end() const { return detail::TVqXMLArrayIterator<const TVqXMLSchemaElementArray>(this, Count()); }
};

/// The entries as records; see the general form.
template <detail::SchemaRecord T>
class TVqXMLSchemaElementArray<T> : public detail::TVqXMLSchemaArray {
 public:
  /// The entries named `AName` (prefix included) below `AParent`.
  TVqXMLSchemaElementArray(const IVqDOMElement& AParent, const TVqUtf8View& AName)
      : TVqXMLSchemaArray(AParent, AName.View()) {}

  /// The record at a position, made once. What was deleted before it does not move it: a record stays under the
  /// position at which it was first asked for.
  T& GetItem(std::int32_t AIndex) { return static_cast<T&>(RecordAt(AIndex, &detail::MakeRecord<T>)); }
  /// Appends an entry behind everything else inside the parent.
  T& Add() { return GetItem(Append()); }

  /// Over the records. The array must outlive the loop.
  auto begin() { return detail::TVqXMLArrayIterator<TVqXMLSchemaElementArray>(this, 0); }
  auto end() { return detail::TVqXMLArrayIterator<TVqXMLSchemaElementArray>(this, Count()); }
};

/// A record whose element has a value of type T as its text, beside members that are attributes.
template <typename T>
class TVqXMLSchemaSimpleContentElement : public TVqXMLSchemaElement {
 public:
  using TVqXMLSchemaElement::GetValue;
  using TVqXMLSchemaElement::SetValue;
  using TVqXMLSchemaElement::TVqXMLSchemaElement;

  /// One class for all of them, whatever T is.
  static const TVqXMLSchemaClass& SchemaClass() noexcept { return detail::SimpleContentSchemaClass; }
  /// The class of the record that this really is.
  const TVqXMLSchemaClass& GetSchemaClass() const noexcept override { return detail::SimpleContentSchemaClass; }

  /// The element's text as a T; the empty value when there is none.
  T GetValue() const { return detail::FromText<T>(Element().GetTextAsUtf8()); }
  /// Replaces everything inside the element; attributes stay.
  void SetValue(const T& AValue) { Element().SetText(detail::ToText(AValue)); }
};

// ---- Definitions

namespace detail {
template <typename T>
bool IsRecord(const TVqXMLSchemaElement& record) {
  if constexpr (std::same_as<T, TVqXMLSchemaElement>) {
    return true;
  } else {
    return dynamic_cast<const T*>(&record) != nullptr;
  }
}
}  // namespace detail

template <typename T>
decltype(auto) TVqXMLSchemaElement::GetValue(std::int32_t AIndex) const {
  if constexpr (detail::SchemaRecord<T>) {
    return static_cast<T&>(ReadChild(AIndex, &detail::MakeRecord<T>, &detail::IsRecord<T>));
  } else if constexpr (std::is_enum_v<T>) {
    return static_cast<T>(ReadEnumValue(AIndex, VqEnumInfoOf(T{})));
  } else if constexpr (std::same_as<T, string>) {
    return GetStringValue(AIndex);
  } else if constexpr (std::same_as<T, bool>) {
    return GetBooleanValue(AIndex);
  } else if constexpr (std::same_as<T, std::int32_t>) {
    return GetIntValue(AIndex);
  } else if constexpr (std::same_as<T, std::int64_t>) {
    return GetLongValue(AIndex);
  } else if constexpr (std::same_as<T, double>) {
    return GetDoubleValue(AIndex);
  } else if constexpr (std::same_as<T, TDateTime>) {
    return GetDatetimeValue(AIndex);
  } else if constexpr (std::same_as<T, TGUID>) {
    return GetGuidValue(AIndex);
  } else if constexpr (detail::OtherNumber<T> && std::is_integral_v<T>) {
    return detail::Fitting<T>(GetLongValue(AIndex));
  } else if constexpr (detail::OtherNumber<T>) {
    return static_cast<T>(GetDoubleValue(AIndex));
  } else if constexpr (std::same_as<T, TBytes> || detail::kIsSet<T>) {
    std::string scratch;
    return detail::FromText<T>(ReadText(AIndex, scratch));
  } else if constexpr (detail::SerializableRecord<T>) {
    T value{};
    ReadRecord(AIndex, &value,
               [](TVqRecordVisitor& visitor, void* record) { VqDescribeRecord(visitor, *static_cast<T*>(record)); });
    return value;
  } else {
    return detail::RaiseNoSchemaClass<T>();
  }
}

template <typename T>
void TVqXMLSchemaElement::SetValue(std::int32_t AIndex, const T& AValue) {
  if constexpr (detail::SchemaRecord<T>) {
    WriteChild(AIndex, AValue);
  } else if constexpr (std::is_enum_v<T>) {
    WriteEnumValue(AIndex, VqEnumInfoOf(AValue), static_cast<std::int32_t>(AValue));
  } else if constexpr (std::same_as<T, string>) {
    WriteString(AIndex, AValue);
  } else if constexpr (std::same_as<T, bool>) {
    SetBooleanValue(AIndex, AValue);
  } else if constexpr (std::same_as<T, std::int32_t>) {
    SetIntValue(AIndex, AValue);
  } else if constexpr (std::same_as<T, std::int64_t>) {
    SetLongValue(AIndex, AValue);
  } else if constexpr (std::same_as<T, double>) {
    SetDoubleValue(AIndex, AValue);
  } else if constexpr (std::same_as<T, TDateTime>) {
    SetDatetimeValue(AIndex, AValue);
  } else if constexpr (std::same_as<T, TGUID>) {
    SetGuidValue(AIndex, AValue);
  } else if constexpr (detail::OtherNumber<T> && std::is_integral_v<T>) {
    SetLongValue(AIndex, detail::Fitting<std::int64_t>(AValue));
  } else if constexpr (detail::OtherNumber<T>) {
    SetDoubleValue(AIndex, static_cast<double>(AValue));
  } else if constexpr (std::same_as<T, TBytes> || detail::kIsSet<T>) {
    WriteString(AIndex, detail::ToText(AValue));
  } else if constexpr (std::is_constructible_v<TVqUtf8View, const T&>) {
    SetValue(AIndex, TVqUtf8View(AValue));
  } else if constexpr (detail::SerializableRecord<T>) {
    T copy = AValue;
    WriteRecord(AIndex, &copy,
                [](TVqRecordVisitor& visitor, void* record) { VqDescribeRecord(visitor, *static_cast<T*>(record)); });
  } else {
    detail::RaiseNoSchemaClass();
  }
}

template <typename T>
TVqXMLSchemaElementArray<T>& TVqXMLSchemaElement::GetArray(std::int32_t AIndex) const {
  return static_cast<TVqXMLSchemaElementArray<T>&>(
      ReadArray(AIndex, [](const IVqDOMElement& parent, std::string_view name) -> detail::TVqXMLSchemaArray* {
        return new TVqXMLSchemaElementArray<T>(parent, name);
      }));
}

}  // namespace velmore
