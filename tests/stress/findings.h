#ifndef KZ_STRESS_FINDINGS_H
#define KZ_STRESS_FINDINGS_H

#include <optional>
#include <string>

#include "books.h"

/// One thing that is not as it should be. Compatible.
struct Finding {
    std::string name;
    std::string expected;
    std::string found;
};

/// Keeps the first finding; what follows is mostly its consequence. Compatible: one thread at a
/// time per object.
class Findings {
public:
    void Note(const std::string& name, const std::string& expected, const std::string& found);

    /// Notes a `found` that is further than `tolerance` away from `expected`.
    void Expect(const char* name, double expected, double found, double tolerance = 0);
    void Expect(const Account& account, const char* quantity, double expected, double found,
                double tolerance = 0);
    void ExpectWithin(const Account& account, const char* quantity, double low, double high,
                      double found);

    const std::optional<Finding>& First() const { return m_first; }

private:
    std::optional<Finding> m_first;
};

#endif
