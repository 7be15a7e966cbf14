#include "findings.h"

#include <cmath>

#include "names.h"
#include "rw/cstring.h"
#include "ryp/numbertext.h"

namespace {

std::string Text(double value) {
    RWCString text;
    RyPDoubleToString(value, text, 3);
    return text.data();
}

std::string Describe(const Account& account, const char* quantity) {
    const std::string whose = account.clientId == Account::kAllClients
                                  ? "all clients"
                                  : "client " + std::to_string(account.clientId);
    return Names()[account.name].text + " of " + whose + ", " + quantity;
}

/// False for a NaN.
bool AreClose(double a, double b, double tolerance) {
    return std::fabs(a - b) <= tolerance;
}

}  // namespace

void Findings::Note(const std::string& name, const std::string& expected,
                    const std::string& found) {
    if (!m_first) m_first = Finding{name, expected, found};
}

void Findings::Expect(const char* name, double expected, double found, double tolerance) {
    if (AreClose(expected, found, tolerance)) return;
    Note(name, Text(expected), Text(found));
}

void Findings::Expect(const Account& account, const char* quantity, double expected, double found,
                      double tolerance) {
    if (AreClose(expected, found, tolerance)) return;
    Note(Describe(account, quantity), Text(expected), Text(found));
}

void Findings::ExpectWithin(const Account& account, const char* quantity, double low, double high,
                            double found) {
    if (found >= low && found <= high) return;
    Note(Describe(account, quantity), Text(low) + " to " + Text(high), Text(found));
}
