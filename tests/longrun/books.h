#ifndef KZ_TESTS_LONGRUN_BOOKS_H
#define KZ_TESTS_LONGRUN_BOOKS_H

#include <string>
#include <vector>

#include "kzstatmessage.h"
#include "violations.h"

/// What was reported so far, by name, kept apart from the library. The values are whole numbers
/// below a thousand, so up to nine billion of them per name every sum is exact, in any order. Owned
/// by the thread that made it.
class Books {
public:
    explicit Books(int names);

    const std::string& NameOf(int index) const { return m_names[Position(index)]; }
    void Enter(int index, double value);

    /// Holds the totals of `message` against the books, to the last unit.
    void Compare(const CKZStatMessage& message, Violations& violations) const;

private:
    struct Account {
        double minimum = 0;
        double maximum = 0;
        double count = 0;
        double sum = 0;
        double sumSqr = 0;
    };

    static std::size_t Position(int index) { return static_cast<std::size_t>(index); }

    std::vector<std::string> m_names;
    std::vector<Account> m_accounts;
};

#endif
