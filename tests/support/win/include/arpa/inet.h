#pragma once

#include <netinet/in.h>

constexpr std::uint16_t htons(std::uint16_t value) {
  return static_cast<std::uint16_t>(value << 8 | value >> 8);
}
constexpr std::uint16_t ntohs(std::uint16_t value) {
  return htons(value);
}
constexpr std::uint32_t htonl(std::uint32_t value) {
  return value << 24 | (value & 0xFF00) << 8 | (value >> 8 & 0xFF00) | value >> 24;
}
constexpr std::uint32_t ntohl(std::uint32_t value) {
  return htonl(value);
}
