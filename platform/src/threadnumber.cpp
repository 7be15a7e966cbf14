#include "ryp/threadnumber.h"

#include <array>
#include <atomic>
#include <cstddef>
#include <cstdint>

namespace {

/// The numbers that living threads have, as bits. Without a lock, which a process that forks might
/// find taken for ever, and without a destructor, since threads may end after the static objects.
/// Safe for concurrent use.
class ThreadNumbers {
public:
    /// Where none is free, one that another thread has.
    unsigned Take() {
        for (std::size_t word = 0; word < m_taken.size(); ++word) {
            std::uint32_t taken = m_taken[word].load(std::memory_order_relaxed);
            while (~taken != 0) {
                const std::uint32_t free = ~taken & (taken + 1);
                if (m_taken[word].compare_exchange_weak(taken, taken | free,
                                                        std::memory_order_relaxed))
                    return NumberOf(word, free);
            }
        }
        return kMaxNumbers - 1;
    }

    void GiveBack(unsigned number) {
        m_taken[number / kBits].fetch_and(~(std::uint32_t{1} << number % kBits),
                                          std::memory_order_relaxed);
    }

private:
    static constexpr unsigned kBits = 32;
    static constexpr unsigned kMaxNumbers = 8192;

    static unsigned NumberOf(std::size_t word, std::uint32_t bit) {
        return static_cast<unsigned>(word) * kBits + static_cast<unsigned>(__builtin_ctz(bit));
    }

    std::array<std::atomic<std::uint32_t>, kMaxNumbers / kBits> m_taken{};
};

constinit ThreadNumbers numbers;

/// Gives the number back when the thread ends. Owned by its thread.
class NumberOfThread {
public:
    NumberOfThread() : m_number(numbers.Take()) {}
    ~NumberOfThread() { numbers.GiveBack(m_number); }
    NumberOfThread(const NumberOfThread&) = delete;
    NumberOfThread& operator=(const NumberOfThread&) = delete;

    unsigned Get() const { return m_number; }

private:
    const unsigned m_number;
};

constexpr unsigned kNotAsked = ~0U;

// Beside the object that gives it back, since this may still be read when that is destroyed.
constinit thread_local unsigned numberOfThisThread = kNotAsked;

unsigned AskFirst() {
    thread_local const NumberOfThread number;
    return numberOfThisThread = number.Get();
}

}  // namespace

unsigned RyPThreadNumber() {
    return numberOfThisThread != kNotAsked ? numberOfThisThread : AskFirst();
}
