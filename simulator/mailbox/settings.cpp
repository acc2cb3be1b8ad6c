#include "simulator/mailbox/settings.h"

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <initializer_list>
#include <nlohmann/json.hpp>
#include <sstream>
#include <vector>

#include "simulator/mailbox/ids.h"
#include "simulator/types/json_places.h"
#include "simulator/types/text.h"
#include "simulator/types/versions.h"

namespace velmore::simulator {

namespace {

namespace fs = std::filesystem;
using Json = nlohmann::ordered_json;

std::string ReadFile(const fs::path& path) {
  std::ifstream in(path, std::ios::binary);
  std::ostringstream out;
  if (!in || fs::is_directory(path)) throw OptionError("Cannot read " + path.string() + ".");
  out << in.rdbuf();
  return std::move(out).str();
}

/// The file with the places of what is in it.
class Source {
 public:
  explicit Source(std::string file) : file_(std::move(file)), text_(ReadFile(file_)), json_(Parse()), places_(text_) {
    if (!places_.Duplicate().empty()) Fail(places_.Duplicate(), "stands twice");
  }
  const Json& Root() const { return json_; }
  const std::string& File() const { return file_; }
  [[noreturn]] void Fail(const std::string& path, const std::string& what) const {
    throw OptionError(file_ + ":" + std::to_string(places_.Line(path)) + ": " + (path.empty() ? "the file" : path) +
                      " " + what + ".");
  }

 private:
  Json Parse() const {
    try {
      return Json::parse(text_, nullptr, true, true);
    } catch (const Json::parse_error& error) {
      throw OptionError(file_ + ":" + std::to_string(PlaceOf(text_, error.byte).line) +
                        ": the file is no valid JSON: " + WithoutPlace(error.what()) + ".");
    }
  }

  const std::string file_;
  const std::string text_;
  const Json json_;
  const JsonPlaces places_;
};

/// A value where it stands.
class Field {
 public:
  Field(const Source& source, const Json& json, std::string path)
      : source_(source), json_(json), path_(std::move(path)) {}

  [[noreturn]] void Fail(const std::string& what) const { source_.Fail(path_, what); }

  /// An object of which nobody reads more than these keys: any other is a mistake.
  const Field& Object(std::initializer_list<const char*> known) const {
    if (!json_.is_object()) Fail("must be an object in braces");
    for (const auto& [key, value] : json_.items()) {
      if (std::any_of(known.begin(), known.end(), [&key = key](const char* name) { return key == name; })) continue;
      std::string all;
      for (const char* name : known) all += (all.empty() ? "" : ", ") + std::string(name);
      Field(source_, value, PathOf(key)).Fail("is unknown here; known are " + all);
    }
    return *this;
  }
  bool Has(const char* key) const { return json_.contains(key); }
  Field At(const std::string& key) const {
    if (!json_.contains(key)) Fail("needs \"" + key + "\"");
    return {source_, json_.at(key), PathOf(key)};
  }
  /// The members of a list; none when there is no such list.
  std::vector<Field> List(const char* key) const {
    std::vector<Field> fields;
    if (!Has(key)) return fields;
    const Field list = At(key);
    if (!list.json_.is_array()) list.Fail("must be a list in brackets");
    for (std::size_t i = 0; i < list.json_.size(); ++i)
      fields.emplace_back(source_, list.json_[i], list.path_ + "[" + std::to_string(i) + "]");
    return fields;
  }
  /// The members of an object with their keys.
  std::vector<std::pair<std::string, Field>> Members(const char* key) const {
    std::vector<std::pair<std::string, Field>> fields;
    if (!Has(key)) return fields;
    const Field object = At(key);
    if (!object.json_.is_object()) object.Fail("must be an object in braces");
    for (const auto& [name, value] : object.json_.items())
      fields.emplace_back(name, Field(source_, value, object.PathOf(name)));
    return fields;
  }

  std::string Text() const {
    if (!json_.is_string()) Fail("must be a text in quotes");
    return json_.get<std::string>();
  }
  std::string Text(const char* key, const std::string& otherwise) const {
    return Has(key) ? At(key).Text() : otherwise;
  }
  std::string Address(const char* key) const {
    const Field field = At(key);
    std::string text = field.Text();
    if (text.find('@') == std::string::npos) field.Fail("must be an SMTP address such as \"ada@example.com\"");
    return text;
  }
  bool Flag(const char* key, bool otherwise) const {
    if (!Has(key)) return otherwise;
    const Field field = At(key);
    if (!field.json_.is_boolean()) field.Fail("must be true or false");
    return field.json_.get<bool>();
  }
  std::uint64_t Number() const {
    if (!json_.is_number_unsigned()) Fail("must be a whole number");
    return json_.get<std::uint64_t>();
  }
  std::uint64_t Number(const char* key, std::uint64_t otherwise) const {
    return Has(key) ? At(key).Number() : otherwise;
  }
  int Minutes(const char* key, int otherwise) const {
    if (!Has(key)) return otherwise;
    const Field field = At(key);
    if (!field.json_.is_number_integer()) field.Fail("must be a whole number of minutes");
    return field.json_.get<int>();
  }
  /// The member with this key, or an empty object.
  Field Part(const char* key) const {
    static const Json kNone = Json::object();
    return Has(key) ? At(key) : Field(source_, kNone, PathOf(key));
  }
  std::vector<std::string> Texts(const char* key) const {
    std::vector<std::string> texts;
    for (const Field& field : List(key)) texts.push_back(field.Text());
    return texts;
  }

 private:
  std::string PathOf(const std::string& key) const { return path_.empty() ? key : path_ + "." + key; }
  const Source& source_;
  const Json& json_;
  const std::string path_;
};

Access AccessNamed(const Field& field) {
  const std::string name = field.Text();
  if (name == "reviewer") return Access::kReviewer;
  if (name == "author") return Access::kAuthor;
  if (name == "editor") return Access::kEditor;
  if (name == "owner") return Access::kOwner;
  field.Fail("knows no right \"" + name + "\"; known are reviewer, author, editor and owner");
}

void AddUser(const Field& entry, User user, Options& options, std::vector<std::string>& told) {
  for (const std::string& address : told)
    if (SameText(address, user.smtp_address))
      entry.At("smtp").Fail("is the address of another mailbox, too: " + user.smtp_address);
  told.push_back(user.smtp_address);
  const bool known = std::any_of(options.users.begin(), options.users.end(),
                                 [&](const User& other) { return SameText(other.smtp_address, user.smtp_address); });
  if (!known) options.users.push_back(std::move(user));
}

DeliveryRules RulesOf(const Field& entry) {
  const Field rules = entry.Part("delivery");
  rules.Object({"mailTip", "moderated", "acceptsFrom", "maxMessageBytes"});
  return {rules.Text("mailTip", {}), rules.Flag("moderated", false), rules.Texts("acceptsFrom"),
          rules.Number("maxMessageBytes", 0)};
}

WorkHours HoursOf(const Field& entry) {
  const WorkHours usual;
  const Field hours = entry.Part("workHours");
  hours.Object({"days", "start", "end", "bias"});
  return {hours.Text("days", usual.days), hours.Minutes("start", usual.start), hours.Minutes("end", usual.end),
          hours.Minutes("bias", usual.bias)};
}

OutsideAnswers OutsideOf(const Field& entry, OutsideAnswers usual) {
  if (!entry.Has("outsideAnswers")) return usual;
  const std::string text = entry.At("outsideAnswers").Text();
  if (text == "none") return OutsideAnswers::kNone;
  if (text == "known") return OutsideAnswers::kKnown;
  if (text != "all") entry.At("outsideAnswers").Fail("knows no \"" + text + "\"; known are none, known and all");
  return OutsideAnswers::kAll;
}

void ReadUser(const Field& entry, const fs::path& folder, OutsideAnswers outside, Options& options,
              std::vector<std::string>& told) {
  entry.Object({"name", "smtp", "displayName", "password", "mayImpersonate", "archive", "quota", "site", "access",
                "fill", "room", "delivery", "workHours", "photo", "outsideAnswers"});
  User user;
  user.name = entry.At("name").Text();
  user.smtp_address = entry.Address("smtp");
  user.display_name = entry.Text("displayName", user.name);
  user.password = entry.Text("password", {});
  user.may_impersonate = entry.Flag("mayImpersonate", false);
  user.archive = entry.Flag("archive", false);
  user.quota_bytes = entry.Number("quota", 0);
  user.site = entry.Text("site", {});
  user.room = entry.Flag("room", false);
  user.delivery = RulesOf(entry);
  user.work_hours = HoursOf(entry);
  user.outside_answers = OutsideOf(entry, outside);
  // A file beside this one, or a picture that is made up.
  user.photo = entry.Text("photo", {});
  if (!user.photo.empty() && user.photo != "painted") user.photo = ReadFile(folder / user.photo);
  for (const Field& grant : entry.List("access")) {
    grant.Object({"mailbox", "folder", "rights"});
    user.grants.push_back({grant.At("mailbox").Text(), grant.Text("folder", {}),
                           grant.Has("rights") ? AccessNamed(grant.At("rights")) : Access::kReviewer});
  }
  for (const auto& [filled, count] : entry.Members("fill"))
    options.fills.push_back({user.smtp_address, filled, static_cast<std::size_t>(count.Number())});
  AddUser(entry, std::move(user), options, told);
}

void ReadRoom(const Field& entry, Options& options, std::vector<std::string>& told) {
  entry.Object({"smtp", "displayName"});
  const std::string smtp = entry.Address("smtp");
  // A room has a mailbox, and nobody knows its password.
  User room{smtp.substr(0, smtp.find('@')), smtp, entry.Text("displayName", smtp), NewGuid()};
  room.room = true;
  AddUser(entry, std::move(room), options, told);
}

void ReadRedirect(const Field& entry, Options& options) {
  using Kind = AutodiscoverRedirect::Kind;
  entry.Object({"host", "from", "location", "toAddress", "toUrl"});
  if (entry.Has("location") + entry.Has("toAddress") + entry.Has("toUrl") != 1)
    entry.Fail("needs one of location, toAddress and toUrl");
  AutodiscoverRedirect redirect;
  if (entry.Has("location")) {
    redirect = {Kind::kLocation, entry.Text("host", {}), entry.At("location").Text()};
  } else {
    const bool address = entry.Has("toAddress");
    redirect = {address ? Kind::kAddress : Kind::kUrl, entry.At("from").Text(),
                entry.At(address ? "toAddress" : "toUrl").Text()};
  }
  options.autodiscover_redirects.push_back(std::move(redirect));
}

/// What was chosen beside the file counts.
template <class T>
void Take(T Options::*member, Options& options, T value) {
  if (options.*member == Options().*member) options.*member = std::move(value);
}

}  // namespace

void ReadSettings(const std::string& file, Options& options) {
  const Source source(file);
  const Field root(source, source.Root(), {});
  root.Object({"note", "version", "domains", "users", "rooms", "roomLists", "lists", "directory", "fill", "fillSeed",
               "authentication", "keytab", "ntlmUsers", "requireBinding", "externalUrl", "redirects",
               "outsideAnswers"});
  std::vector<std::string> told;
  const OutsideAnswers outside = OutsideOf(root, OutsideAnswers::kAll);
  for (const Field& entry : root.List("users")) ReadUser(entry, fs::path(file).parent_path(), outside, options, told);
  for (const Field& entry : root.List("rooms")) ReadRoom(entry, options, told);
  for (const Field& entry : root.List("directory")) {
    entry.Object({"smtp", "displayName"});
    const std::string smtp = entry.Address("smtp");
    options.directory.push_back({smtp, entry.Text("displayName", smtp)});
  }
  for (const Field& entry : root.List("lists")) {
    entry.Object({"smtp", "displayName", "members", "delivery"});
    const std::string smtp = entry.Address("smtp");
    options.lists.push_back({smtp, entry.Text("displayName", smtp), entry.Texts("members"), false, RulesOf(entry)});
  }
  for (const Field& entry : root.List("roomLists")) {
    entry.Object({"smtp", "displayName", "rooms"});
    const std::string smtp = entry.Address("smtp");
    options.lists.push_back({smtp, entry.Text("displayName", smtp), entry.Texts("rooms"), true});
  }
  for (const Field& entry : root.List("fill")) {
    entry.Object({"mailbox", "folder", "count"});
    options.fills.push_back({entry.At("mailbox").Text(), entry.Text("folder", "inbox"),
                             static_cast<std::size_t>(entry.At("count").Number())});
  }
  for (const std::string& domain : root.Texts("domains")) options.domains.push_back(domain);
  for (const Field& entry : root.List("redirects")) ReadRedirect(entry, options);
  options.fill_seed = root.Number("fillSeed", options.fill_seed);
  if (root.Has("version")) {
    const std::string version = root.At("version").Text();
    if (VersionIndex(version) < 0) root.At("version").Fail("knows no server version \"" + version + "\"");
    Take(&Options::version, options, version);
  }
  if (root.Has("authentication")) Take(&Options::authentication, options, root.Texts("authentication"));
  Take(&Options::require_channel_binding, options, root.Flag("requireBinding", false));
  Take(&Options::external_url, options, root.Text("externalUrl", {}));
  // Files are named from where the settings are.
  const auto beside = [&](const char* key) {
    return root.Has(key) ? (fs::path(file).parent_path() / root.At(key).Text()).string() : std::string();
  };
  Take(&Options::keytab_file, options, beside("keytab"));
  Take(&Options::ntlm_file, options, beside("ntlmUsers"));
}

}  // namespace velmore::simulator
