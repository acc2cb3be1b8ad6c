// Writes all contacts to vCard 4.0 files, one each, or makes contacts of such files.
//
//   address-book --to cards
//   address-book --from cards

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <set>
#include <sstream>

#include "ews/VelmoreEWS.h"
#include "ews/items/uVqEWSAttachments.h"
#include "platform/common/uVqNetEncoding.h"
#include "platform/xml/uVqXMLUtils.h"
#include "support/ExampleServer.h"
#include "support/VCard.h"

using namespace velmore;

namespace {

struct TNumber {
  TPhoneNumberKey Key;
  const char* Types;
};
const TNumber kNumbers[] = {{pnkBusinessPhone, "work,voice"}, {pnkBusinessPhone2, "work,voice"},
                            {pnkHomePhone, "home,voice"},     {pnkHomePhone2, "home,voice"},
                            {pnkMobilePhone, "cell"},         {pnkBusinessFax, "work,fax"},
                            {pnkHomeFax, "home,fax"},         {pnkPager, "pager"},
                            {pnkOtherTelephone, "voice"}};
const std::pair<TPhysicalAddressKey, const char*> kAddresses[] = {
    {pakBusiness, "work"}, {pakHome, "home"}, {pakOther, ""}};
constexpr const char* kPicture = "data:image/jpeg;base64,";

using TParameters = std::vector<std::pair<std::string, std::string>>;
TParameters TypeOf(const std::string& types) {
  return types.empty() ? TParameters() : TParameters{{"TYPE", types}};
}

/// "20260302" of a day, and back.
std::string DayText(TDateTime day) {
  if (day == 0) return {};
  const std::string text = VqDateTimeToXML(day).utf8();  // "2026-03-02T..."
  return text.substr(0, 4) + text.substr(5, 2) + text.substr(8, 2);
}
TDateTime DayOf(const std::string& text) {
  std::string digits = text;
  std::erase(digits, '-');
  if (digits.size() < 8) return {};
  return VqXMLToDateTime(digits.substr(0, 4) + "-" + digits.substr(4, 2) + "-" + digits.substr(6, 2) + "T00:00:00Z");
}

VCard CardOf(IVqEWSContact& contact) {
  // The bare record reads what was loaded: what a contact lacks is not asked for one by one.
  TEwsContactItem data(contact.AsElement());
  VCard card;
  const std::string name = data.GetDisplayName().utf8();
  card.Add("FN", {name.empty() ? contact.GetSubject().utf8() : name});
  card.Add("N", {data.GetSurname().utf8(), data.GetGivenName().utf8(), data.GetMiddleName().utf8(), "",
                 data.GetGeneration().utf8()});
  card.Add("NICKNAME", {data.GetNickname().utf8()});
  for (std::int32_t i = 0; i < data.GetEmailAddresses().Count(); ++i)
    card.Add("EMAIL", {data.GetEmailAddresses().GetItem(i).GetValue().utf8()});
  for (const auto& [key, types] : kNumbers)
    card.Add("TEL", {data.GetPhoneNumbers().GetEntry(key).GetValue().utf8()}, TypeOf(types));
  for (const auto& [key, type] : kAddresses) {
    TEwsPhysicalAddressDictionaryEntry& address = data.GetPhysicalAddresses().GetEntry(key);
    card.Add("ADR",
             {"", "", address.GetStreet().utf8(), address.GetCity().utf8(), address.GetState().utf8(),
              address.GetPostalCode().utf8(), address.GetCountryOrRegion().utf8()},
             TypeOf(type));
  }
  card.Add("ORG", {data.GetCompanyName().utf8(), data.GetDepartment().utf8()});
  card.Add("TITLE", {data.GetJobTitle().utf8()});
  card.Add("URL", {data.GetBusinessHomePage().utf8()});
  card.Add("BDAY", {DayText(data.GetBirthday())});
  card.Add("ANNIVERSARY", {DayText(data.GetWeddingAnniversary())});
  for (std::int32_t i = 0; i < data.GetImAddresses().Count(); ++i)
    card.Add("IMPP", {data.GetImAddresses().GetItem(i).GetValue().utf8()});
  card.Add("NOTE", {data.GetBody().GetValue().utf8()});
  if (data.GetHasAttachments() || data.GetHasPicture()) {
    TVqMemoryStream picture;
    contact.GetUserPhoto(picture);
    if (!picture.Bytes().empty()) card.Add("PHOTO", {kPicture + VqBase64Encode(picture.Bytes())});
  }
  return card;
}

void SetPhoto(IVqEWSContact& contact, const std::string& uri) {
  const std::size_t comma = uri.find(";base64,");
  if (!uri.starts_with("data:") || comma == std::string::npos) return;  // a picture elsewhere stays there
  TVqMemoryStream picture(VqBase64Decode(uri.substr(comma + 8)));
  contact.SetUserPhoto(&picture);
}

/// The first number of these types that has no value yet; "work" without more is a telephone.
TPhoneNumberKey NumberFor(TEwsPhoneNumberDictionary& numbers, const std::string& types) {
  const auto has = [&](const char* type) { return types.find(type) != std::string::npos; };
  const std::string wanted = has("cell")    ? "cell"
                             : has("pager") ? "pager"
                                            : std::string(has("work")   ? "work,"
                                                          : has("home") ? "home,"
                                                                        : "") +
                                                  (has("fax") ? "fax" : "voice");
  for (const auto& [key, known] : kNumbers)
    if (wanted == known && numbers.GetEntry(key).GetValue().empty()) return key;
  return pnkOtherTelephone;
}

void Fill(IVqEWSContact& contact, const VCard& card) {
  int emails = 0, messengers = 0;
  for (const VCardProperty& line : card.Properties) {
    const std::string& name = line.Name;
    if (name == "N") {
      contact.SetSurname(line.Part(0));
      TEwsContactItem(contact.AsElement()).SetGivenName(line.Part(1));  // SetGivenName of contacts needs later servers
      contact.SetMiddleName(line.Part(2));
      contact.SetGeneration(line.Part(4));
    } else if (name == "FN") {
      contact.SetDisplayName(line.Text());
    } else if (name == "NICKNAME") {
      contact.SetNickname(line.Text());
    } else if (name == "EMAIL" && emails < 3) {
      contact.GetEmailAddresses().GetEntry(static_cast<TEmailAddressKey>(emails++)).SetValue(line.Text());
    } else if (name == "TEL") {
      TEwsPhoneNumberDictionary& numbers = contact.GetPhoneNumbers();
      numbers.GetEntry(NumberFor(numbers, line.Parameter("TYPE"))).SetValue(line.Text());
    } else if (name == "ADR") {
      const std::string type = line.Parameter("TYPE");
      TEwsPhysicalAddressDictionaryEntry& address =
          contact.GetPhysicalAddresses().GetEntry(type.find("home") != std::string::npos   ? pakHome
                                                  : type.find("work") != std::string::npos ? pakBusiness
                                                                                           : pakOther);
      address.SetStreet(line.Part(2));
      address.SetCity(line.Part(3));
      address.SetState(line.Part(4));
      address.SetPostalCode(line.Part(5));
      address.SetCountryOrRegion(line.Part(6));
    } else if (name == "ORG") {
      contact.SetCompanyName(line.Part(0));
      contact.SetDepartment(line.Part(1));
    } else if (name == "TITLE") {
      contact.SetJobTitle(line.Text());
    } else if (name == "URL") {
      contact.SetBusinessHomePage(line.Text());
    } else if (name == "BDAY") {
      contact.SetBirthday(DayOf(line.Text()));
    } else if (name == "ANNIVERSARY") {
      contact.SetWeddingAnniversary(DayOf(line.Text()));
    } else if (name == "IMPP" && messengers < 3) {
      contact.GetImAddresses().GetEntry(static_cast<TImAddressKey>(messengers++)).SetValue(line.Text());
    } else if (name == "NOTE") {
      contact.SetBodyText(line.Text());
    } else if (name == "PHOTO") {
      SetPhoto(contact, line.Text());
    }
  }
}

int Write(IVqEWSFolder& folder, const std::filesystem::path& path) {
  std::filesystem::create_directories(path);
  std::set<std::string> names;
  const auto items = folder.GetItems();
  for (items->Open(); !items->Eof(); items->Next()) {
    const auto contact = Supports<IVqEWSContact>(folder.GetItem(items->GetItemId()));
    if (!contact) continue;  // a distribution list
    const VCard card = CardOf(*contact);
    const std::string name = VqSafeFileName(card.Find("FN") ? card.Find("FN")->Text() : "contact").utf8();
    std::string file = name + ".vcf";
    for (int i = 2; !names.insert(file).second; ++i) file = name + " " + std::to_string(i) + ".vcf";
    std::ofstream(path / file, std::ios::binary) << FormatVCard(card);
  }
  return static_cast<int>(names.size());
}

int Read(IVqEWSFolder& folder, const std::filesystem::path& path) {
  int made = 0;
  for (const auto& entry : std::filesystem::directory_iterator(path)) {
    if (entry.path().extension() != ".vcf") continue;
    std::ostringstream text;
    text << std::ifstream(entry.path(), std::ios::binary).rdbuf();
    for (const VCard& card : ParseVCards(text.str())) {
      const auto contact = Supports<IVqEWSContact>(folder.CreateItem(tContact));
      Fill(*contact, card);
      contact->SaveChanges(soAutoResolve);
      ++made;
    }
  }
  return made;
}

}  // namespace

int main(int argc, char** argv) try {
  const ExampleServer server(argc, argv,
                             "address-book [--to FOLDER | --from FOLDER]: writes the contacts to vCard files, or makes "
                             "contacts of such files");
  TVqEWSServiceSession session;
  server.Configure(session);
  session.SetActive(true);
  const auto contacts = session.OpenDefaultMsgStore()->GetFolder(dfincontacts, "");

  if (server.HasOption("from")) {
    std::cout << Read(*contacts, server.Option("from")) << " contacts made\n";
  } else {
    std::cout << Write(*contacts, server.Option("to", "cards")) << " contacts written\n";
  }
} catch (const std::exception& failure) {
  std::cerr << failure.what() << '\n';
  return 1;
}
