#pragma once

// Between the shims, which have the names of POSIX, and posix.cpp, which has those of Windows.

#include <cstddef>

namespace velmore_posix {

int Socket(int family, int type, int protocol);
int Bind(int socket, const void* address, int size);
int Listen(int socket, int backlog);
int Accept(int socket);
int Connect(int socket, const void* address, int size);
int GetSockName(int socket, void* address, int* size);
int SetSockOpt(int socket, int level, int option, const void* value, int size);
int Shutdown(int socket, int how);
long long Send(int socket, const void* bytes, std::size_t count, int flags);
long long Receive(int socket, void* bytes, std::size_t count, int flags);
int Poll(int socket, bool readable, int milliseconds);

}  // namespace velmore_posix
