#ifndef KZ_TESTS_CONCURRENTLY_H
#define KZ_TESTS_CONCURRENTLY_H

#include <cstddef>
#include <functional>
#include <latch>
#include <thread>
#include <vector>

/// Runs each operation on a thread of its own, all set off at the same moment, and returns when
/// the last one has ended.
inline void Concurrently(const std::vector<std::function<void()>>& operations) {
    std::latch allAreReady(static_cast<std::ptrdiff_t>(operations.size()));
    std::vector<std::jthread> threads;
    threads.reserve(operations.size());
    for (const auto& operation : operations) {
        threads.emplace_back([&allAreReady, &operation] {
            allAreReady.arrive_and_wait();
            operation();
        });
    }
}

/// The same with `count` threads that all run `operation`.
inline void ConcurrentlyTimes(std::size_t count, const std::function<void()>& operation) {
    Concurrently(std::vector<std::function<void()>>(count, operation));
}

#endif
