#ifndef KZ_STRESS_DICE_H
#define KZ_STRESS_DICE_H

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <random>

/// Which round of which run. Compatible.
struct RoundKey {
    std::uint64_t seed;
    std::uint64_t round;
};

/// Numbers the dice of a round, so that each thread decides on its own. Client threads count on
/// from the last.
enum DiceOwner : unsigned { SettingsDice, HookDice, ClockDice, PauseDice, FirstClientDice };

/// The decisions of one thread in one round. They follow from the seed, the round and the number
/// of the thread alone. Compatible: one thread at a time per object.
class Dice {
public:
    Dice(const RoundKey& key, unsigned owner) {
        std::seed_seq parts{Low(key.seed), High(key.seed), Low(key.round), High(key.round), owner};
        m_engine.seed(parts);
    }

    /// A whole number from `low` to `high`, both included.
    int Between(int low, int high) { return std::uniform_int_distribution(low, high)(m_engine); }
    bool OneIn(int n) { return Between(1, n) == 1; }

    template <class Choice, std::size_t Count>
    Choice OneOf(const Choice (&choices)[Count]) {
        return choices[Index(Count)];
    }
    /// REQUIRES: `count` is above 0.
    std::size_t Index(std::size_t count) {
        return static_cast<std::size_t>(Between(0, static_cast<int>(count) - 1));
    }

    std::chrono::microseconds UpToMilliseconds(int milliseconds) {
        return std::chrono::microseconds(Between(0, milliseconds * 1000));
    }

private:
    static std::uint32_t Low(std::uint64_t number) { return static_cast<std::uint32_t>(number); }
    static std::uint32_t High(std::uint64_t number) { return Low(number >> 32); }

    std::mt19937_64 m_engine;
};

#endif
