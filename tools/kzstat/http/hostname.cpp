#include "http/hostname.h"

#include <arpa/inet.h>
#include <netinet/in.h>

#include <algorithm>
#include <array>
#include <cstring>
#include <string_view>

namespace kzstatprogram {
namespace {

constexpr std::size_t kMaxPortDigits = 5;

/// An address as 16 bytes; those of version 4 in the range that version 6 has for them.
using Address = std::array<unsigned char, 16>;

constexpr std::size_t kMappedPrefix = 12;

Address Mapped(const in_addr& address) {
    Address bytes{};
    bytes[10] = bytes[11] = 0xff;
    std::memcpy(&bytes[kMappedPrefix], &address, sizeof address);
    return bytes;
}

std::optional<Address> AddressOf(const std::string& host) {
    in_addr version4 = {};
    if (inet_pton(AF_INET, host.c_str(), &version4) == 1) return Mapped(version4);
    Address bytes{};
    if (inet_pton(AF_INET6, host.c_str(), bytes.data()) == 1) return bytes;
    return std::nullopt;
}

bool IsLoopback(const Address& bytes) {
    in_addr none = {};
    const Address mapped = Mapped(none);
    if (std::equal(bytes.begin(), bytes.begin() + kMappedPrefix, mapped.begin()))
        return bytes[kMappedPrefix] == 127;
    return std::memcmp(bytes.data(), &in6addr_loopback, bytes.size()) == 0;
}

bool IsPort(std::string_view text) {
    return text.size() <= kMaxPortDigits &&
           std::all_of(text.begin(), text.end(), [](char c) { return c >= '0' && c <= '9'; });
}

bool IsNameByte(char c) {
    return (c >= 'a' && c <= 'z') || (c >= '0' && c <= '9') || c == '-' || c == '.' || c == '_';
}

std::string WithoutLastDot(std::string name) {
    if (name.size() > 1 && name.back() == '.') name.pop_back();
    return name;
}

std::string InLowerCase(std::string text) {
    // Not as a locale has it.
    for (char& c : text)
        if (c >= 'A' && c <= 'Z') c = static_cast<char>(c - 'A' + 'a');
    return text;
}

/// An address of version 6 in brackets.
std::optional<std::string> BracketedHostIn(const std::string& field) {
    const std::size_t end = field.find(']');
    if (end == std::string::npos) return std::nullopt;
    const std::string_view rest = std::string_view(field).substr(end + 1);
    if (!rest.empty() && (rest.front() != ':' || !IsPort(rest.substr(1)))) return std::nullopt;
    std::string host = InLowerCase(field.substr(1, end - 1));
    in6_addr address = {};
    if (inet_pton(AF_INET6, host.c_str(), &address) != 1) return std::nullopt;
    return host;
}

}  // namespace

std::optional<std::string> HostIn(const std::string& field) {
    if (field.compare(0, 1, "[") == 0) return BracketedHostIn(field);
    const std::size_t colon = field.find(':');
    if (colon != std::string::npos && !IsPort(std::string_view(field).substr(colon + 1)))
        return std::nullopt;
    std::string host = InLowerCase(field.substr(0, colon));
    if (host.empty() || !std::all_of(host.begin(), host.end(), IsNameByte)) return std::nullopt;
    return WithoutLastDot(std::move(host));
}

bool IsSameHost(const std::string& a, const std::string& b) {
    const std::optional<Address> address = AddressOf(a);
    if (address) return address == AddressOf(b);
    return WithoutLastDot(InLowerCase(a)) == WithoutLastDot(InLowerCase(b));
}

bool IsLoopback(const std::string& host) {
    const std::optional<Address> address = AddressOf(host);
    return address ? IsLoopback(*address) : IsSameHost(host, "localhost");
}

bool IsLoopback(const sockaddr_storage& address) {
    if (address.ss_family == AF_INET) {
        sockaddr_in version4 = {};
        std::memcpy(&version4, &address, sizeof version4);
        return IsLoopback(Mapped(version4.sin_addr));
    }
    sockaddr_in6 version6 = {};
    std::memcpy(&version6, &address, sizeof version6);
    Address bytes{};
    std::memcpy(bytes.data(), &version6.sin6_addr, bytes.size());
    return address.ss_family == AF_INET6 && IsLoopback(bytes);
}

}  // namespace kzstatprogram
