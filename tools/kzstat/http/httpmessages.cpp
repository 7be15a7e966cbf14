#include "http/httpmessages.h"

#include <strings.h>

#include <algorithm>

namespace kzstatprogram {
namespace {

std::optional<std::string> ValueIn(const HttpRequest::Pairs& pairs, const std::string& name) {
    const auto found = std::find_if(pairs.begin(), pairs.end(),
                                    [&](const auto& pair) { return pair.first == name; });
    return found == pairs.end() ? std::nullopt : std::optional(found->second);
}

}  // namespace

std::optional<std::string> HttpRequest::Parameter(const std::string& name) const {
    return ValueIn(parameters, name);
}

std::optional<std::string> HttpRequest::Cookie(const std::string& name) const {
    return ValueIn(cookies, name);
}

std::vector<std::string> HttpRequest::Fields(const std::string& name) const {
    std::vector<std::string> values;
    for (const auto& [key, value] : fields)
        if (strcasecmp(key.c_str(), name.c_str()) == 0) values.push_back(value);
    return values;
}

}  // namespace kzstatprogram
