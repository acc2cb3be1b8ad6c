#include "ews/stores/uVqEWSRestrictions.h"

#include <algorithm>
#include <unordered_set>
#include <utility>

#include "ews/model/uVqEWSWireForm.h"
#include "ews/schema/uVqEWSFieldURI.h"
#include "platform/xml/uVqStringStream.h"
#include "platform/xml/uVqXMLUtils.h"

namespace velmore {
namespace {

/// How deep nodes may stand below nodes: a request is an XML document, and the deepest field
/// (`t:FieldURIOrConstant/t:Constant`) adds two elements.
const auto kMaxDepth = static_cast<std::int32_t>(TVqXMLLimits().MaxDepth) - 2;

/// How deep the node stands that is being written on this thread: children are written through their interface, which
/// has no place for it.
thread_local std::int32_t Depth = 0;

string NameOf(const TVqEWSFieldDef* field) {
  if (!field) return "a filter without a field";
  return "the filter on " + (field->FieldDefName.empty() ? field->UnindexedFieldURI : field->FieldDefName).ToString();
}

/// What keeps a text from standing between quotes; empty when nothing does.
string WrongIn(const string& value) {
  if (value.Contains("\"")) return "has a quote";
  if (value.Contains("<")) return "has a \"<\"";
  try {
    const TVqDOMDocument scratch("<value/>");
    scratch.GetDocumentElement().SetInnerXML("<value of=\"" + value + "\"/>");
  } catch (const EVqXMLError&) {
    return value.Contains("&") ? "has an \"&\" that begins no reference" : "has a character that XML cannot carry";
  }
  return {};
}

template <typename T>
TVqRef<IVqEWSRestriction> Make(TVqEWSObject* creator) {
  return MakeRef<T>(creator, false);
}

void SaveField(const TVqEWSFieldDef* field, TVqStringStream& stream) {
  if (!field) throw EVqException("A restriction has no field.");
  WriteFieldURI(field, stream);
}

void SaveOperator(TVqEWSRestrictionOperator op, const TVqEWSFieldDef* field, TVqStringStream& stream) {
  stream.Add("<t:").Add(VqEnumToText(op)).Add(">");
  SaveField(field, stream);
  stream.Add("<t:FieldURIOrConstant>");
}

void SaveOperatorEnd(TVqEWSRestrictionOperator op, TVqStringStream& stream) {
  stream.Add("</t:FieldURIOrConstant></t:").Add(VqEnumToText(op)).Add(">");
}

}  // namespace

TVqRef<IVqEWSRestriction> EwsCreateRestriction(TVqEWSObject* ACreator, TVqEWSRestrictionType ARestrictionType) {
  // In the order of the types.
  static constexpr TVqRef<IVqEWSRestriction> (*kMakers[])(TVqEWSObject*) = {
      Make<TVqEWSRestrictionAnd>,     Make<TVqEWSRestrictionOr>,      Make<TVqEWSRestrictionNot>,
      Make<TVqEWSRestrictionExists>,  Make<TVqEWSRestrictionCompare>, Make<TVqEWSRestrictionCompareFields>,
      Make<TVqEWSRestrictionBitMask>, Make<TVqEWSRestrictionContent>};
  const auto place = static_cast<std::size_t>(ARestrictionType);
  if (place >= std::size(kMakers)) throw EVqException("Unsupported RestrictionType!");
  return kMakers[place](ACreator);
}

// ---- Trees

void TVqEWSRestriction::CheckChild(const TVqRef<IVqEWSRestriction>& AChild) {
  // What stands deeper than can be written needs no look, and a node that several nodes hold needs one.
  std::unordered_set<const TVqEWSRestriction*> seen;
  std::vector<std::pair<const TVqEWSRestriction*, std::int32_t>> pending;
  const auto look = [&](const TVqRef<IVqEWSRestriction>& node, std::int32_t depth) {
    const auto* restriction = dynamic_cast<const TVqEWSRestriction*>(node.get());
    if (restriction == this) throw EVqException("A restriction cannot hold itself.");
    if (restriction && depth <= kMaxDepth && seen.insert(restriction).second) pending.emplace_back(restriction, depth);
  };
  look(AChild, 1);
  while (!pending.empty()) {
    const auto [node, depth] = pending.back();
    pending.pop_back();
    for (const auto& child : node->Children()) look(child, depth + 1);
  }
}

void TVqEWSRestriction::SaveChild(IVqEWSRestriction& AChild, TVqStringStream& AStream) {
  if (Depth + 1 >= kMaxDepth)
    throw EVqException(Format("Restrictions are nested more than %d deep.", {std::int64_t{kMaxDepth}}));
  struct TDeeper {
    TDeeper() noexcept { ++Depth; }
    ~TDeeper() { --Depth; }
  } deeper;
  AChild.SaveToStream(AStream);
}

void TVqEWSRestriction::LetGo(TChildren AChildren) {
  thread_local TChildren* pending = nullptr;
  if (pending) {
    std::ranges::move(AChildren, std::back_inserter(*pending));
    return;
  }
  pending = &AChildren;
  while (!AChildren.empty()) {
    const TVqRef<IVqEWSRestriction> last = std::move(AChildren.back());
    AChildren.pop_back();
  }
  pending = nullptr;
}

TVqEWSRestrictionList::~TVqEWSRestrictionList() {
  LetGo(std::move(FRestrictions));
}

void TVqEWSRestrictionList::AddRestriction(const TVqRef<IVqEWSRestriction>& ARestriction) {
  if (!ARestriction) throw EVqException("An empty reference is no restriction.");
  CheckChild(ARestriction);
  FRestrictions.push_back(ARestriction);
}

void TVqEWSRestrictionList::RemoveRestriction(const TVqRef<IVqEWSRestriction>& ARestriction) {
  const auto found = std::ranges::find(FRestrictions, ARestriction);
  if (found != FRestrictions.end()) FRestrictions.erase(found);
}

void TVqEWSRestrictionList::SaveChildren(TVqStringStream& AStream) const {
  for (const auto& restriction : FRestrictions) SaveChild(*restriction, AStream);
}

TVqEWSRestrictionNot::~TVqEWSRestrictionNot() {
  LetGo({std::move(FRestriction)});
}

std::span<const TVqRef<IVqEWSRestriction>> TVqEWSRestrictionNot::Children() const {
  return {&FRestriction, FRestriction ? std::size_t{1} : std::size_t{0}};
}

void TVqEWSRestrictionNot::SetRestriction(const TVqRef<IVqEWSRestriction>& ARestriction) {
  CheckChild(ARestriction);
  FRestriction = ARestriction;
}

// ---- Values

void TVqEWSRestrictionField::CheckMarkup(const string& AValue) {
  if (EwsEscapesValues(*this)) {
    VqEscapeXML(AValue);  // raises for what XML cannot carry
    return;
  }
  const string wrong = WrongIn(AValue);
  if (wrong.empty()) return;
  throw EVqXMLError(Format("The value of %s %s: set it as text with SetTextValue, or escape it with VqEscapeXML.",
                           {NameOf(GetFieldDef()), wrong}),
                    0, 0);
}

void TVqEWSRestrictionField::SaveConstant(const string& AValue, TValueForm AForm, TVqStringStream& AStream) {
  if (AForm == TValueForm::Markup) CheckMarkup(AValue);  // StrictSchema may have been on when it was set
  const bool escaped = AForm == TValueForm::Text || EwsEscapesValues(*this);
  AStream.Add("<t:Constant Value=\"").Add(escaped ? VqEscapeXML(AValue) : AValue).Add("\"");
}

void TVqEWSRestrictionCompare::SetValue(const TVqVariant& AValue) {
  if (const auto* text = std::get_if<string>(&AValue)) CheckMarkup(*text);
  FValue = AValue;
  FForm = TValueForm::Markup;
}

void TVqEWSRestrictionCompare::SetTextValue(const string& AValue) {
  VqEscapeXML(AValue);
  FValue = AValue;
  FForm = TValueForm::Text;
}

void TVqEWSRestrictionContent::SetValue(const string& AValue) {
  CheckMarkup(AValue);
  FValue = AValue;
  FForm = TValueForm::Markup;
}

void TVqEWSRestrictionContent::SetTextValue(const string& AValue) {
  VqEscapeXML(AValue);
  FValue = AValue;
  FForm = TValueForm::Text;
}

// ---- What the nodes write

void TVqEWSRestrictionAnd::SaveToStream(TVqStringStream& AStream) {
  AStream.Add("<t:And>");
  SaveChildren(AStream);
  AStream.Add("</t:And>");
}

void TVqEWSRestrictionOr::SaveToStream(TVqStringStream& AStream) {
  AStream.Add("<t:Or>");
  SaveChildren(AStream);
  AStream.Add("</t:Or>");
}

void TVqEWSRestrictionNot::SaveToStream(TVqStringStream& AStream) {
  if (!FRestriction) throw EVqException("A restriction has no child.");
  AStream.Add("<t:Not>");
  SaveChild(*FRestriction, AStream);
  AStream.Add("</t:Not>");
}

void TVqEWSRestrictionExists::SaveToStream(TVqStringStream& AStream) {
  AStream.Add("<t:Exists>");
  SaveField(GetFieldDef(), AStream);
  AStream.Add("</t:Exists>");
}

// The three constants end differently: Compare has no blank before "/>", the other two have one. It stays so.

void TVqEWSRestrictionCompare::SaveToStream(TVqStringStream& AStream) {
  SaveOperator(FOperator, GetFieldDef(), AStream);
  SaveConstant(VqVariantToXML(FValue), FForm, AStream);
  AStream.Add("/>");
  SaveOperatorEnd(FOperator, AStream);
}

void TVqEWSRestrictionCompareFields::SaveToStream(TVqStringStream& AStream) {
  SaveOperator(FOperator, FFieldDef1, AStream);
  SaveField(FFieldDef2, AStream);
  SaveOperatorEnd(FOperator, AStream);
}

void TVqEWSRestrictionBitMask::SaveToStream(TVqStringStream& AStream) {
  AStream.Add("<t:Excludes>");
  SaveField(GetFieldDef(), AStream);
  AStream.Add("<t:Bitmask Value=\"").Add(VqInt64ToXML(static_cast<std::int64_t>(FBitMask & 0xFFFFFFFFu))).Add("\" />");
  AStream.Add("</t:Excludes>");
}

void TVqEWSRestrictionContent::SaveToStream(TVqStringStream& AStream) {
  AStream.Add("<t:Contains ContainmentMode=\"").Add(VqEnumToText(FContainmentMode));
  AStream.Add("\" ContainmentComparison=\"").Add(VqEnumToText(FContainmentComparison)).Add("\">");
  SaveField(GetFieldDef(), AStream);
  SaveConstant(FValue, FForm, AStream);
  AStream.Add(" /></t:Contains>");
}

}  // namespace velmore
