#ifndef KZ_TESTS_LONGRUN_VIOLATIONS_H
#define KZ_TESTS_LONGRUN_VIOLATIONS_H

#include <iomanip>
#include <iostream>
#include <limits>
#include <sstream>
#include <string>

/// Prints one line for each thing that is not as it should be, and counts them. Owned by the
/// thread that made it.
class Violations {
public:
    void Add(int slice, const std::string& text) {
        ++m_count;
        std::cout << "violation: slice " << slice << ": " << text << std::endl;
    }

    /// Adds a violation unless the two are equal.
    void ExpectEqual(int slice, const char* what, double found, double expected) {
        if (found == expected) return;
        std::ostringstream text;
        text << std::setprecision(std::numeric_limits<double>::max_digits10) << what << " is "
             << found << ", not " << expected;
        Add(slice, text.str());
    }

    int Count() const { return m_count; }

private:
    int m_count = 0;
};

#endif
