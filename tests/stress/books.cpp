#include "books.h"

void Book::Enter(double value) {
    count += 1;
    (value > 0 ? gains : losses) += value;
}

void Book::Add(const Book& other) {
    count += other.count;
    gains += other.gains;
    losses += other.losses;
}

void Books::Enter(int clientId, std::size_t name, double value) {
    m_accounts[{clientId, name}].Enter(value);
    m_accounts[{Account::kAllClients, name}].Enter(value);
    m_distributions[name].Add(value);
}

void Books::Add(const Books& other) {
    for (const auto& [account, book] : other.m_accounts) m_accounts[account].Add(book);
    for (const auto& [name, values] : other.m_distributions) m_distributions[name].Add(values);
}

Book Books::Of(const Account& account) const {
    const auto known = m_accounts.find(account);
    return known == m_accounts.end() ? Book{} : known->second;
}

double Books::CountOfAll() const {
    double count = 0;
    for (const auto& [account, book] : m_accounts)
        if (account.clientId == Account::kAllClients) count += book.count;
    return count;
}
