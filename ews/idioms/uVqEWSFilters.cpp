#include "ews/idioms/uVqEWSFilters.h"

#include <array>
#include <variant>

#include "ews/schema/uVqEWSTypes.h"
#include "ews/values/uVqEWSData.h"

namespace velmore {

namespace detail {

// One node of an expression; what it is tells the alternative that its content has.
struct TFilterNode {
  using TRef = std::shared_ptr<const TFilterNode>;

  struct TJoined {
    bool IsAnd;
    std::vector<TRef> Children;
  };
  struct TNot {
    TRef Child;
  };
  struct TExists {
    const TVqEWSFieldDef* Field;
  };
  struct TCompare {
    const TVqEWSFieldDef* Field;
    TVqEWSRestrictionOperator Operator;
    string Text;
  };
  struct TCompareFields {
    const TVqEWSFieldDef* Field;
    TVqEWSRestrictionOperator Operator;
    const TVqEWSFieldDef* Other;
  };
  struct TContains {
    const TVqEWSFieldDef* Field;
    string Text;
    TVqEWSContainmentMode Mode;
    TVqEWSContainmentComparison Comparison;
  };
  struct TBitMask {
    const TVqEWSFieldDef* Field;
    std::uint32_t Mask;
  };

  std::variant<TJoined, TNot, TExists, TCompare, TCompareFields, TContains, TBitMask> Content;

  static TVqEWSFilter Make(auto AContent) {
    return TVqEWSFilter(std::make_shared<const TFilterNode>(TFilterNode{std::move(AContent)}));
  }
  static TVqEWSFilter Join(bool AIsAnd, const TVqEWSFilter& A, const TVqEWSFilter& B) {
    TJoined joined{AIsAnd, {}};
    // a && b && c is one And of three, as a person would write it.
    for (const TRef& side : {A.FNode, B.FNode}) {
      const auto* same = std::get_if<TJoined>(&side->Content);
      if (same && same->IsAnd == AIsAnd)
        joined.Children.insert(joined.Children.end(), same->Children.begin(), same->Children.end());
      else
        joined.Children.push_back(side);
    }
    return Make(std::move(joined));
  }
};

namespace {

/// Makes the restriction objects of an expression.
class TFilterMaker {
 public:
  explicit TFilterMaker(IVqEWSTableBase& ATable) : FTable(ATable) {}

  TVqRef<IVqEWSRestriction> Make(const TFilterNode& ANode) {
    return std::visit([this](const auto& content) -> TVqRef<IVqEWSRestriction> { return (*this)(content); },
                      ANode.Content);
  }

 private:
  template <typename T>
  TVqRef<T> New(TVqEWSRestrictionType AType) {
    return Supports<T>(FTable.CreateRestriction(AType));
  }

  TVqRef<IVqEWSRestriction> operator()(const TFilterNode::TJoined& AContent) {
    auto list = New<IVqEWSRestrictionList>(AContent.IsAnd ? rtAnd : rtOr);
    for (const TFilterNode::TRef& child : AContent.Children) list->AddRestriction(Make(*child));
    return list;
  }
  TVqRef<IVqEWSRestriction> operator()(const TFilterNode::TNot& AContent) {
    auto made = New<IVqEWSRestrictionNot>(rtNot);
    made->SetRestriction(Make(*AContent.Child));
    return made;
  }
  TVqRef<IVqEWSRestriction> operator()(const TFilterNode::TExists& AContent) {
    auto made = New<IVqEWSRestrictionExists>(rtExists);
    made->SetFieldDef(*AContent.Field);
    return made;
  }
  TVqRef<IVqEWSRestriction> operator()(const TFilterNode::TCompare& AContent) {
    auto made = New<IVqEWSRestrictionCompare>(rtCompare);
    made->SetFieldDef(*AContent.Field);
    made->SetCompareOperator(AContent.Operator);
    made->SetTextValue(AContent.Text);
    return made;
  }
  TVqRef<IVqEWSRestriction> operator()(const TFilterNode::TCompareFields& AContent) {
    auto made = New<IVqEWSRestrictionCompareFields>(rtCompareFields);
    made->SetFieldDef1(*AContent.Field);
    made->SetCompareOperator(AContent.Operator);
    made->SetFieldDef2(*AContent.Other);
    return made;
  }
  TVqRef<IVqEWSRestriction> operator()(const TFilterNode::TContains& AContent) {
    auto made = New<IVqEWSRestrictionContent>(rtContent);
    made->SetFieldDef(*AContent.Field);
    made->SetContainmentMode(AContent.Mode);
    made->SetContainmentComparison(AContent.Comparison);
    made->SetTextValue(AContent.Text);
    return made;
  }
  TVqRef<IVqEWSRestriction> operator()(const TFilterNode::TBitMask& AContent) {
    auto made = New<IVqEWSRestrictionBitMask>(rtBitmask);
    made->SetFieldDef(*AContent.Field);
    made->SetBitMask(AContent.Mask);
    return made;
  }

  IVqEWSTableBase& FTable;
};

}  // namespace
}  // namespace detail

namespace {

// The record classes that a field's URI begins with. What stands in none of them is not checked.
const TVqXMLSchemaClass* ClassOfField(std::string_view AURI) {
  struct TPrefix {
    std::string_view Prefix;
    const TVqXMLSchemaClass& (*Class)() noexcept;
  };
  static constexpr std::array kPrefixes{
      TPrefix{"item:", TEwsItem::SchemaClass},
      TPrefix{"message:", TEwsMessage::SchemaClass},
      TPrefix{"calendar:", TEwsCalendarItem::SchemaClass},
      TPrefix{"contacts:", TEwsContactItem::SchemaClass},
      TPrefix{"task:", TEwsTask::SchemaClass},
      TPrefix{"distributionlist:", TEwsDistributionList::SchemaClass},
      TPrefix{"postitem:", TEwsPostItem::SchemaClass},
      TPrefix{"meeting:", TEwsMeetingMessage::SchemaClass},
      TPrefix{"meetingRequest:", TEwsMeetingRequestMessage::SchemaClass},
      TPrefix{"folder:", TEwsFolder::SchemaClass},
  };
  for (const TPrefix& prefix : kPrefixes)
    if (AURI.starts_with(prefix.Prefix)) return &prefix.Class();
  return nullptr;
}

// The type of a field's values; of no kind where the library does not know it, or where it has parts.
TVqTypeInfo TypeOfField(const TVqEWSFieldDef& AFieldDef) {
  if (AFieldDef.FieldType == fdtIndexedField) return VqStringType;  // entries of dictionaries are texts
  if (!AFieldDef.PropDef) return {};
  if (AFieldDef.FieldType == fdtExtendedField) return EwsTypeOf(AFieldDef.PropDef->PropType);
  const TVqXMLSchemaClass* const record = ClassOfField(AFieldDef.UnindexedFieldURI);
  if (!record || AFieldDef.FieldType != fdtField) return {};
  return record->GetTypeInfo(AFieldDef.PropDef->NodeName);
}

// What a list is compared with is one of its entries.
TVqTypeInfo EntryOf(const TVqTypeInfo& AList) {
  const auto has = [&](std::string_view part) { return AList.Name.find(part) != std::string_view::npos; };
  if (has("std::int")) return {tkInteger, AList.Name};
  if (has("double") || has("Extended")) return {tkFloat, AList.Name};
  if (has("TDateTime")) return {tkDateTime, AList.Name};
  return VqStringType;
}

bool Fits(const TVqTypeInfo& AField, const TVqTypeInfo& AValue) {
  switch (AField.Kind) {
    case tkUnknown:  // a field of a newer server
      return true;
    case tkArray:
      return Fits(EntryOf(AField), AValue);
    case tkInteger:
      return AValue.Kind == tkInteger;
    case tkFloat:
      return AValue.Kind == tkFloat || AValue.Kind == tkInteger;
    case tkBoolean:
    case tkDateTime:
      return AValue.Kind == AField.Kind;
    case tkString:
      return AValue.Kind == tkString || AValue.Kind == tkEnumeration;
    case tkEnumeration:  // its wire text is what goes out; another enumeration's would only look alike
      return AValue.Kind == tkEnumeration ? AValue.Name == AField.Name : AValue.Kind == tkString;
    default:  // what stands for a record, a set or an id is a text
      return AValue.Kind == tkString;
  }
}

string WordsFor(const TVqTypeInfo& AType) {
  switch (AType.Kind) {
    case tkInteger:
      return "a whole number";
    case tkFloat:
      return "a number";
    case tkBoolean:
      return "true or false";
    case tkDateTime:
      return "a point in time";
    case tkEnumeration:
      return "a " + string(AType.Name);
    case tkArray:
      return WordsFor(EntryOf(AType));
    default:
      return "text";
  }
}

string NameOf(const TVqEWSFieldDef& AFieldDef) {
  return (AFieldDef.FieldDefName.empty() ? AFieldDef.UnindexedFieldURI : AFieldDef.FieldDefName).ToString();
}

void CheckFits(const TVqEWSFieldDef& AFieldDef, const TVqTypeInfo& AValue) {
  const TVqTypeInfo field = TypeOfField(AFieldDef);
  if (Fits(field, AValue)) return;
  throw EVqException(
      Format("%s holds %s and cannot be compared with %s.", {NameOf(AFieldDef), WordsFor(field), WordsFor(AValue)}));
}

void CheckText(const TVqEWSFieldDef& AFieldDef, const string& AText) try {
  VqEscapeXML(AText);
} catch (const EVqXMLError& failure) {
  throw EVqXMLError(Format("%s cannot be compared with this text: %s", {NameOf(AFieldDef), failure.Message()}), 0, 0);
}

}  // namespace

// ---- Values

string TVqEWSFilterValue::TimeText(TDateTime AValue) {
  return VqDateTimeToXML(AValue);
}

string TVqEWSFilterValue::DoubleText(double AValue) {
  return VqDoubleToXML(AValue);
}

std::chrono::sys_days TVqEWSFilterValue::DayOf(std::chrono::year_month_day AValue) {
  if (!AValue.ok()) throw EVqException("A filter cannot compare with a day that is in no calendar.");
  return AValue;
}

TDateTime TVqEWSFilterValue::TimeOf(std::chrono::sys_time<std::chrono::milliseconds> AValue) {
  using TDays = std::chrono::duration<double, std::chrono::days::period>;
  using namespace std::chrono_literals;
  static constexpr std::chrono::sys_days kDayZero{1899y / 12 / 30};
  return TDateTime(TDays(AValue - kDayZero).count());
}

// ---- Expressions

TVqRef<IVqEWSRestriction> TVqEWSFilter::MakeFor(IVqEWSTableBase& ATable) const {
  if (!FNode) return {};
  return detail::TFilterMaker(ATable).Make(*FNode);
}

TVqEWSFilter operator&&(const TVqEWSFilter& A, const TVqEWSFilter& B) {
  if (A.IsEmpty()) return B;
  if (B.IsEmpty()) return A;
  return detail::TFilterNode::Join(true, A, B);
}

TVqEWSFilter operator||(const TVqEWSFilter& A, const TVqEWSFilter& B) {
  if (A.IsEmpty() || B.IsEmpty()) return {};
  return detail::TFilterNode::Join(false, A, B);
}

TVqEWSFilter operator!(const TVqEWSFilter& A) {
  if (A.IsEmpty()) throw EVqException("An empty filter lets everything through: there is nothing that it could not.");
  return detail::TFilterNode::Make(detail::TFilterNode::TNot{A.FNode});
}

TVqEWSFilter TVqEWSFilterField::Compare(TVqEWSRestrictionOperator AOperator, const TVqEWSFilterValue& AValue) const {
  CheckFits(*FFieldDef, AValue.Type);
  CheckText(*FFieldDef, AValue.Text);
  return detail::TFilterNode::Make(detail::TFilterNode::TCompare{FFieldDef, AOperator, AValue.Text});
}

TVqEWSFilter TVqEWSFilterField::Compare(TVqEWSRestrictionOperator AOperator, const TVqEWSFilterField& AOther) const {
  const TVqTypeInfo type = TypeOfField(*FFieldDef), other = TypeOfField(*AOther.FFieldDef);
  if (other.Kind != tkUnknown && !Fits(type, other) && !Fits(other, type)) {
    throw EVqException(Format("%s holds %s and cannot be compared with %s, which holds %s.",
                              {NameOf(*FFieldDef), WordsFor(type), NameOf(*AOther.FFieldDef), WordsFor(other)}));
  }
  return detail::TFilterNode::Make(detail::TFilterNode::TCompareFields{FFieldDef, AOperator, AOther.FFieldDef});
}

TVqEWSFilter VqExists(const TVqEWSFieldDef& AFieldDef) {
  return detail::TFilterNode::Make(detail::TFilterNode::TExists{&AFieldDef});
}

TVqEWSFilter VqContains(const TVqEWSFieldDef& AFieldDef, const string& AText, TVqEWSContainmentMode AMode,
                        TVqEWSContainmentComparison AComparison) {
  CheckFits(AFieldDef, VqStringType);
  CheckText(AFieldDef, AText);
  return detail::TFilterNode::Make(detail::TFilterNode::TContains{&AFieldDef, AText, AMode, AComparison});
}

TVqEWSFilter VqHasNoBitOf(const TVqEWSFieldDef& AFieldDef, std::uint32_t AMask) {
  CheckFits(AFieldDef, {tkInteger, "std::uint32_t"});
  return detail::TFilterNode::Make(detail::TFilterNode::TBitMask{&AFieldDef, AMask});
}

void VqFilter(IVqEWSTableBase& ATable, const TVqEWSFilter& AFilter) {
  ATable.Filter(AFilter.MakeFor(ATable));
}

}  // namespace velmore
