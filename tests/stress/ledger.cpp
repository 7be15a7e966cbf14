#include "ledger.h"

#include "names.h"

namespace {

// A message rounds a sum to three decimals, and fractions add up differently in another order.
constexpr double kRoundingPerSlice = 0.001;

}  // namespace

double Ledger::ToleranceOf(const Account& account, const Entry& entry) {
    return Names()[account.name].isTimer ? kRoundingPerSlice * (entry.slices + 1) : 0;
}

void Ledger::Enter(const Account& account, const Amount& lasts, const Amount& totals,
                   Findings& findings) {
    Entry& entry = m_entries[account];
    entry.lasts.count += lasts.count;
    entry.lasts.sum += lasts.sum;
    entry.totals = totals;
    entry.slices += 1;
    findings.Expect(account, "count of the slices against the total", totals.count,
                    entry.lasts.count);
    findings.Expect(account, "sum of the slices against the total", totals.sum, entry.lasts.sum,
                    ToleranceOf(account, entry));
}

Ledger::Entry Ledger::Of(const Account& account) const {
    const auto known = m_entries.find(account);
    return known == m_entries.end() ? Entry{} : known->second;
}

void Ledger::CheckThatClientsAddUp(Findings& findings) const {
    std::map<std::size_t, Amount> ofClients;
    for (const auto& [account, entry] : m_entries) {
        if (account.clientId == Account::kAllClients) continue;
        Amount& amount = ofClients[account.name];
        amount.count += entry.totals.count;
        amount.sum += entry.totals.sum;
    }
    for (std::size_t name = 0; name < Names().size(); ++name) {
        const Account all{Account::kAllClients, name};
        const Entry entry = Of(all);
        findings.Expect(all, "count against the clients", ofClients[name].count,
                        entry.totals.count);
        findings.Expect(all, "sum against the clients", ofClients[name].sum, entry.totals.sum,
                        ToleranceOf(all, entry));
    }
}

void Ledger::CheckAccount(const Account& account, const Book& book, Findings& findings) const {
    const Entry entry = Of(account);
    const double tolerance = ToleranceOf(account, entry);
    findings.Expect(account, "count of the slices", book.count, entry.lasts.count);
    findings.Expect(account, "count of the run", book.count, entry.totals.count);
    findings.Expect(account, "sum of the slices", book.Sum(), entry.lasts.sum, tolerance);
    findings.Expect(account, "sum of the run", book.Sum(), entry.totals.sum, tolerance);
}

void Ledger::CheckAgainst(const Books& books, Findings& findings) const {
    for (const auto& [account, book] : books.GetAccounts()) CheckAccount(account, book, findings);
    for (const auto& [account, entry] : m_entries)
        CheckAccount(account, books.Of(account), findings);
}

void Ledger::CheckForNoMoreThan(const Books& books, Findings& findings) const {
    for (const auto& [account, entry] : m_entries) {
        const Book book = books.Of(account);
        const double tolerance = ToleranceOf(account, entry);
        findings.ExpectWithin(account, "count of the run", 0, book.count, entry.totals.count);
        findings.ExpectWithin(account, "sum of the run", book.losses - tolerance,
                              book.gains + tolerance, entry.totals.sum);
    }
}
