#include "http/accesstoken.h"

#include <sys/random.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstring>
#include <fstream>
#include <string_view>

#include "kzjournalerror.h"

namespace kzstatprogram {
namespace {

constexpr std::size_t kRandomBytes = 24;
constexpr std::size_t kMinBytes = 16;
constexpr std::size_t kMaxBytes = 256;
constexpr std::string_view kHexDigits = "0123456789abcdef";
constexpr std::string_view kOtherBytes = "-._~";

bool IsTokenByte(char c) {
    return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') ||
           kOtherBytes.find(c) != std::string_view::npos;
}

std::string WithoutLineEnd(std::string text) {
    if (!text.empty() && text.back() == '\n') text.pop_back();
    if (!text.empty() && text.back() == '\r') text.pop_back();
    return text;
}

}  // namespace

AccessToken AccessToken::Random() {
    std::array<unsigned char, kRandomBytes> bytes{};
    // So few bytes come all at once, or none.
    if (getrandom(bytes.data(), bytes.size(), 0) != static_cast<ssize_t>(bytes.size()))
        throw kzjournal::Error(std::string("cannot make a token: ") + std::strerror(errno));
    std::string text;
    for (const unsigned char byte : bytes)
        text.append(1, kHexDigits[byte >> 4]).append(1, kHexDigits[byte & 15]);
    return AccessToken(std::move(text));
}

AccessToken AccessToken::FromFile(const std::string& path) {
    std::ifstream file(path, std::ios::binary);
    std::string text(kMaxBytes + 2, '\0');
    file.read(text.data(), static_cast<std::streamsize>(text.size()));
    if (!file.is_open() || file.bad())
        throw kzjournal::Error("cannot read the token in " + path + ": " + std::strerror(errno));
    text.resize(static_cast<std::size_t>(file.gcount()));
    text = WithoutLineEnd(std::move(text));
    if (text.size() < kMinBytes || text.size() > kMaxBytes ||
        !std::all_of(text.begin(), text.end(), IsTokenByte))
        throw kzjournal::Error("cannot use the token in " + path +
                               ": a token is a line of 16 to 256 letters, digits and -._~");
    return AccessToken(std::move(text));
}

bool AccessToken::IsSame(const std::string& text) const {
    if (text.size() != m_text.size()) return false;
    volatile unsigned char difference = 0;
    for (std::size_t i = 0; i < text.size(); ++i)
        difference = static_cast<unsigned char>(difference | (text[i] ^ m_text[i]));
    return difference == 0;
}

}  // namespace kzstatprogram
