#ifndef KZ_RW_CSTRING_H
#define KZ_RW_CSTRING_H

#include <cstddef>
#include <functional>
#include <string>
#include <string_view>

#include "kzplatform_export.h"

/// A string of bytes with value semantics; bytes may be 0. Positions and lengths count bytes; a
/// position past the end is clamped to the end. Compatible: one thread at a time per object.
class KZPLATFORM_EXPORT RWCString {
public:
    RWCString() = default;
    /// Copies the text up to its NUL. A null pointer makes an empty string.
    RWCString(const char* text) : m_text(text == nullptr ? "" : text) {}
    RWCString(const char* bytes, std::size_t length) : m_text(bytes, length) {}

    /// The bytes, followed by a NUL. Valid until the string is changed or destroyed.
    const char* data() const { return m_text.c_str(); }
    std::size_t length() const { return m_text.size(); }
    /// The bytes without the NUL. Valid until the string is changed or destroyed.
    std::string_view view() const { return m_text; }
    /// True for a string of length 0.
    bool isNull() const { return m_text.empty(); }

    RWCString& append(const char* text);
    RWCString& append(const char* bytes, std::size_t length);
    RWCString& append(const RWCString& other);
    RWCString& append(char byte);
    RWCString& prepend(const char* text);
    RWCString& prepend(const char* bytes, std::size_t length);
    RWCString& prepend(const RWCString& other);
    RWCString& operator+=(const char* text) { return append(text); }
    RWCString& operator+=(const RWCString& other) { return append(other); }
    RWCString& operator+=(char byte) { return append(byte); }

    /// Removes everything from `position` on, or at most `count` bytes from there.
    RWCString& remove(std::size_t position);
    RWCString& remove(std::size_t position, std::size_t count);
    /// Cuts the string to `length` bytes, or pads it to that length with blanks.
    void resize(std::size_t length);

    /// Bytes that the string can hold without allocating.
    std::size_t capacity() const { return m_text.capacity(); }
    /// Reserves room for `count` bytes, or shrinks to the larger of `count` and the length. Returns
    /// the new capacity, which may be larger.
    std::size_t capacity(std::size_t count);

    /// Below 0, 0 or above 0 as this string sorts before, with or after `other`, byte by byte.
    int compareTo(const RWCString& other) const { return m_text.compare(other.m_text); }
    /// Equal strings have equal hashes.
    unsigned hash() const;

    friend bool operator==(const RWCString& a, const RWCString& b) { return a.m_text == b.m_text; }
    friend bool operator!=(const RWCString& a, const RWCString& b) { return a.m_text != b.m_text; }
    friend bool operator==(const RWCString& a, const char* b) {
        return a.m_text == (b == nullptr ? "" : b);
    }
    friend bool operator!=(const RWCString& a, const char* b) { return !(a == b); }
    friend bool operator==(const char* a, const RWCString& b) { return b == a; }
    friend bool operator!=(const char* a, const RWCString& b) { return !(b == a); }

    /// The order of `compareTo`.
    friend bool operator<(const RWCString& a, const RWCString& b) { return a.m_text < b.m_text; }

private:
    std::string m_text;
};

namespace std {

/// For unordered containers.
template <>
struct hash<RWCString> {
    size_t operator()(const RWCString& text) const { return text.hash(); }
};

}  // namespace std

#endif
