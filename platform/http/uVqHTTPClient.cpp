#include "platform/http/uVqHTTPClient.h"

#include "platform/http/uVqWinHTTP.h"
#include "platform/http/uVqWinINet.h"

namespace velmore {

namespace {

template <typename T>
TVqRef<IVqHTTPClient> MakeClient() {
  auto client = MakeRef<T>();
  client->SetAutoDestroy(true);
  return client;
}

}  // namespace

TVqHTTPClient::TVqHTTPClient(bool AUseWinHTTP)
    : FClient(AUseWinHTTP ? MakeClient<TVqWinHTTPClient>() : MakeClient<TVqWinINetClient>()) {}

}  // namespace velmore
