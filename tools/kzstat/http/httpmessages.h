#ifndef KZSTATPROGRAM_HTTPMESSAGES_H
#define KZSTATPROGRAM_HTTPMESSAGES_H

#include <functional>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace kzstatprogram {

/// A request of which all but a body has come. Bodies are not read. Compatible.
struct HttpRequest {
    using Pairs = std::vector<std::pair<std::string, std::string>>;

    std::string method;
    std::string path;  ///< as it was sent, without parameters
    Pairs parameters;  ///< without escapes
    Pairs fields;
    Pairs cookies;

    std::optional<std::string> Parameter(const std::string& name) const;
    std::optional<std::string> Cookie(const std::string& name) const;
    /// All fields of that name, in any case.
    std::vector<std::string> Fields(const std::string& name) const;
};

/// What a request is answered by. Compatible.
struct HttpAnswer {
    /// The next piece of a body; empty at its end. An exception breaks the answer off. Called by
    /// one thread at a time, and not before the piece before has been sent.
    using Pieces = std::function<std::string()>;

    int status = 200;
    std::string type = "text/plain; charset=utf-8";
    std::string text;  ///< the body, or its beginning
    Pieces pieces;     ///< the rest of it; empty if there is none
    /// Pieces come for as long as the client follows, each with a time of its own to be taken.
    bool isEndless = false;
    HttpRequest::Pairs fields;  ///< besides those that every answer has
};

}  // namespace kzstatprogram

#endif
