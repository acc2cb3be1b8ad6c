// Random edits of random items: what the server holds afterwards is what the object holds, and an edit of one property
// sends one field.

#include <random>

#include "tests/wire/RandomRunTestSupport.h"
#include "tests/wire/SaveTestSupport.h"

namespace velmore::testing {
namespace {

/// One way to change a message: writes a value made of `seed`, and reads it as text.
struct TEdit {
  const char* Name;
  const char* Uri;
  void (*Write)(IVqEWSEMail&, unsigned seed);
  std::string (*Read)(IVqEWSEMail&);
  bool DraftsOnly = false;
};

string TextOf(unsigned seed) {
  return string(kOddTexts[seed % std::size(kOddTexts)]) + " " + IntToStr(static_cast<std::int64_t>(seed));
}
string AddressOf(unsigned seed) {
  return "User " + IntToStr(static_cast<std::int64_t>(seed)) + " <u" + IntToStr(static_cast<std::int64_t>(seed)) +
         "@elsewhere.example>";
}
const char* BoolText(bool value) {
  return value ? "true" : "false";
}
TDateTime TimeOf(unsigned seed) {
  return 45000.0 + static_cast<double>(seed % 5000) + static_cast<double>(seed % 86400) / 86400;
}
void Refill(IVqEWSRecipients& list, unsigned seed) {
  list.Clear();
  for (unsigned i = 0; i <= seed % 3; ++i) list.Add(AddressOf(seed + i));
}

const TEdit kEdits[] = {
    {"Subject", "item:Subject", [](IVqEWSEMail& m, unsigned s) { m.SetSubject(TextOf(s)); },
     [](IVqEWSEMail& m) { return m.GetSubject().utf8(); }},
    {"ItemClass", "item:ItemClass",
     [](IVqEWSEMail& m, unsigned s) { m.SetItemClass("IPM.Note.Test" + IntToStr(static_cast<std::int64_t>(s))); },
     [](IVqEWSEMail& m) { return m.GetItemClass().utf8(); }},
    {"Sensitivity", "item:Sensitivity",
     [](IVqEWSEMail& m, unsigned s) {
       m.SetSensitivity(static_cast<TSensitivityChoices>((static_cast<unsigned>(m.GetSensitivity()) + 1 + s % 3) % 4));
     },
     [](IVqEWSEMail& m) { return VqEnumToText(m.GetSensitivity()).utf8(); }},
    {"Importance", "item:Importance",
     [](IVqEWSEMail& m, unsigned s) {
       m.SetImportance(static_cast<TImportanceChoices>((static_cast<unsigned>(m.GetImportance()) + 1 + s % 2) % 3));
     },
     [](IVqEWSEMail& m) { return VqEnumToText(m.GetImportance()).utf8(); }},
    {"BodyText", "item:Body",
     [](IVqEWSEMail& m, unsigned s) { m.SetBodyText(s % 2 == 0 ? TextOf(s) : "<p>" + TextOf(s) + "</p>"); },
     [](IVqEWSEMail& m) { return m.GetBodyText().utf8(); }},
    {"InReplyTo", "item:InReplyTo", [](IVqEWSEMail& m, unsigned s) { m.SetInReplyTo(TextOf(s)); },
     [](IVqEWSEMail& m) { return m.GetInReplyTo().utf8(); }},
    {"Culture", "item:Culture",
     [](IVqEWSEMail& m, unsigned) { m.SetCulture(m.GetCulture() == "de-AT" ? "fr-CH" : "de-AT"); },
     [](IVqEWSEMail& m) { return m.GetCulture().utf8(); }},
    {"ReminderDueBy", "item:ReminderDueBy", [](IVqEWSEMail& m, unsigned s) { m.SetReminderDueBy(TimeOf(s)); },
     [](IVqEWSEMail& m) { return VqDateTimeToXML(m.GetReminderDueBy()).utf8(); }},
    {"IsReminderSet", "item:ReminderIsSet", [](IVqEWSEMail& m, unsigned) { m.SetIsReminderSet(!m.GetIsReminderSet()); },
     [](IVqEWSEMail& m) { return std::string(BoolText(m.GetIsReminderSet())); }},
    {"ReminderMinutesBeforeStart", "item:ReminderMinutesBeforeStart",
     [](IVqEWSEMail& m, unsigned s) { m.SetReminderMinutesBeforeStart(static_cast<std::int32_t>(s % 10000 + 1)); },
     [](IVqEWSEMail& m) { return IntToStr(static_cast<std::int64_t>(m.GetReminderMinutesBeforeStart())).utf8(); }},
    {"Categories", "item:Categories",
     [](IVqEWSEMail& m, unsigned s) { m.GetCategories().Add("Category " + IntToStr(static_cast<std::int64_t>(s))); },
     [](IVqEWSEMail& m) { return m.GetCategories().AsString(";").utf8(); }},
    {"IsReadReceiptRequested", "message:IsReadReceiptRequested",
     [](IVqEWSEMail& m, unsigned) { m.SetIsReadReceiptRequested(!m.GetIsReadReceiptRequested()); },
     [](IVqEWSEMail& m) { return std::string(BoolText(m.GetIsReadReceiptRequested())); }, true},
    {"IsDeliveryReceiptRequested", "message:IsDeliveryReceiptRequested",
     [](IVqEWSEMail& m, unsigned) { m.SetIsDeliveryReceiptRequested(!m.GetIsDeliveryReceiptRequested()); },
     [](IVqEWSEMail& m) { return std::string(BoolText(m.GetIsDeliveryReceiptRequested())); }, true},
    {"IsRead", "message:IsRead", [](IVqEWSEMail& m, unsigned) { m.SetIsRead(!m.GetIsRead()); },
     [](IVqEWSEMail& m) { return std::string(BoolText(m.GetIsRead())); }},
    {"ToRecipients", "message:ToRecipients", [](IVqEWSEMail& m, unsigned s) { Refill(*m.GetToRecipients(), s); },
     [](IVqEWSEMail& m) { return m.GetToRecipients()->GetAsString().utf8(); }, true},
    {"CcRecipients", "message:CcRecipients", [](IVqEWSEMail& m, unsigned s) { Refill(*m.GetCcRecipients(), s); },
     [](IVqEWSEMail& m) { return m.GetCcRecipients()->GetAsString().utf8(); }, true},
    {"BccRecipients", "message:BccRecipients", [](IVqEWSEMail& m, unsigned s) { Refill(*m.GetBccRecipients(), s); },
     [](IVqEWSEMail& m) { return m.GetBccRecipients()->GetAsString().utf8(); }, true},
    {"ReplyTo", "message:ReplyTo", [](IVqEWSEMail& m, unsigned s) { Refill(*m.GetReplyTo(), s); },
     [](IVqEWSEMail& m) { return m.GetReplyTo()->GetAsString().utf8(); }},
};

class SaveRandom : public SaveTest {
 protected:
  static std::string StateOf(IVqEWSEMail& mail) {
    std::string state;
    for (const TEdit& edit : kEdits) state += std::string(edit.Name) + "=" + edit.Read(mail) + "\n";
    return state;
  }
  /// URIs of the fields of the last update.
  Names Fields() {
    Names uris;
    for (const IVqDOMElement& change : VqCreateDOM(LastExchange("UpdateItem").request_body)
                                           .SelectSingleElement("//Updates", kSelectRequired)
                                           .GetChildElements())
      uris.push_back(change.GetFirstChildElement().GetAttribute("FieldURI").utf8());
    return uris;
  }
};

TEST_F(SaveRandom, EverySettablePropertyIsOneFieldAndComesBack) {
  const auto mail = Draft("<t:Subject>S</t:Subject>");
  unsigned seed = 1;
  for (const TEdit& edit : kEdits) {
    SCOPED_TRACE(edit.Name);
    edit.Write(*mail, ++seed);
    const std::string state = StateOf(*mail);
    mail->SaveChanges(soNeverOverwrite);
    EXPECT_EQ(Fields(), Names{edit.Uri});
    EXPECT_EQ(StateOf(*mail), state);
    EXPECT_EQ(StateOf(*Again(*mail)), state);
    mail->SaveChanges(soNeverOverwrite);
    EXPECT_EQ(Fields(), Names{});
  }
}

TEST_F(SaveRandom, EverySettablePropertyOfANewMessageComesBack) {
  const auto mail = NewMail();
  unsigned seed = 100;
  for (const TEdit& edit : kEdits) edit.Write(*mail, ++seed);
  const std::string state = StateOf(*mail);
  mail->SaveChanges(soAutoResolve);
  EXPECT_EQ(StateOf(*mail), state);
  EXPECT_EQ(StateOf(*Again(*mail)), state);
}

TEST_F(SaveRandom, RandomEditsOfRandomItems) {
  std::mt19937 random(20260302);
  for (int round = 0; round < 40; ++round) {
    SCOPED_TRACE(round);
    const bool draft = random() % 2 == 0;
    const auto mail = draft ? NewMail() : Mail(AddMessage("Round " + std::to_string(round)));
    for (int save = 0; save < 2; ++save) {
      const int edits = static_cast<int>(random() % 5);
      for (int i = 0; i < edits; ++i) {
        const TEdit& edit = kEdits[random() % std::size(kEdits)];
        if (draft || !edit.DraftsOnly) edit.Write(*mail, static_cast<unsigned>(random() % 100000));
      }
      std::string state = StateOf(*mail);
      const bool isNew = mail->GetIsNewItem();
      ASSERT_NO_THROW(mail->SaveChanges(soNeverOverwrite));
      if (isNew) continue;  // what was never set comes back as the server sees it
      EXPECT_EQ(StateOf(*mail), state);
      EXPECT_EQ(StateOf(*Again(*mail)), state);
    }
    mail->SaveChanges(soNeverOverwrite);
    EXPECT_EQ(Updates(), "");
  }
}

}  // namespace
}  // namespace velmore::testing
