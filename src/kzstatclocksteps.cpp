#include "kzstatclocksteps.h"

#include <chrono>
#include <cmath>

#include "ryp/truncate.h"

namespace {

constexpr double kLeastStep = 0.1;  // seconds
constexpr std::chrono::milliseconds kMaxInterruption{10};

/// Text of a span to a tenth of a second, in any locale.
std::string SpanText(double seconds) {
    const auto tenths = RyPTruncate<long long>(seconds * 10 + 0.5);
    std::string text = std::to_string(tenths / 10);
    if (tenths % 10 > 0) text.append(".").append(std::to_string(tenths % 10));
    return text + " s";
}

}  // namespace

std::optional<double> CKZStatClockSteps::LeadOfSystemClock() {
    using Seconds = std::chrono::duration<double>;
    const auto before = std::chrono::steady_clock::now();
    const Seconds system = std::chrono::system_clock::now().time_since_epoch();
    if (std::chrono::steady_clock::now() - before > kMaxInterruption) return std::nullopt;
    return (system - Seconds(before.time_since_epoch())).count();
}

std::string CKZStatClockSteps::TakeNote() {
    const std::optional<double> lead = m_lead();
    if (!lead) return {};
    const double step = m_former ? *lead - *m_former : 0;
    m_former = lead;
    if (std::abs(step) < kLeastStep) return {};
    const std::string span = " by " + SpanText(std::abs(step));
    if (step < 0) return "the system clock was set back" + span;
    return "the system clock was set forward" + span + ", or the machine slept";
}
