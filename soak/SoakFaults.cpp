#include "SoakFaults.h"

#include <array>
#include <vector>

namespace soak {
namespace {

using velmore::simulator::Certificate;
using velmore::simulator::Fault;

template <typename T, std::size_t N>
T Pick(std::mt19937& random, const std::array<T, N>& from) {
  return from[random() % N];
}
int Number(std::mt19937& random, int from, int to) {
  return std::uniform_int_distribution<int>(from, to)(random);
}

std::string Envelope(const std::string& body) {
  return "<?xml version=\"1.0\" encoding=\"utf-8\"?><s:Envelope xmlns:s=\"http://schemas.xmlsoap.org/soap/envelope/\" "
         "xmlns:m=\"http://schemas.microsoft.com/exchange/services/2006/messages\" "
         "xmlns:t=\"http://schemas.microsoft.com/exchange/services/2006/types\"><s:Body>" +
         body + "</s:Body></s:Envelope>";
}

std::string Garbage(std::mt19937& random) {
  std::string bytes(static_cast<std::size_t>(Number(random, 1, 4000)), '\0');
  for (char& byte : bytes) byte = static_cast<char>(random());
  // Some of it looks like the beginning of a reply.
  static constexpr std::array<const char*, 5> kBeginnings = {"", "<?xml version=\"1.0\"?><s:Envelope>", "\xEF\xBB\xBF<",
                                                             "\xFF\xFE<", "<s:Envelope xmlns:s=\"urn:x\"><s:Body>"};
  return Pick(random, kBeginnings) + bytes;
}

/// Replies that are well-formed, and wrong.
std::string Lie(std::mt19937& random) {
  static const std::array<std::string, 9> kBodies = {
      "",
      "<m:GetFolderResponse/>",
      "<m:GetItemResponse><m:ResponseMessages/></m:GetItemResponse>",
      "<m:GetRoomListsResponse "
      "ResponseClass=\"Success\"><m:ResponseCode>NoError</m:ResponseCode></m:GetRoomListsResponse>",
      "<m:UpdateItemResponse><m:ResponseMessages><m:UpdateItemResponseMessage "
      "ResponseClass=\"Success\"><m:ResponseCode>"
      "NoError</m:ResponseCode><m:Items/></m:UpdateItemResponseMessage></m:ResponseMessages></m:UpdateItemResponse>",
      "<m:GetItemResponse><m:ResponseMessages><m:GetItemResponseMessage "
      "ResponseClass=\"Success\"><m:ResponseCode>NoError"
      "</m:ResponseCode><m:Items><t:Task><t:ItemId Id=\"AAA=\" ChangeKey=\"B\"/></t:Task></m:Items>"
      "</m:GetItemResponseMessage></m:ResponseMessages></m:GetItemResponse>",
      "<m:FindItemResponse><m:ResponseMessages><m:FindItemResponseMessage ResponseClass=\"Success\"><m:ResponseCode>"
      "NoError</m:ResponseCode><m:RootFolder IndexedPagingOffset=\"x\" TotalItemsInView=\"-1\" "
      "IncludesLastItemInRange=\"maybe\"><t:Items><t:Unheard/></t:Items></m:RootFolder></m:FindItemResponseMessage>"
      "</m:ResponseMessages></m:FindItemResponse>",
      "<m:GetItemResponse><m:ResponseMessages><m:GetItemResponseMessage ResponseClass=\"Perhaps\"><m:ResponseCode>"
      "ErrorFromTomorrow</m:ResponseCode></m:GetItemResponseMessage></m:ResponseMessages></m:GetItemResponse>",
      "<s:Fault/><s:Fault><faultstring>two</faultstring></s:Fault>",
  };
  return Envelope(Pick(random, kBodies));
}

void DrawStatus(std::mt19937& random, Fault& fault) {
  static constexpr std::array kStatuses = {302, 400, 403, 404, 405, 407, 413, 429, 500, 502, 503, 503, 504};
  fault.http_status = Pick(random, kStatuses);
  if (fault.http_status == 302) fault.headers = {{"Location", "https://elsewhere.invalid/owa/"}};
  if (fault.http_status == 503 && random() % 2 == 0) fault.headers = {{"Retry-After", "3"}};
  if (random() % 2 == 0) fault.body = "<html><body><h1>Sorry</h1></body></html>";
}

}  // namespace

RandomFault DrawFault(std::mt19937& random) {
  RandomFault drawn;
  Fault& fault = drawn.Fault;
  fault.skip = Number(random, 1, 20);
  const auto kind = [&drawn](const char* name) { drawn.Kind = name; };
  switch (random() % 18) {
    case 0:
      kind("HTTP status");
      DrawStatus(random, fault);
      break;
    case 1:
      kind("401");
      fault.http_status = 401;
      break;
    case 2: {
      kind("SOAP fault");
      static constexpr std::array kCodes = {"ErrorInternalServerError", "ErrorAccessDenied", "ErrorSchemaValidation",
                                            "ErrorInvalidServerVersion"};
      fault.soap_fault_code = Pick(random, kCodes);
      break;
    }
    case 3:
      kind("throttling");
      (random() % 2 == 0 ? fault.soap_fault_code : fault.response_code) = "ErrorServerBusy";
      fault.back_off_milliseconds = random() % 2 == 0 ? 0 : Number(random, 1, 300000);
      break;
    case 4: {
      kind("error code");
      static constexpr std::array kCodes = {"ErrorItemNotFound",          "ErrorAccessDenied",
                                            "ErrorIrresolvableConflict",  "ErrorTimeoutExpired",
                                            "ErrorMailboxMoveInProgress", "ErrorFromTomorrow"};
      fault.response_code = Pick(random, kCodes);
      fault.warning = random() % 5 == 0;
      break;
    }
    case 5:
      kind("delay");
      fault.delay = std::chrono::milliseconds(Number(random, 1, 200));
      break;
    case 6:
      kind(random() % 4 == 0 ? "time-out" : "delay");
      fault.delay = std::chrono::milliseconds(drawn.Kind == "delay" ? 50 : 2500);
      break;
    case 7:
    case 8:
      kind("cut");
      fault.cut_at_byte = Number(random, 0, 3000);
      break;
    case 9:
      kind("cut, done");
      fault.execute = true;
      fault.close_before_reply = true;
      break;
    case 10:
      kind("cut, not done");
      fault.close_before_reply = true;
      break;
    case 11:
      kind("closed behind");
      fault.close_after_reply = true;
      break;
    case 12:
      kind("pieces");
      fault.piece_size = static_cast<std::size_t>(Number(random, 1, 40));
      break;
    case 13: {
      kind("no SOAP");
      static const std::array<std::string, 4> kBodies = {"", "<html><body>Log on</body></html>", "   \r\n", "<root/>"};
      fault.replace_body = true;
      fault.body = Pick(random, kBodies);
      fault.content_type = random() % 2 == 0 ? "text/html" : "";
      break;
    }
    case 14:
      kind("garbage");
      fault.replace_body = true;
      fault.body = Garbage(random);
      break;
    case 15:
      kind("lie");
      fault.replace_body = true;
      fault.body = Lie(random);
      break;
    case 16: {
      kind("certificate");
      static constexpr std::array kWrong = {Certificate::kExpired,       Certificate::kNotYetValid,
                                            Certificate::kUnknownIssuer, Certificate::kSelfSigned,
                                            Certificate::kWrongName,     Certificate::kWrongUsage};
      fault.certificate = Pick(random, kWrong);
      fault.close_after_reply = true;
      drawn.PutRightAfter = Number(random, 10, 100);
      break;
    }
    default:
      kind("schemes");
      static const std::array<std::vector<std::string>, 3> kSchemes = {
          std::vector<std::string>{"NTLM"}, {"Negotiate", "Basic"}, {"Bearer"}};
      fault.authentication = Pick(random, kSchemes);
      fault.close_after_reply = true;
      drawn.PutRightAfter = Number(random, 1, 10);
  }
  return drawn;
}

}  // namespace soak
