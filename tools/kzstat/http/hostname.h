#ifndef KZSTATPROGRAM_HOSTNAME_H
#define KZSTATPROGRAM_HOSTNAME_H

#include <sys/socket.h>

#include <optional>
#include <string>

namespace kzstatprogram {

// These functions are safe for concurrent use.

/// The name or address in a Host field: without port, brackets and the dot at the end of a full
/// name, in lower case. No value if the field is none.
std::optional<std::string> HostIn(const std::string& field);

/// True if both are the same name in any case, or the same address in any spelling.
bool IsSameHost(const std::string& a, const std::string& b);

/// True for localhost, and for addresses in 127.0.0.0/8 and ::1. Other names are not looked up:
/// whoever owns one may have it lead anywhere.
bool IsLoopback(const std::string& host);
bool IsLoopback(const sockaddr_storage& address);

}  // namespace kzstatprogram

#endif
