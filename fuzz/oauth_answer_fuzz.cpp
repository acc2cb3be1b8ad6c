// What a token endpoint says, and what stands in a challenge: a token that can go into a header, or an error whose text
// has none of the secrets that were sent.

#include <cstdlib>

#include "platform/http/uVqHTTPOAuthGrants_p.h"

namespace {

void Require(bool condition) {
  if (!condition) std::abort();
}

constexpr const char* kSecret = "S3cret!s";

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string_view input(reinterpret_cast<const char*>(data), size);
  const velmore::TVqOAuthQuestion question{
      velmore::TVqOAuthGrantType::Password, "https://login.example.com/token", {kSecret}};
  for (const std::uint16_t status : {std::uint16_t{200}, std::uint16_t{400}}) {
    try {
      const auto token = velmore::VqReadTokenAnswer({status, "application/json", std::string(input)}, question);
      Require(status == 200 && !token.Token.empty());
      for (const char16_t c : token.Token.view()) Require(c > u' ' && c <= u'~');
    } catch (const velmore::EVqOAuthException& failure) {
      const std::string text =
          failure.what() + failure.GetError().utf8() + failure.GetDescription().utf8() + failure.GetErrorURI().utf8();
      Require(text.find(kSecret) == std::string::npos);
      for (const char c : std::string(failure.what())) Require(static_cast<unsigned char>(c) >= ' ');
      Require(failure.GetNumber() == status);
    }
  }
  velmore::VqBearerError(input);
  const velmore::TVqFormFields fields = velmore::VqFormDecode(input);
  Require(velmore::VqFormDecode(velmore::VqFormEncode(fields)) == fields);
  return 0;
}
