#pragma once

/// Server-side filters: a tree of small objects that write themselves as text. Made by CreateRestriction of a table.
///
///     auto filter = Supports<IVqEWSRestrictionContent>(items->CreateRestriction(rtContent));
///     filter->SetFieldDef(FLD_ITEM_SUBJECT);
///     filter->SetContainmentMode(cmSubstring);
///     filter->SetContainmentComparison(ccIgnoreCase);
///     filter->SetTextValue("Birch & Sons");
///     items->Filter(filter);
///
/// Nothing here talks to the server.
/// Who owns what, which thread may call and what is raised: see the head of uVqEWSInterfaces.h.

#include <span>
#include <vector>

#include "ews/model/uVqEWSBase.h"
#include "ews/model/uVqEWSFolderInterfaces.h"

namespace velmore {

/// A restriction of that kind, with `ACreator` (a table) as its creator, which it does not keep alive. Raises a plain
/// exception "Unsupported RestrictionType!" for a value that is none.
TVqRef<IVqEWSRestriction> EwsCreateRestriction(TVqEWSObject* ACreator, TVqEWSRestrictionType ARestrictionType);

/// Base of all restrictions. See TVqEWSObject about its life and threads.
class TVqEWSRestriction : public TVqEWSObject, public virtual IVqEWSRestriction {
 public:
  /// See TVqEWSObject. The table makes them with a creator that they do not keep alive.
  TVqEWSRestriction(TVqComponent* ACreator, bool AKeepCreatorAlive) : TVqEWSObject(ACreator, AKeepCreatorAlive) {}

 protected:
  /// The nodes below a node.
  using TChildren = std::vector<TVqRef<IVqEWSRestriction>>;

  ~TVqEWSRestriction() override = default;

  /// The nodes below this one; none here.
  virtual std::span<const TVqRef<IVqEWSRestriction>> Children() const { return {}; }
  /// Raises when the child is this node or holds it, at any depth that can be written.
  void CheckChild(const TVqRef<IVqEWSRestriction>& AChild);
  /// Writes a child. Raises when it stands deeper than a request can carry.
  static void SaveChild(IVqEWSRestriction& AChild, TVqStringStream& AStream);
  /// For destructors: lets go of the children, and of theirs, one after the other, so that the depth of a tree costs no
  /// stack.
  static void LetGo(TChildren AChildren);
};

/// What And and Or share: the children, in the order in which they were added. Keeps them alive.
class TVqEWSRestrictionList : public TVqEWSRestriction, public virtual IVqEWSRestrictionList {
 public:
  using TVqEWSRestriction::TVqEWSRestriction;
  void AddRestriction(const TVqRef<IVqEWSRestriction>& ARestriction) override;
  void RemoveRestriction(const TVqRef<IVqEWSRestriction>& ARestriction) override;

 protected:
  ~TVqEWSRestrictionList() override;
  std::span<const TVqRef<IVqEWSRestriction>> Children() const override { return FRestrictions; }
  /// Writes the children, one after the other.
  void SaveChildren(TVqStringStream& AStream) const;

 private:
  TChildren FRestrictions;
};

/// All children hold (t:And).
class TVqEWSRestrictionAnd : public TVqEWSRestrictionList, public virtual IVqEWSRestrictionAnd {
 public:
  using TVqEWSRestrictionList::TVqEWSRestrictionList;
  TVqEWSRestrictionType GetRestrictionType() override { return rtAnd; }
  void SaveToStream(TVqStringStream& AStream) override;

 protected:
  ~TVqEWSRestrictionAnd() override = default;
};

/// Any child holds (t:Or).
class TVqEWSRestrictionOr : public TVqEWSRestrictionList, public virtual IVqEWSRestrictionOr {
 public:
  using TVqEWSRestrictionList::TVqEWSRestrictionList;
  TVqEWSRestrictionType GetRestrictionType() override { return rtOr; }
  void SaveToStream(TVqStringStream& AStream) override;

 protected:
  ~TVqEWSRestrictionOr() override = default;
};

/// The child does not hold (t:Not). Keeps the child alive.
class TVqEWSRestrictionNot : public TVqEWSRestriction, public virtual IVqEWSRestrictionNot {
 public:
  using TVqEWSRestriction::TVqEWSRestriction;
  TVqEWSRestrictionType GetRestrictionType() override { return rtNot; }
  void SetRestriction(const TVqRef<IVqEWSRestriction>& ARestriction) override;
  void SaveToStream(TVqStringStream& AStream) override;

 protected:
  ~TVqEWSRestrictionNot() override;
  std::span<const TVqRef<IVqEWSRestriction>> Children() const override;

 private:
  TVqRef<IVqEWSRestriction> FRestriction;
};

/// What the restrictions on one field share.
class TVqEWSRestrictionField : public TVqEWSRestriction, public virtual IVqEWSRestrictionField {
 public:
  using TVqEWSRestriction::TVqEWSRestriction;
  const TVqEWSFieldDef* GetFieldDef() override { return FFieldDef; }
  void SetFieldDef(const TVqEWSFieldDef& AValue) override { FFieldDef = &AValue; }

 protected:
  ~TVqEWSRestrictionField() override = default;

  /// How a value was set: as markup, or as text that is escaped.
  enum class TValueForm { Markup, Text };
  /// Raises EVqXMLError, with the field's name, for markup that cannot stand between quotes.
  void CheckMarkup(const string& AValue);
  /// Writes the constant that the field is compared with, up to its closing quote.
  void SaveConstant(const string& AValue, TValueForm AForm, TVqStringStream& AStream);

 private:
  const TVqEWSFieldDef* FFieldDef = nullptr;
};

/// The field is there (t:Exists).
class TVqEWSRestrictionExists : public TVqEWSRestrictionField, public virtual IVqEWSRestrictionExists {
 public:
  using TVqEWSRestrictionField::TVqEWSRestrictionField;
  TVqEWSRestrictionType GetRestrictionType() override { return rtExists; }
  void SaveToStream(TVqStringStream& AStream) override;

 protected:
  ~TVqEWSRestrictionExists() override = default;
};

/// The field against a value (t:IsEqualTo and its kin). Owns the value.
class TVqEWSRestrictionCompare : public TVqEWSRestrictionField, public virtual IVqEWSRestrictionCompare {
 public:
  using TVqEWSRestrictionField::TVqEWSRestrictionField;
  TVqEWSRestrictionType GetRestrictionType() override { return rtCompare; }
  TVqEWSRestrictionOperator GetCompareOperator() override { return FOperator; }
  void SetCompareOperator(TVqEWSRestrictionOperator AValue) override { FOperator = AValue; }
  const TVqVariant& GetValue() override { return FValue; }
  void SetValue(const TVqVariant& AValue) override;
  void SetTextValue(const string& AValue) override;
  void SaveToStream(TVqStringStream& AStream) override;

 protected:
  ~TVqEWSRestrictionCompare() override = default;

 private:
  TVqEWSRestrictionOperator FOperator = opIsEqualTo;
  TVqVariant FValue;
  TValueForm FForm = TValueForm::Markup;
};

/// One field against another.
class TVqEWSRestrictionCompareFields : public TVqEWSRestriction, public virtual IVqEWSRestrictionCompareFields {
 public:
  using TVqEWSRestriction::TVqEWSRestriction;
  TVqEWSRestrictionType GetRestrictionType() override { return rtCompareFields; }
  TVqEWSRestrictionOperator GetCompareOperator() override { return FOperator; }
  void SetCompareOperator(TVqEWSRestrictionOperator AValue) override { FOperator = AValue; }
  const TVqEWSFieldDef* GetFieldDef1() override { return FFieldDef1; }
  void SetFieldDef1(const TVqEWSFieldDef& AValue) override { FFieldDef1 = &AValue; }
  const TVqEWSFieldDef* GetFieldDef2() override { return FFieldDef2; }
  void SetFieldDef2(const TVqEWSFieldDef& AValue) override { FFieldDef2 = &AValue; }
  void SaveToStream(TVqStringStream& AStream) override;

 protected:
  ~TVqEWSRestrictionCompareFields() override = default;

 private:
  TVqEWSRestrictionOperator FOperator = opIsEqualTo;
  const TVqEWSFieldDef* FFieldDef1 = nullptr;
  const TVqEWSFieldDef* FFieldDef2 = nullptr;
};

/// None of the mask's bits is set (t:Excludes).
class TVqEWSRestrictionBitMask : public TVqEWSRestrictionField, public virtual IVqEWSRestrictionBitMask {
 public:
  using TVqEWSRestrictionField::TVqEWSRestrictionField;
  TVqEWSRestrictionType GetRestrictionType() override { return rtBitmask; }
  std::uintptr_t GetBitMask() override { return FBitMask; }
  void SetBitMask(std::uintptr_t AValue) override { FBitMask = AValue; }
  void SaveToStream(TVqStringStream& AStream) override;

 protected:
  ~TVqEWSRestrictionBitMask() override = default;

 private:
  std::uintptr_t FBitMask = 0;
};

/// The field contains a text (t:Contains). Owns the text.
class TVqEWSRestrictionContent : public TVqEWSRestrictionField, public virtual IVqEWSRestrictionContent {
 public:
  using TVqEWSRestrictionField::TVqEWSRestrictionField;
  TVqEWSRestrictionType GetRestrictionType() override { return rtContent; }
  TVqEWSContainmentMode GetContainmentMode() override { return FContainmentMode; }
  void SetContainmentMode(TVqEWSContainmentMode AValue) override { FContainmentMode = AValue; }
  TVqEWSContainmentComparison GetContainmentComparison() override { return FContainmentComparison; }
  void SetContainmentComparison(TVqEWSContainmentComparison AValue) override { FContainmentComparison = AValue; }
  string GetValue() override { return FValue; }
  void SetValue(const string& AValue) override;
  void SetTextValue(const string& AValue) override;
  void SaveToStream(TVqStringStream& AStream) override;

 protected:
  ~TVqEWSRestrictionContent() override = default;

 private:
  TVqEWSContainmentComparison FContainmentComparison = ccExact;
  TVqEWSContainmentMode FContainmentMode = cmFullString;
  string FValue;
  TValueForm FForm = TValueForm::Markup;
};

}  // namespace velmore
