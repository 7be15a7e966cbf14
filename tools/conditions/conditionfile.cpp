#include "conditions/conditionfile.h"

#include <cerrno>
#include <cstring>
#include <fstream>
#include <sstream>

#include "kzjournalerror.h"

namespace kzconditions {
namespace {

constexpr std::size_t kMaxFileBytes = 1 << 20;

/// At most one byte more than a file may have. A pipe has no size that could be asked for.
std::string ReadFile(const std::string& path) {
    std::ifstream file(path, std::ios::binary);
    std::string text(kMaxFileBytes + 1, '\0');
    // A folder can be opened, but not read.
    if (file) file.read(text.data(), static_cast<std::streamsize>(text.size()));
    if (file.bad() || !(file || file.eof()))
        throw kzjournal::Error("cannot read " + path + ": " + std::strerror(errno));
    text.resize(static_cast<std::size_t>(file.gcount()));
    if (text.size() > kMaxFileBytes)
        throw kzjournal::Error(path + " has more than " + std::to_string(kMaxFileBytes) + " bytes");
    return text;
}

bool HasCondition(const std::string& line) {
    const std::size_t begin = line.find_first_not_of(" \t\r");
    return begin != std::string::npos && line[begin] != '#';
}

}  // namespace

std::vector<Condition> ReadConditions(const std::string& path) {
    std::istringstream lines(ReadFile(path));
    std::vector<Condition> conditions;
    int number = 0;
    for (std::string line; std::getline(lines, line);) {
        ++number;
        if (!HasCondition(line)) continue;
        try {
            conditions.push_back(ConditionOf(line));
        } catch (const kzjournal::Error& error) {
            throw kzjournal::Error(path + ", line " + std::to_string(number) + ": " + error.what());
        }
    }
    // Nobody has a run judged by nothing: the file is the wrong one, or was cut.
    if (conditions.empty()) throw kzjournal::Error(path + " has no condition");
    return conditions;
}

}  // namespace kzconditions
