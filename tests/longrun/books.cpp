#include "books.h"

#include <algorithm>

Books::Books(int names) : m_accounts(Position(names)) {
    for (int i = 0; i < names; ++i) m_names.push_back("request." + std::to_string(i));
}

void Books::Enter(int index, double value) {
    Account& account = m_accounts[Position(index)];
    account.minimum = account.count == 0 ? value : std::min(account.minimum, value);
    account.maximum = account.count == 0 ? value : std::max(account.maximum, value);
    account.count += 1;
    account.sum += value;
    account.sumSqr += value * value;
}

void Books::Compare(const CKZStatMessage& message, Violations& violations) const {
    const int slice = message.GetSliceId();
    std::size_t used = 0;
    for (std::size_t i = 0; i < m_accounts.size(); ++i) {
        const Account& account = m_accounts[i];
        if (account.count == 0) continue;
        ++used;
        const CKZStatMessageRecord* const record = message.FindRecord(m_names[i].c_str());
        if (record == nullptr) {
            violations.Add(slice, "no record of " + m_names[i]);
            continue;
        }
        const auto expect = [&](const char* what, double found, double expected) {
            if (found != expected)
                violations.ExpectEqual(slice, (what + (" of " + m_names[i])).c_str(), found,
                                       expected);
        };
        expect("minimum", record->totals.minimum, account.minimum);
        expect("maximum", record->totals.maximum, account.maximum);
        expect("count", record->totals.count, account.count);
        expect("sum", record->totals.sum, account.sum);
        expect("sum of squares", record->totals.sumSqr, account.sumSqr);
    }
    violations.ExpectEqual(slice, "number of records",
                           static_cast<double>(message.GetRecords().size()),
                           static_cast<double>(used));
}
