// Marks: a program finds again what it was making when the answer was lost.

#include "ews/schema/uVqEWSPropsEFLD.h"
#include "ews/schema/uVqEWSPropsEPR.h"
#include "ews/stores/uVqEWSMarks.h"
#include "tests/wire/SaveTestSupport.h"

namespace velmore::testing {
namespace {

class Marks : public SaveTest {
 protected:
  static constexpr const char* kMark = "{0F3D6C5A-1B2C-4D5E-8F90-112233445566}";

  TVqRef<IVqEWSEMail> Marked(const string& mark) {
    const auto mail = NewMail();
    mail->SetSubject("S");
    mail->PropertyByName(EPR_BILLING).SetAsString(mark);
    return mail;
  }
  std::vector<TItemId> Find(const string& mark) { return VqFindByMark(*Folder(dfindrafts), EFLD_BILLING, mark); }
};

TEST_F(Marks, FindWhatACutSaveMade) {
  for (const Cut cut : {Cut::before, Cut::after, Cut::within}) {
    const auto mail = Marked(kMark);
    CutNext("CreateItem", cut);
    EXPECT_THROW(mail->SaveChanges(soAutoResolve), EVqException);
    const std::vector<TItemId> made = Find(kMark);
    EXPECT_EQ(made.size(), cut == Cut::before ? 0u : 1u);
    for (const TItemId& id : made) {
      EXPECT_EQ(Mail(id)->GetSubject(), "S");
      Folder(dfindrafts)->DeleteItem(id, dtHardDelete);
    }
  }
}

TEST_F(Marks, FindNothingOfAnotherProgram) {
  Marked("another")->SaveChanges(soAutoResolve);
  NewMail()->SaveChanges(soAutoResolve);
  EXPECT_TRUE(Find(kMark).empty());
  EXPECT_EQ(Find("another").size(), 1u);
  EXPECT_EQ(MessageOf<EVqException>([&] { Find(""); }), "There is no mark to look for.");
}

TEST_F(Marks, FindAllPages) {
  for (int i = 0; i < 55; ++i) Marked(kMark)->SaveChanges(soAutoResolve);
  EXPECT_EQ(Find(kMark).size(), 55u);
}

}  // namespace
}  // namespace velmore::testing
