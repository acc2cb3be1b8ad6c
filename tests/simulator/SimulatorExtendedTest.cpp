// Extended properties: values in their canonical form.

#include <gtest/gtest.h>

#include "SimulatorTestSupport.h"

namespace velmore::simulator::testing {
namespace {

class SimulatorExtended : public ::testing::Test {
 protected:
  /// What a value reads as after it was written; the response code when it was refused.
  std::string Echo(const std::string& type, const std::string& value) {
    const std::string uri =
        "<t:ExtendedFieldURI DistinguishedPropertySetId=\"PublicStrings\" PropertyName=\"x\" PropertyType=\"" + type +
        "\"/>";
    const bool array = type.ends_with("Array");
    const Reply made = client.Call(CreateItemXml(
        "<t:Message><t:ExtendedProperty>" + uri + (array ? "<t:Values>" : "") + "<t:Value>" + value + "</t:Value>" +
        (array ? "<t:Value>" + value + "</t:Value></t:Values>" : "") + "</t:ExtendedProperty></t:Message>"));
    if (made.Code() != "NoError") return made.Code();
    const Reply read = client.Call(
        GetItemXml(made.Find("ItemId").AttributeText("Id"),
                   "<t:BaseShape>IdOnly</t:BaseShape><t:AdditionalProperties>" + uri + "</t:AdditionalProperties>"));
    EXPECT_EQ(read.All("Value").size(), array ? 2u : 1u);
    return read.Find("Value").text;
  }
  Started server;
  Client client{server};
};

TEST_F(SimulatorExtended, ValuesReadInTheirCanonicalForm) {
  const char* const kRefused = "ErrorInvalidExtendedPropertyValue";
  const std::tuple<const char*, const char*, const char*> kValues[] = {
      {"SystemTime", "1980-01-02T02:00:00+02:00", "1980-01-02T00:00:00Z"},
      {"SystemTime", "1980-01-02T00:00:00", "1980-01-02T00:00:00Z"},
      {"SystemTime", "yesterday", kRefused},
      {"Integer", "007", "7"},
      {"Integer", " +7\n", "7"},
      {"Integer", "-2147483648", "-2147483648"},
      {"Integer", "99999999999", kRefused},
      {"Integer", "2147483648", kRefused},
      {"Integer", "1.0", kRefused},
      {"Integer", "", kRefused},
      {"Short", "-32768", "-32768"},
      {"Short", "32768", kRefused},
      {"Long", "99999999999", "99999999999"},
      {"Long", "9223372036854775808", kRefused},
      {"Currency", "0100", "100"},
      {"Double", "1.50", "1.5"},
      {"Double", "1E3", "1000"},
      {"Double", "1e999", kRefused},
      {"Double", "INF", "INF"},
      {"Double", "infinity", kRefused},
      {"Float", "0.1", "0.1"},
      {"Float", "1e99", kRefused},
      {"ApplicationTime", "2.50", "2.5"},
      {"Boolean", "1", "true"},
      {"Boolean", "0", "false"},
      {"Boolean", "yes", kRefused},
      {"Binary", "QU JD", "QUJD"},
      {"Binary", "!", kRefused},
      {"CLSID", "{0F8FAD5B-D9CB-469F-A165-70867728950E}", "0f8fad5b-d9cb-469f-a165-70867728950e"},
      {"CLSID", "0f8fad5b", kRefused},
      {"String", " 007 ", " 007 "},
  };
  for (const auto& [type, written, read] : kValues) {
    EXPECT_EQ(Echo(type, written), read) << type << " " << written;
    if (type == std::string("Boolean")) continue;  // of these there are no lists
    EXPECT_EQ(Echo(std::string(type) + "Array", written), read) << type << "Array " << written;
  }
}

}  // namespace
}  // namespace velmore::simulator::testing
