#ifndef KZ_TESTS_MESSAGE_H
#define KZ_TESTS_MESSAGE_H

#include <algorithm>
#include <stdexcept>
#include <string>
#include <vector>

#include "rw/cstring.h"

inline constexpr char kSeparator = '\x01';

/// `text` with '|' for the separator byte, so that expectations read well.
inline std::string Readable(const RWCString& text) {
    std::string readable(text.data(), text.length());
    std::replace(readable.begin(), readable.end(), kSeparator, '|');
    return readable;
}

/// One record of a message, in the order of its fields.
struct Record {
    std::string name;
    std::string type;
    double minimum, maximum, count, sum, sumSqr, average;
    double lastsMinimum, lastsMaximum, lastsCount, lastsSum, lastsSumSqr, lastsAverage;
};

/// A message taken apart. Throws where the text is no whole message.
struct Message {
    std::string generator;
    double sliceLength, elapsed;
    int sliceId;
    std::vector<Record> records;

    explicit Message(const RWCString& text) {
        std::vector<std::string> fields = Split(Readable(text));
        std::size_t at = 0;
        const auto word = [&] {
            if (at == fields.size()) throw std::runtime_error("message ends early");
            return fields[at++];
        };
        const auto number = [&] { return std::stod(word()); };
        generator = word();
        sliceLength = number();
        elapsed = number();
        sliceId = std::stoi(word());
        while (at < fields.size()) {
            // Braces evaluate from left to right.
            records.push_back(Record{word(), word(), number(), number(), number(), number(),
                                     number(), number(), number(), number(), number(), number(),
                                     number(), number()});
        }
    }

    /// Null for a name that is not in the message.
    const Record* Find(const std::string& name) const {
        for (const Record& record : records)
            if (record.name == name) return &record;
        return nullptr;
    }

private:
    static std::vector<std::string> Split(const std::string& text) {
        std::vector<std::string> fields;
        std::size_t begin = 0;
        for (std::size_t end; (end = text.find('|', begin)) != std::string::npos; begin = end + 1)
            fields.push_back(text.substr(begin, end - begin));
        if (begin != text.size()) throw std::runtime_error("last field has no end");
        return fields;
    }
};

#endif
