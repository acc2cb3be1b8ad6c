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
constexpr const char* kBusy[] = {"Free", "Tentative", "Busy", "OOF"};

IVqEWSEMail& MailOf(IVqEWSItem& item) {
  return dynamic_cast<IVqEWSEMail&>(item);
}
IVqEWSContact& ContactOf(IVqEWSItem& item) {
  return dynamic_cast<IVqEWSContact&>(item);
}
IVqEWSTask& TaskOf(IVqEWSItem& item) {
  return dynamic_cast<IVqEWSTask&>(item);
}
IVqEWSCalendarItem& AppointmentOf(IVqEWSItem& item) {
  return dynamic_cast<IVqEWSCalendarItem&>(item);
}

const TItemField kSubject = {"Subject", [](IVqEWSItem& item, const std::string& value) { item.SetSubject(value); },
                             [](IVqEWSItem& item) { return item.GetSubject().utf8(); }, DrawText};

/// What every kind has.
const std::vector<TItemField> kCommonFields = {
    {"Body", [](IVqEWSItem& item, const std::string& value) { item.SetBodyText(value); },
     [](IVqEWSItem& item) { return item.GetBodyText().utf8(); },
     [](std::mt19937& random) {
       return random() % 2 == 0 ? "text " + DrawText(random) : "<p>" + std::to_string(random()) + "</p>";
     }},
    {"Importance",
     [](IVqEWSItem& item, const std::string& value) { item.SetImportance(VqTextToEnum<TImportanceChoices>(value)); },
     [](IVqEWSItem& item) { return VqEnumToText(item.GetImportance()).utf8(); },
     [](std::mt19937& random) { return DrawOf(random, kImportances); }},
    {"Sensitivity",
     [](IVqEWSItem& item, const std::string& value) { item.SetSensitivity(VqTextToEnum<TSensitivityChoices>(value)); },
     [](IVqEWSItem& item) { return VqEnumToText(item.GetSensitivity()).utf8(); },
     [](std::mt19937& random) { return DrawOf(random, kSensitivities); }},
    {"Culture", [](IVqEWSItem& item, const std::string& value) { item.SetCulture(value); },
     [](IVqEWSItem& item) { return item.GetCulture().utf8(); },
     [](std::mt19937& random) { return DrawOf(random, kCultures); }},
    {"Categories",
     [](IVqEWSItem& item, const std::string& value) {
       item.GetCategories().Clear();
       for (const std::string& category : Parts(value)) item.GetCategories().Add(category);
     },
     [](IVqEWSItem& item) { return item.GetCategories().AsString(";").utf8(); },
     [](std::mt19937& random) {
       std::string list;
       for (unsigned i = static_cast<unsigned>(random() % 4); i > 0; --i)
         list += (list.empty() ? "" : ";") + ("Category " + std::to_string(i * 100 + random() % 100));
       return list;
     }},
    {"Billing",
     [](IVqEWSItem& item, const std::string& value) {
       if (value.empty()) {
         item.DeleteProperty(EPR_BILLING);
       } else {
         item.PropertyByName(EPR_BILLING).SetAsString(value);
       }
     },
     [](IVqEWSItem& item) {
       return item.HasProperty(EPR_BILLING) ? item.PropertyByName(EPR_BILLING).GetAsString().utf8() : std::string();
     },
     [](std::mt19937& random) { return random() % 3 == 0 ? std::string() : DrawText(random); }},
};

/// What one kind has.
const std::map<TKind, std::vector<TItemField>> kOwnFields = {
    {TKind::mail,
     {kSubject,
      {"InReplyTo", [](IVqEWSItem& item, const std::string& value) { item.SetInReplyTo(value); },
       [](IVqEWSItem& item) { return item.GetInReplyTo().utf8(); }, DrawText},
      {"Minutes",
       [](IVqEWSItem& item, const std::string& value) { item.SetReminderMinutesBeforeStart(std::stoi(value)); },
       [](IVqEWSItem& item) { return std::to_string(item.GetReminderMinutesBeforeStart()); },
       [](std::mt19937& random) { return std::to_string(random() % 10000 + 1); }},
      {"IsRead", [](IVqEWSItem& item, const std::string& value) { MailOf(item).SetIsRead(value == "true"); },
       [](IVqEWSItem& item) { return std::string(MailOf(item).GetIsRead() ? "true" : "false"); }, DrawFlag},
      {"To",
       [](IVqEWSItem& item, const std::string& value) {
         const auto list = MailOf(item).GetToRecipients();
         list->Clear();
         for (const std::string& address : Parts(value)) list->AddMailbox("", address);
       },
       [](IVqEWSItem& item) {
         std::string text;
         const auto list = MailOf(item).GetToRecipients();
         for (std::int32_t i = 0; i < list->Count(); ++i)
           text += (text.empty() ? "" : ";") + list->GetItem(i)->GetEmailAddress().utf8();
         return text;
       },
       [](std::mt19937& random) {
         std::string list;
         for (unsigned i = static_cast<unsigned>(random() % 3); i > 0; --i)
           list += (list.empty() ? "u" : ";u") + std::to_string(i * 100 + random() % 100) + "@elsewhere.example";
         return list;
       }}}},
    {TKind::contact,
     {{"Surname", [](IVqEWSItem& item, const std::string& value) { ContactOf(item).SetSurname(value); },
       [](IVqEWSItem& item) { return ContactOf(item).GetSurname().utf8(); }, DrawText},
      {"Company", [](IVqEWSItem& item, const std::string& value) { ContactOf(item).SetCompanyName(value); },
       [](IVqEWSItem& item) { return ContactOf(item).GetCompanyName().utf8(); }, DrawText},
      {"Job", [](IVqEWSItem& item, const std::string& value) { ContactOf(item).SetJobTitle(value); },
       [](IVqEWSItem& item) { return ContactOf(item).GetJobTitle().utf8(); }, DrawText},
      {"Mobile",
       [](IVqEWSItem& item, const std::string& value) {
         ContactOf(item).GetPhoneNumbers().GetEntry(pnkMobilePhone).SetValue(value);
       },
       [](IVqEWSItem& item) { return ContactOf(item).GetPhoneNumbers().GetEntry(pnkMobilePhone).GetValue().utf8(); },
       [](std::mt19937& random) { return "+43 " + std::to_string(random() % 1000000); }}}},
    {TKind::task,
     {kSubject,
      {"Percent", [](IVqEWSItem& item, const std::string& value) { TaskOf(item).SetPercentComplete(std::stoi(value)); },
       [](IVqEWSItem& item) { return std::to_string(static_cast<int>(TaskOf(item).GetPercentComplete())); },
       [](std::mt19937& random) { return std::to_string(random() % 101); }},
      {"Work", [](IVqEWSItem& item, const std::string& value) { TaskOf(item).SetActualWork(std::stoi(value)); },
       [](IVqEWSItem& item) { return std::to_string(TaskOf(item).GetActualWork()); },
       [](std::mt19937& random) { return std::to_string(random() % 10000 + 1); }},
      {"Mileage", [](IVqEWSItem& item, const std::string& value) { TaskOf(item).SetMileage(value); },
       [](IVqEWSItem& item) { return TaskOf(item).GetMileage().utf8(); }, DrawText}}},
    {TKind::appointment,
     {kSubject,
      {"Location", [](IVqEWSItem& item, const std::string& value) { AppointmentOf(item).SetLocation(value); },
       [](IVqEWSItem& item) { return AppointmentOf(item).GetLocation().utf8(); }, DrawText},
      {"Busy",
       [](IVqEWSItem& item, const std::string& value) {
         AppointmentOf(item).SetLegacyFreeBusyStatus(VqTextToEnum<TLegacyFreeBusy>(value));
       },
       [](IVqEWSItem& item) { return VqEnumToText(AppointmentOf(item).GetLegacyFreeBusyStatus()).utf8(); },
       [](std::mt19937& random) { return DrawOf(random, kBusy); }},
      // Begin and length together: servers refuse what ends before it begins.
      {"When",
       [](IVqEWSItem& item, const std::string& value) {
         const TDateTime start = VqXMLToDateTime(value.substr(0, 20));
         AppointmentOf(item).SetStartDateTime(start);
         AppointmentOf(item).SetEndDateTime(VqXMLToDateTime(value.substr(21)));
       },
       [](IVqEWSItem& item) {
         return VqDateTimeToXML(AppointmentOf(item).GetStartDateTime()).utf8() + "/" +
                VqDateTimeToXML(AppointmentOf(item).GetEndDateTime()).utf8();
       },
       [](std::mt19937& random) {
         char text[48];
         const auto day = static_cast<unsigned>(random() % 28 + 1), hour = static_cast<unsigned>(random() % 12);
         std::snprintf(text, sizeof text, "2026-03-%02uT%02u:15:30Z/2026-03-%02uT%02u:45:00Z", day, hour, day,
                       hour + static_cast<unsigned>(random() % 11));
         return std::string(text);
       }}}},
};

}  // namespace

const std::vector<TItemField>& FieldsOf(TKind kind) {
  static const auto all = [] {
    std::map<TKind, std::vector<TItemField>> made;
    for (const TKind each : {TKind::mail, TKind::contact, TKind::task, TKind::appointment}) {
      made[each] = kOwnFields.at(each);
      made[each].insert(made[each].end(), kCommonFields.begin(), kCommonFields.end());
    }
    return made;
  }();
  return all.at(kind);
}

const TItemField& ItemField(TKind kind, const std::string& name) {
  return *std::ranges::find_if(FieldsOf(kind), [&](const TItemField& field) { return field.Name == name; });
}

TKind KindOf(IVqEWSItem& item) {
  if (dynamic_cast<IVqEWSContact*>(&item)) return TKind::contact;
  if (dynamic_cast<IVqEWSTask*>(&item)) return TKind::task;
  return dynamic_cast<IVqEWSCalendarItem*>(&item) ? TKind::appointment : TKind::mail;
}

std::string Shown(const TItemState& state) {
  std::string text;
  for (const auto& [name, value] : state.Values) text += name + "=" + value + "|";
  for (const auto& [name, content] : state.Files)
    text += "[" + name + ": " + content.substr(0, 20) + " " + std::to_string(content.size()) + "]";
  return text;
}

TItemState StateOf(IVqEWSItem& item) {
  TItemState state;
  for (const TItemField& field : FieldsOf(KindOf(item))) state.Values[field.Name] = field.Read(item);
  for (std::int32_t i = 0; i < item.GetAttachments().Count(); ++i) {
    const auto file = Supports<IVqEWSFileAttachment>(item.GetAttachments().GetAttachment(i));
    TVqMemoryStream stream;
    file->SaveToStream(stream);
    const bool first = state.Files.emplace(file->GetName().utf8(), stream.TakeBytes()).second;
    EXPECT_TRUE(first) << "two files are called " << file->GetName().utf8();
  }
  return state;
}

TFieldValues THeldItem::Changes() const {
  TFieldValues changes;
  for (const auto& [name, value] : Pending) {
    const auto loaded = Loaded.find(name);
    if (loaded == Loaded.end() || loaded->second != value) changes[name] = value;
  }
  return changes;
}

TItemState THeldItem::After(TItemState before, const TItemState& now) const {
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

std::string ViolationOfFailedSave(const THeldItem& held, const TItemState& before, const TItemState& now) {
  const TItemState after = held.After(before, now);
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
