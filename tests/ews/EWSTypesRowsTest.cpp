// The rows as they were laid beside the schema: none may move, vanish or change, however plausible the new one looks.

#include <gtest/gtest.h>

#include "ews/schema/uVqEWSProps.h"
#include "ews/schema/uVqEWSTypes.h"

using namespace velmore;

namespace {

std::uint64_t HashOf(std::string_view text) {
  std::uint64_t hash = 14695981039346656037u;
  for (const char c : text) hash = (hash ^ static_cast<unsigned char>(c)) * 1099511628211u;
  return hash;
}

// Both numbers were computed from the published lists and not from the rows. Whoever changes a row on purpose checks it
// against the schema once more and takes the new number from the failure.

TEST(EWSTypesRows, EveryClassAndMemberIsAsTheSchemaHasIt) {
  std::string rows;
  for (std::int32_t i = 0; i < EwsRecordClassCount(); ++i) {
    const TVqXMLSchemaClass& schema = EwsRecordClass(i);
    rows.append(schema.GetName()).append(":").append(schema.GetBase()->GetName()) += '\n';
    for (std::int32_t k = schema.GetFirstIndex(); k < schema.GetMemberCount(); ++k) {
      const TVqXMLSchemaInfo info = schema.GetInfo(k);
      if (info.GetNodeType() == TVqDOMNodeType::ntAttribute) rows += '@';
      rows += info.GetName().utf8() + ' ';
      if (info.GetTypeInfo().Kind == tkArray) rows += "array of ";
      rows.append(info.GetTypeInfo().Name);
      for (const std::int32_t value :
           {info.GetMinOccurs(), info.GetMaxOccurs(), std::int32_t{info.GetRequired()}, info.GetChoiceGroup()}) {
        rows += ' ' + std::to_string(value);
      }
      rows += '\n';
    }
  }
  EXPECT_EQ(HashOf(rows), 15905525084909653136u);
}

TEST(EWSTypesRows, EveryEnumerationIsAsTheSchemaHasIt) {
  std::string rows;
#define VQ_ENUM(type) rows += #type "\n";
#define VQ_TEXT(prefix, text) rows += #prefix #text "=" #text "\n";
#define VQ_ENUM_END(type)
#include "ews/tables/uVqEWSEnumerations.inc"
  EXPECT_EQ(HashOf(rows), 10605583992433422050u);
}

TEST(EWSTypesRows, PropertiesAreNamedAfterTheirElements) {
  struct TRow {
    std::string_view Property, Wire;
  };
  const TRow rows[] = {
#define VQ_VALUE(name, wire, type, rule) {#name, wire},
#define VQ_DATE(name, wire, rule) {#name, wire},
#define VQ_TIME(name, wire, rule) {#name, wire},
#define VQ_BASE64(name, wire, rule) {#name, wire},
#define VQ_ATTRIBUTE(name, wire, type, rule) {#name, wire},
#define VQ_CHILD(name, wire, type, rule) {#name, wire},
#define VQ_ARRAY(name, wire, type, rule) {#name, wire},
#define VQ_ENTRIES(name, wire, type, key, rule) {#name, wire},
#define VQ_PART(name, wire, type, rule) {#name, wire},
#define VQ_READONLY(name, wire, type, rule) {#name, wire},
#include "ews/tables/uVqEWSRecords.inc"
  };
  EXPECT_EQ(std::size(rows), 1224u);
  for (const TRow& row : rows) {
    std::string_view local = row.Wire.substr(row.Wire.find(':') + 1);
    if (row.Wire == "t:Url" && row.Property == "Entry") continue;  // all dictionaries but one are asked by GetEntry
    if (row.Wire == "t:Microsoft.OutlookServices.SenderApp") local = "Microsoft_OutlookServices_SenderApp";
    if (row.Wire == "xml:lang") local = "Lang";
    EXPECT_EQ(string(row.Property), NodeNameToPropName(local)) << row.Wire;
  }
}

// ---- A record for every question

TEST(EWSTypesRows, NodeAskedForAsAnotherClassFirstGivesEachItsRecord) {
  TEwsMessage message(VqCreateDOM("<t:Message/>").GetDocumentElement());
  const std::int32_t index = message.FindSchemaInfo("t:Body")->GetIndex();
  TVqXMLSchemaElement& plain = message.GetValue<TVqXMLSchemaElement>(index);
  TEwsBody& body = message.GetBody();
  EXPECT_EQ(&body.GetSchemaClass(), &TEwsBody::SchemaClass());
  EXPECT_NE(static_cast<TVqXMLSchemaElement*>(&body), &plain);
  EXPECT_EQ(&message.GetBody(), &body);
  EXPECT_EQ(&message.GetValue<TEwsBody>(index), &body);
  EXPECT_EQ(message.GetXML(), "<t:Message><t:Body/></t:Message>");
}

TEST(EWSTypesRows, ItemInAnAttachmentIsARecordOfItsKind) {
  TEwsItemAttachment attachment(
      VqCreateDOM("<t:ItemAttachment><t:Task><t:Owner>Ann</t:Owner></t:Task></t:ItemAttachment>").GetDocumentElement());
  ASSERT_EQ(attachment.GetItemAttachmentType(), iaTask);
  EXPECT_EQ(attachment.GetTask().GetOwner(), "Ann");
  // Asking for another alternative makes it: a choice restricts nothing.
  attachment.GetMessage_();
  EXPECT_EQ(attachment.AsElement().ElementCount(), 2);
}

}  // namespace
