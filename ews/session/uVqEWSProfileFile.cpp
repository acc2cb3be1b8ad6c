#include "ews/session/uVqEWSProfileFile.h"

#include <exception>
#include <optional>

#include "ews/session/uVqEWS.h"
#include "ews/session/uVqEWSProfileSettings_p.h"
#include "platform/os/uVqEnvironment.h"
#include "platform/os/uVqFiles.h"
#include "platform/xml/uVqXMLUtils.h"

namespace velmore {
namespace {

constexpr char kNamespace[] = "urn:velmore:ews:profiles";
constexpr char kVersion[] = "1.0";

IVqDOMDocument NewDocument() {
  TVqDOMDocument document;
  const IVqDOMElement root = document.CreateRootNode("profiles", kNamespace);
  root.SetAttribute("version", kVersion);
  root.SetAttribute("default", "EWS");
  return document;
}

bool IsProfile(const IVqDOMElement& element) {
  return SameText(element.GetLocalName(), "Profile");
}

/// The profile of this name. It is looked for by hand, as a name may hold what ends a condition of a selection.
IVqDOMElement FindProfile(const IVqDOMDocument& document, const string& name) {
  for (const IVqDOMElement profile : document.GetDocumentElement().GetChildElements()) {
    if (IsProfile(profile) && profile.GetAttribute("Name", kSelectQuiet) == name) return profile;
  }
  return {};
}

/// A new child with the prefix that its parent has.
IVqDOMElement AddLike(const IVqDOMElement& parent, const char* name) {
  const string prefix = parent.GetPrefix();
  return parent.AddElement(prefix.empty() ? string(name) : prefix + ":" + name);
}

/// What of a version can stand in the name of a file.
string InFileName(const string& version) {
  string text;
  for (const char16_t unit : version.Copy(0, 20)) {
    const bool plain = (unit >= u'0' && unit <= u'9') || (unit >= u'A' && unit <= u'Z') ||
                       (unit >= u'a' && unit <= u'z') || unit == u'.' || unit == u'-';
    text += plain ? unit : u'_';
  }
  return text.empty() ? string("none") : text;
}

/// Puts what was in a file beside it, under a name that nothing else has.
void KeepBeside(const string& name, const std::string& content) {
  for (int number = 1;; ++number) {
    const string beside = number == 1 ? name : name + "-" + IntToStr(number);
    const std::optional<std::string> there = VqTryReadFile(beside);
    if (there == content) return;
    if (there) continue;
    return VqReplaceFile(beside, content);
  }
}

}  // namespace

/// A file as it was read: its document, or why it counts as absent.
struct TVqEWSProfileConfigFileContainer::TConfig {
  IVqDOMDocument Document;
  string Problem;
  std::string Content;
  /// What tells the old file from the new one behind its name.
  string Suffix = ".damaged";
  /// The file is there, and the system does not let us see what is in it.
  std::exception_ptr Unreadable;
  /// Why it is no XML.
  std::exception_ptr Malformed;
};

string TVqEWSProfileConfigFileContainer::ExpandConfigFileName() const {
  return VqNativePath(VqExpandEnvironment(FFilename));
}

TVqEWSProfileConfigFileContainer::TConfig TVqEWSProfileConfigFileContainer::ReadConfig(const string& AName) {
  TConfig config;
  try {
    std::optional<std::string> content = VqTryReadFile(AName);
    if (!content) {
      config.Problem = "The ConfigFile does not exist!";
      return config;
    }
    config.Content = std::move(*content);
  } catch (const EVqFileError& failure) {
    config.Problem = failure.Message();
    config.Unreadable = std::current_exception();
    return config;
  }
  const TVqDOMDocument document;
  try {
    if (!config.Content.empty()) document.LoadFromBytes(config.Content);
  } catch (const EVqXMLError& failure) {
    config.Problem = failure.Message();
    config.Malformed = std::current_exception();
    return config;
  }
  const IVqDOMElement root = document.GetDocumentElement();
  if (!root) {
    config.Problem = "No rootnode detected";
  } else if (const string version = root.GetAttribute("version", kSelectQuiet); version != kVersion) {
    config.Problem = "Incorrect version";
    config.Suffix = ".version-" + InFileName(version);
  } else {
    config.Document = document;
  }
  return config;
}

bool TVqEWSProfileConfigFileContainer::GetConfig(bool ACreate, IVqDOMDocument& ADocument) const {
  const string name = ExpandConfigFileName();
  const TConfig config = ReadConfig(name);
  ADocument = config.Document;
  if (ADocument || !ACreate) return static_cast<bool>(ADocument);
  // Making the file anew would throw away what nobody has looked at.
  if (config.Unreadable) std::rethrow_exception(config.Unreadable);
  VqMakeFolders(VqFolderOf(name));
  ADocument = NewDocument();
  return true;
}

void TVqEWSProfileConfigFileContainer::CheckConfig() const {
  const TConfig config = ReadConfig(ExpandConfigFileName());
  if (!config.Document) throw EVqException(config.Problem);
}

void TVqEWSProfileConfigFileContainer::DeleteConfig() {
  VqDeleteFile(ExpandConfigFileName());
}

/// Lets `AChange` work on the document, with other processes kept out, and puts it in place of the file.
template <typename TChange>
void TVqEWSProfileConfigFileContainer::ChangeConfig(const string& AName, TChange AChange) const {
  VqMakeFolders(VqFolderOf(AName));
  const TVqFileLock lock(AName);
  TConfig config = ReadConfig(AName);
  if (config.Unreadable) std::rethrow_exception(config.Unreadable);
  const bool replaces = !config.Document;
  if (replaces) config.Document = NewDocument();
  AChange(config.Document);
  TVqMemoryStream stream;
  config.Document.SaveToStream(stream, true, false);
  if (replaces && !config.Content.empty()) KeepBeside(AName + config.Suffix, config.Content);
  VqReplaceFile(AName, stream.Bytes());
}

string TVqEWSProfileConfigFileContainer::GetDefaultProfileName() {
  IVqDOMDocument document;
  if (!GetConfig(false, document)) return {};
  const string name = document.GetDocumentElement().GetAttribute("Default", kSelectQuiet);
  return name.empty() || !FindProfile(document, name) ? string() : name;
}

bool TVqEWSProfileConfigFileContainer::GetPromptForProfile() {
  IVqDOMDocument document;
  if (!GetConfig(false, document)) return true;
  const string prompt = document.GetDocumentElement().GetAttribute("PromptForProfile", kSelectQuiet);
  return prompt.empty() || VqXMLToBool(prompt);
}

void TVqEWSProfileConfigFileContainer::SetRootAttribute(const char* AName, const string& AValue) const {
  ChangeConfig(ExpandConfigFileName(), [&](const IVqDOMDocument& document) {
    // In whatever case it stands there: a new file says "default".
    document.GetDocumentElement().GetAttributeNode(AName, kSelectCreate).SetValue(AValue);
  });
}

void TVqEWSProfileConfigFileContainer::SetPromptForProfile(bool AValue) {
  SetRootAttribute("PromptForProfile", VqBoolToXML(AValue));
}

void TVqEWSProfileConfigFileContainer::SetDefaultProfileName(const string& AValue) {
  SetRootAttribute("Default", AValue);
}

std::int32_t TVqEWSProfileConfigFileContainer::GetProfileNames(TVqStrings& AStrings) {
  AStrings.Clear();
  IVqDOMDocument document;
  if (!GetConfig(false, document)) return 0;
  for (const IVqDOMElement profile : document.GetDocumentElement().GetChildElements()) {
    if (IsProfile(profile)) AStrings.Add(profile.GetAttribute("Name", kSelectQuiet));
  }
  return AStrings.Count();
}

bool TVqEWSProfileConfigFileContainer::LoadProfile(TVqEWSCustomSession& ASession, const string& AProfileName) {
  const TConfig config = ReadConfig(ExpandConfigFileName());
  if (config.Unreadable) std::rethrow_exception(config.Unreadable);
  if (config.Malformed) std::rethrow_exception(config.Malformed);
  if (!config.Document) return false;
  const IVqDOMElement profile = FindProfile(config.Document, AProfileName);
  if (!profile)
    throw EVqXMLError("There is no \"/Profiles/Profile[@name=\"" + AProfileName + "\"]\" in the document.", 0, 0);

  TVqStrings mailboxes;
  for (const IVqDOMElement mailbox :
       profile.SelectSingleElement("AdditionalMailboxes", kSelectRequired).GetChildElements()) {
    mailboxes.Add(mailbox.GetAttribute("PrimarySMTPAddress", kSelectQuiet));
  }
  const auto read = [&profile](TVqEWSProfileValue& value) {
    const IVqDOMElement element = profile.SelectSingleElement(value.Name, kSelectQuiet);
    if (!element) return false;
    if (value.IsBoolean) {
      value.Boolean = VqXMLToBool(element.GetText());
    } else {
      value.Text = element.GetText();
    }
    return true;
  };
  const std::exception_ptr foreign = EwsApplyProfile(ASession, read, false);
  ASession.SetAdditionalMailboxes(mailboxes);
  TVqEWSProfileCustomContainer::LoadProfile(ASession, AProfileName);
  if (foreign) std::rethrow_exception(foreign);
  return true;
}

void TVqEWSProfileConfigFileContainer::SaveProfile(TVqEWSCustomSession& ASession, const string& AProfileName) {
  EwsCheckProfileName(AProfileName, false);
  // What may fail goes before anything is written: a key that is missing, an Autodiscover that does not answer.
  const bool machine = ASession.GetOAuth().GetGrantType() != TVqOAuthGrantType::Authorize;
  const std::vector<TVqEWSProfileValue> values = EwsProfileOf(ASession, *this, {machine, true, "Machine"});
  const TVqStrings mailboxes = ASession.GetAdditionalMailboxes();

  FFilename = ExpandConfigFileName();
  ChangeConfig(FFilename, [&](const IVqDOMDocument& document) {
    IVqDOMElement profile = FindProfile(document, AProfileName);
    if (!profile) {
      profile = AddLike(document.GetDocumentElement(), "Profile");
      profile.SetAttribute("name", AProfileName);
    }
    for (const TVqEWSProfileValue& value : values) {
      profile.SelectSingleElement(value.Name, kSelectCreate)
          .SetText(value.IsBoolean ? VqBoolToXML(value.Boolean) : value.Text);
    }
    const IVqDOMElement list = profile.SelectSingleElement("AdditionalMailboxes", kSelectCreate);
    list.RemoveAllChildren();
    for (const string& mailbox : mailboxes) AddLike(list, "Mailbox").SetAttribute("PrimarySMTPAddress", mailbox);
  });
}

void TVqEWSProfileConfigFileContainer::DeleteProfile(const string& AProfileName) {
  IVqDOMDocument document;
  const string name = ExpandConfigFileName();
  if (!GetConfig(false, document) || !FindProfile(document, AProfileName)) return;
  ChangeConfig(name, [&](const IVqDOMDocument& newest) {
    if (const IVqDOMElement profile = FindProfile(newest, AProfileName))
      profile.GetParentElement().RemoveChild(profile);
  });
}

void TVqEWSProfileConfigFileContainer::AssignTo(TVqComponent* ADest) {
  if (auto* dest = dynamic_cast<TVqEWSProfileConfigFileContainer*>(ADest)) dest->FFilename = FFilename;
  TVqEWSProfileCustomContainer::AssignTo(ADest);
}

}  // namespace velmore
