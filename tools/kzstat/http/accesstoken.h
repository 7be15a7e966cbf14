#ifndef KZSTATPROGRAM_ACCESSTOKEN_H
#define KZSTATPROGRAM_ACCESSTOKEN_H

#include <string>
#include <utility>

namespace kzstatprogram {

/// What a client must know to be answered. Needs no escapes in a URL or a cookie. Compatible.
class AccessToken {
public:
    /// One that nobody can guess. Throws kzjournal::Error.
    static AccessToken Random();
    /// The first and only line of a file. Throws kzjournal::Error.
    static AccessToken FromFile(const std::string& path);

    const std::string& Text() const { return m_text; }
    /// Takes as long wherever the difference is, so that trying tells nothing of the token but its
    /// length.
    bool IsSame(const std::string& text) const;

private:
    explicit AccessToken(std::string text) : m_text(std::move(text)) {}

    std::string m_text;
};

}  // namespace kzstatprogram

#endif
