#include "ews/stores/uVqEWSRestrictions.h"

#include <algorithm>

#include "ews/model/uVqEWSWireForm.h"
#include "ews/schema/uVqEWSFieldURI.h"
#include "platform/xml/uVqStringStream.h"
#include "platform/xml/uVqXMLUtils.h"

namespace velmore {
namespace {

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
  switch (ARestrictionType) {
    case rtAnd:
      return MakeRef<TVqEWSRestrictionAnd>(ACreator, false);
    case rtOr:
      return MakeRef<TVqEWSRestrictionOr>(ACreator, false);
    case rtNot:
      return MakeRef<TVqEWSRestrictionNot>(ACreator, false);
    case rtExists:
      return MakeRef<TVqEWSRestrictionExists>(ACreator, false);
    case rtCompare:
      return MakeRef<TVqEWSRestrictionCompare>(ACreator, false);
    case rtCompareFields:
      return MakeRef<TVqEWSRestrictionCompareFields>(ACreator, false);
    case rtBitmask:
      return MakeRef<TVqEWSRestrictionBitMask>(ACreator, false);
    case rtContent:
      return MakeRef<TVqEWSRestrictionContent>(ACreator, false);
  }
  throw EVqException("Unsupported RestrictionType!");
}

void TVqEWSRestrictionList::AddRestriction(const TVqRef<IVqEWSRestriction>& ARestriction) {
  if (!ARestriction) throw EVqException("An empty reference is no restriction.");
  FRestrictions.push_back(ARestriction);
}

void TVqEWSRestrictionList::RemoveRestriction(const TVqRef<IVqEWSRestriction>& ARestriction) {
  const auto found = std::ranges::find(FRestrictions, ARestriction);
  if (found != FRestrictions.end()) FRestrictions.erase(found);
}

void TVqEWSRestrictionList::SaveChildren(TVqStringStream& AStream) const {
  for (const auto& restriction : FRestrictions) restriction->SaveToStream(AStream);
}

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
  FRestriction->SaveToStream(AStream);
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
  AStream.Add("<t:Constant Value=\"").Add(EwsRestrictionValue(*this, VqVariantToXML(FValue))).Add("\"/>");
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
  AStream.Add("<t:Constant Value=\"").Add(EwsRestrictionValue(*this, FValue)).Add("\" /></t:Contains>");
}

}  // namespace velmore
