#pragma once

/// What is said between a program that cannot have the simulator in its own process and the host that has it for it: a
/// call with its arguments there, a result back. Both sides are built from this one header, so that neither can know a
/// field that the other lacks.

#include <boost/asio/ip/tcp.hpp>
#include <boost/asio/read.hpp>
#include <boost/asio/write.hpp>

#include <array>
#include <chrono>
#include <cstdint>
#include <nlohmann/json.hpp>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "simulator/simulator.h"

namespace nlohmann {

template <typename Rep, typename Period>
struct adl_serializer<std::chrono::duration<Rep, Period>> {
  static void to_json(json& out, const std::chrono::duration<Rep, Period>& value) { out = value.count(); }
  static void from_json(const json& in, std::chrono::duration<Rep, Period>& value) {
    value = std::chrono::duration<Rep, Period>(in.get<Rep>());
  }
};

template <typename T>
struct adl_serializer<std::optional<T>> {
  static void to_json(json& out, const std::optional<T>& value) {
    out = json::array();
    if (value) out.push_back(*value);
  }
  static void from_json(const json& in, std::optional<T>& value) {
    value.reset();
    if (!in.empty()) value = in.at(0).get<T>();
  }
};

}  // namespace nlohmann

namespace velmore::simulator {

NLOHMANN_DEFINE_TYPE_NON_INTRUSIVE(Grant, mailbox, folder, access)
NLOHMANN_DEFINE_TYPE_NON_INTRUSIVE(DeliveryRules, mail_tip, moderated, accepts_from, max_message_bytes)
NLOHMANN_DEFINE_TYPE_NON_INTRUSIVE(WorkHours, days, start, end, bias)
NLOHMANN_DEFINE_TYPE_NON_INTRUSIVE(User, name, smtp_address, display_name, password, grants, may_impersonate, archive,
                                   quota_bytes, site, back_end, room, delivery, work_hours, outside_answers, photo)
NLOHMANN_DEFINE_TYPE_NON_INTRUSIVE(DirectoryContact, smtp_address, display_name)
NLOHMANN_DEFINE_TYPE_NON_INTRUSIVE(DirectoryList, smtp_address, display_name, members, of_rooms, delivery)
NLOHMANN_DEFINE_TYPE_NON_INTRUSIVE(Fill, mailbox, folder, count)
NLOHMANN_DEFINE_TYPE_NON_INTRUSIVE(AutodiscoverRedirect, kind, from, target)
NLOHMANN_DEFINE_TYPE_NON_INTRUSIVE(Options, version, address, http, https, http_port, https_port, certificate, users,
                                   directory, lists, fills, fill_seed, domains, autodiscover_redirects, external_url,
                                   settings_file, seed_directory, record_directory, authentication, keytab_file,
                                   ntlm_file, require_channel_binding, token_lifetime, script_file, schema_directory,
                                   state_file, state_interval, browser_page, page_hosts, accept_departures, back_ends,
                                   stream_keep_alive, stream_minute, subscription_lifetime, streams_per_user,
                                   kept_events, find_count_limit, restricted_find_limit, max_request_bytes,
                                   max_message_bytes, gzip, chunk_bytes, idle_limit, stall_limit, keep_exchanges)
NLOHMANN_DEFINE_TYPE_NON_INTRUSIVE(Fault, operation, skip, times, execute, delay, http_status, soap_fault_code,
                                   response_code, warning, message_text, back_off_milliseconds, replace_body, body,
                                   content_type, headers, close_before_reply, cut_at_byte, close_after_reply,
                                   piece_size, silent_after, end_after, stream_text, glue, before_envelope, prefix,
                                   certificate, authentication)
NLOHMANN_DEFINE_TYPE_NON_INTRUSIVE(Counters, connections, requests, operations, departures, refused)
NLOHMANN_DEFINE_TYPE_NON_INTRUSIVE(Exchange, number, method, target, operation, user, secure, request_headers,
                                   request_body, status, response_headers, response_body)
NLOHMANN_DEFINE_TYPE_NON_INTRUSIVE(Id, id, change_key)

namespace remote {

struct Anything {
  template <typename T>
  operator T() const;  // NOLINT(google-explicit-constructor): stands for whatever a field is
};
/// The number of fields of a record: as many as it can be made of.
template <typename T, typename... Fields>
constexpr std::size_t CountFields() {
  if constexpr (requires { T{Fields{}..., Anything{}}; }) {
    return CountFields<T, Fields..., Anything>();
  } else {
    return sizeof...(Fields);
  }
}
/// Variable of the environment that says where the host listens: "127.0.0.1:PORT".
inline constexpr const char* kHostVariable = "VELMORE_SIMULATOR_HOST";

/// One message: four bytes of length, the lowest first, then MessagePack, in which texts may be any bytes.
inline void Write(boost::asio::ip::tcp::socket& socket, const nlohmann::json& message) {
  std::vector<std::uint8_t> bytes(4);
  nlohmann::json::to_msgpack(message, bytes);
  const auto length = static_cast<std::uint32_t>(bytes.size() - 4);
  for (std::size_t i = 0; i < 4; ++i) bytes[i] = static_cast<std::uint8_t>(length >> (8 * i));
  boost::asio::write(socket, boost::asio::buffer(bytes));
}

inline nlohmann::json Read(boost::asio::ip::tcp::socket& socket) {
  std::array<std::uint8_t, 4> head{};
  boost::asio::read(socket, boost::asio::buffer(head));
  std::uint32_t length = 0;
  for (std::size_t i = 0; i < 4; ++i) length |= static_cast<std::uint32_t>(head[i]) << (8 * i);
  std::vector<std::uint8_t> bytes(length);
  boost::asio::read(socket, boost::asio::buffer(bytes));
  return nlohmann::json::from_msgpack(bytes);
}

}  // namespace remote
}  // namespace velmore::simulator
