#include "tests/wire/RandomCallsTestSupport.h"

#include <algorithm>

#include "ews/schema/uVqEWSPropsEPR.h"
#include "tests/wire/RandomRunTestSupport.h"

namespace velmore::testing {
namespace {

std::string DrawText(std::mt19937& random) {
  return kOddTexts[random() % std::size(kOddTexts)] + (" " + std::to_string(random() % 1000));
}
template <typename TList>
std::string DrawOf(std::mt19937& random, const TList& list) {
  return list[random() % std::size(list)];
}
std::string DrawFlag(std::mt19937& random) {
  return random() % 2 == 0 ? "true" : "false";
}
std::vector<std::string> Parts(const std::string& text) {
  std::vector<std::string> parts;
  for (std::size_t at = 0; at < text.size();) {
    const std::size_t end = std::min(text.find(';', at), text.size());
    parts.push_back(text.substr(at, end - at));
    at = end + 1;
  }
  return parts;
}

constexpr const char* kImportances[] = {"Low", "Normal", "High"};
constexpr const char* kSensitivities[] = {"Normal", "Personal", "Private", "Confidential"};
constexpr const char* kCultures[] = {"de-AT", "fr-CH", "en-US"};

}  // namespace

const std::vector<TMailField> kMailFields = {
    {"Subject", [](IVqEWSEMail& mail, const std::string& value) { mail.SetSubject(value); },
     [](IVqEWSEMail& mail) { return mail.GetSubject().utf8(); }, DrawText},
    {"Body", [](IVqEWSEMail& mail, const std::string& value) { mail.SetBodyText(value); },
     [](IVqEWSEMail& mail) { return mail.GetBodyText().utf8(); },
     [](std::mt19937& random) {
       return random() % 2 == 0 ? "text " + DrawText(random) : "<p>" + std::to_string(random()) + "</p>";
     }},
    {"Importance",
     [](IVqEWSEMail& mail, const std::string& value) { mail.SetImportance(VqTextToEnum<TImportanceChoices>(value)); },
     [](IVqEWSEMail& mail) { return VqEnumToText(mail.GetImportance()).utf8(); },
     [](std::mt19937& random) { return DrawOf(random, kImportances); }},
    {"Sensitivity",
     [](IVqEWSEMail& mail, const std::string& value) { mail.SetSensitivity(VqTextToEnum<TSensitivityChoices>(value)); },
     [](IVqEWSEMail& mail) { return VqEnumToText(mail.GetSensitivity()).utf8(); },
     [](std::mt19937& random) { return DrawOf(random, kSensitivities); }},
    {"InReplyTo", [](IVqEWSEMail& mail, const std::string& value) { mail.SetInReplyTo(value); },
     [](IVqEWSEMail& mail) { return mail.GetInReplyTo().utf8(); }, DrawText},
    {"Culture", [](IVqEWSEMail& mail, const std::string& value) { mail.SetCulture(value); },
     [](IVqEWSEMail& mail) { return mail.GetCulture().utf8(); },
     [](std::mt19937& random) { return DrawOf(random, kCultures); }},
    {"Minutes",
     [](IVqEWSEMail& mail, const std::string& value) { mail.SetReminderMinutesBeforeStart(std::stoi(value)); },
     [](IVqEWSEMail& mail) { return std::to_string(mail.GetReminderMinutesBeforeStart()); },
     [](std::mt19937& random) { return std::to_string(random() % 10000 + 1); }},
    {"IsRead", [](IVqEWSEMail& mail, const std::string& value) { mail.SetIsRead(value == "true"); },
     [](IVqEWSEMail& mail) { return std::string(mail.GetIsRead() ? "true" : "false"); }, DrawFlag},
    {"Categories",
     [](IVqEWSEMail& mail, const std::string& value) {
       mail.GetCategories().Clear();
       for (const std::string& category : Parts(value)) mail.GetCategories().Add(category);
     },
     [](IVqEWSEMail& mail) { return mail.GetCategories().AsString(";").utf8(); },
     [](std::mt19937& random) {
       std::string list;
       for (unsigned i = static_cast<unsigned>(random() % 4); i > 0; --i)
         list += (list.empty() ? "" : ";") + ("Category " + std::to_string(i * 100 + random() % 100));
       return list;
     }},
    {"To",
     [](IVqEWSEMail& mail, const std::string& value) {
       const auto list = mail.GetToRecipients();
       list->Clear();
       for (const std::string& address : Parts(value)) list->AddMailbox("", address);
     },
     [](IVqEWSEMail& mail) {
       std::string text;
       const auto list = mail.GetToRecipients();
       for (std::int32_t i = 0; i < list->Count(); ++i)
         text += (text.empty() ? "" : ";") + list->GetItem(i)->GetEmailAddress().utf8();
       return text;
     },
     [](std::mt19937& random) {
       std::string list;
       for (unsigned i = static_cast<unsigned>(random() % 3); i > 0; --i)
         list += (list.empty() ? "u" : ";u") + std::to_string(i * 100 + random() % 100) + "@elsewhere.example";
       return list;
     }},
    {"Billing",
     [](IVqEWSEMail& mail, const std::string& value) {
       if (value.empty()) {
         mail.DeleteProperty(EPR_BILLING);
       } else {
         mail.PropertyByName(EPR_BILLING).SetAsString(value);
       }
     },
     [](IVqEWSEMail& mail) {
       return mail.HasProperty(EPR_BILLING) ? mail.PropertyByName(EPR_BILLING).GetAsString().utf8() : std::string();
     },
     [](std::mt19937& random) { return random() % 3 == 0 ? std::string() : DrawText(random); }},
};

const TMailField& MailField(const std::string& name) {
  return *std::ranges::find_if(kMailFields, [&](const TMailField& field) { return field.Name == name; });
}

std::string Shown(const TMailState& state) {
  std::string text;
  for (const auto& [name, value] : state.Values) text += name + "=" + value + "|";
  for (const auto& [name, content] : state.Files)
    text += "[" + name + ": " + content.substr(0, 20) + " " + std::to_string(content.size()) + "]";
  return text;
}

TMailState StateOf(IVqEWSEMail& mail) {
  TMailState state;
  for (const TMailField& field : kMailFields) state.Values[field.Name] = field.Read(mail);
  for (std::int32_t i = 0; i < mail.GetAttachments().Count(); ++i) {
    const auto file = Supports<IVqEWSFileAttachment>(mail.GetAttachments().GetAttachment(i));
    TVqMemoryStream stream;
    file->SaveToStream(stream);
    const bool first = state.Files.emplace(file->GetName().utf8(), stream.TakeBytes()).second;
    EXPECT_TRUE(first) << "two files are called " << file->GetName().utf8();
  }
  return state;
}

TFieldValues THeldMail::Changes() const {
  TFieldValues changes;
  for (const auto& [name, value] : Pending) {
    const auto loaded = Loaded.find(name);
    if (loaded == Loaded.end() || loaded->second != value) changes[name] = value;
  }
  return changes;
}

TMailState THeldMail::After(TMailState before, const TMailState& now) const {
  for (const auto& [name, value] : Changes()) before.Values[name] = value;
  for (const auto& [name, value] : Pending)
    if (value.empty() && now.Values.at(name).empty()) before.Values[name] = value;
  for (const std::string& name : Removed) before.Files.erase(name);
  for (const auto& [from, to] : Renamed) {
    if (const auto file = before.Files.extract(from)) before.Files[to] = file.mapped();
  }
  for (const auto& [name, content] : Added) before.Files[name] = content;
  return before;
}

std::string ViolationOfFailedSave(const THeldMail& held, const TMailState& before, const TMailState& now) {
  const TMailState after = held.After(before, now);
  if (now.Values != before.Values && now.Values != after.Values) return "the values are neither old nor new";
  for (const auto& [name, content] : before.Files) {
    if (held.Removed.contains(name) || held.Renamed.contains(name)) continue;
    const auto file = now.Files.find(name);
    if (file == now.Files.end()) return name + " is lost";
    if (file->second != content) return name + " has another content";
  }
  for (const auto& [name, content] : now.Files) {
    const auto old = before.Files.find(name), wanted = after.Files.find(name);
    if (old != before.Files.end() || wanted != after.Files.end()) {
      if (content != (old != before.Files.end() ? old : wanted)->second) return name + " has a content of nobody's";
      continue;
    }
    // One that somebody else took away, and that was renamed here.
    const auto renamed = std::ranges::find(held.Renamed, name, [](const auto& pair) { return pair.second; });
    if (renamed == held.Renamed.end()) return name + " was wanted by nobody";
    if (content != held.LoadedFiles.at(renamed->first)) return name + " has a content of nobody's";
  }
  return {};
}

}  // namespace velmore::testing
