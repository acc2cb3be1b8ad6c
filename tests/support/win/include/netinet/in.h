#pragma once

#include <sys/socket.h>

constexpr in_addr_t INADDR_LOOPBACK = 0x7F000001, INADDR_ANY = 0;
constexpr int IPPROTO_TCP = 6;
