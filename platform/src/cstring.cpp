#include "rw/cstring.h"

#include <algorithm>

#include "ryp/texthash.h"

RWCString& RWCString::append(const char* text) {
    m_text.append(text == nullptr ? "" : text);
    return *this;
}

RWCString& RWCString::append(const char* bytes, std::size_t length) {
    m_text.append(bytes, length);
    return *this;
}

RWCString& RWCString::append(const RWCString& other) {
    m_text.append(other.m_text);
    return *this;
}

RWCString& RWCString::append(char byte) {
    m_text.push_back(byte);
    return *this;
}

RWCString& RWCString::prepend(const char* text) {
    m_text.insert(0, text == nullptr ? "" : text);
    return *this;
}

RWCString& RWCString::prepend(const char* bytes, std::size_t length) {
    m_text.insert(0, bytes, length);
    return *this;
}

RWCString& RWCString::prepend(const RWCString& other) {
    m_text.insert(0, other.m_text);
    return *this;
}

RWCString& RWCString::remove(std::size_t position) {
    return remove(position, std::string::npos);
}

RWCString& RWCString::remove(std::size_t position, std::size_t count) {
    m_text.erase(std::min(position, m_text.size()), count);
    return *this;
}

void RWCString::resize(std::size_t length) {
    m_text.resize(length, ' ');
}

std::size_t RWCString::capacity(std::size_t count) {
    if (count < m_text.capacity()) m_text.shrink_to_fit();
    if (count > m_text.capacity()) m_text.reserve(count);
    return m_text.capacity();
}

unsigned RWCString::hash() const {
    return RyPTextHash::Of(m_text);
}
