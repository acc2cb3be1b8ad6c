#pragma once

// An object with two trees, as items have them, without a server.

#include <gtest/gtest.h>

#include <memory>

#include "ews/schema/uVqEWSTypes.h"
#include "ews/values/uVqEWSProperties.h"

namespace velmore::test {

template <typename TRecord>
class TPropertyObject : public IVqEWSFieldSource {
 public:
  explicit TPropertyObject(const std::string& AXml, const TVqEWSMemberTable& ATable = NoTable())
      : Table(ATable), Properties(*this, [this](TVqEWSGetDataElmSource source, bool raise) {
          LastRaise = raise;
          return source == desCurrent ? New.get() : Old.get();
        }) {
    Load(AXml);
  }

  void Load(const std::string& AXml) {
    OldDocument = VqCreateDOM(AXml);
    NewDocument = VqCreateDOM(AXml);
    Old = std::make_unique<TRecord>(OldDocument.GetDocumentElement());
    New = std::make_unique<TRecord>(NewDocument.GetDocumentElement());
    Properties.ResetExplicitStatuses();
  }
  /// Remembers what the demand event was asked for, and lets a handler answer.
  void Answer(std::function<void(const string&)> AHandler) {
    New->SetOnGetSOAPElement([this, AHandler](TVqXMLSchemaElement* record, const TVqXMLSchemaInfo& info) {
      EXPECT_EQ(record, nullptr);
      EXPECT_EQ(info.GetNodeType(), TVqDOMNodeType::ntElement);
      Asked.push_back(info.GetName().utf8());
      if (AHandler) AHandler(info.GetName());
    });
  }
  IVqDOMElement Element() const { return New->AsElement(); }
  /// The tree as an answer that the application has not changed.
  void AddToBoth(const std::string& AMarkup) {
    for (const IVqDOMElement& root : {Old->AsElement(), New->AsElement()})
      root.AddChild(VqCreateDOM(AMarkup).GetDocumentElement());
  }

  const TVqEWSMemberTable& MemberTable() const override {
    ++TableReads;
    return Table;
  }
  static const TVqEWSMemberTable& NoTable() {
    static constinit const TVqEWSMemberTable table{"TTest"};
    return table;
  }

  const TVqEWSMemberTable& Table;
  IVqDOMDocument OldDocument, NewDocument;
  std::unique_ptr<TRecord> Old, New;
  std::vector<std::string> Asked;
  bool LastRaise = false;
  mutable int TableReads = 0;  // each property of a schema member that is made reads the table twice
  TVqEWSProperties Properties;
};

inline std::string MessageOf(const std::function<void()>& ACall) {
  try {
    ACall();
  } catch (const EVqException& e) {
    return e.what();
  }
  return "(nothing raised)";
}

inline std::string ExtendedProperty(const std::string& AAttributes, const std::string& AValue) {
  return "<t:ExtendedProperty><t:ExtendedFieldURI " + AAttributes + "/><t:Value>" + AValue +
         "</t:Value></t:ExtendedProperty>";
}

}  // namespace velmore::test
