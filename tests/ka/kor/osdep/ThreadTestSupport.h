// Helpers for thread tests: outcomes of other threads are observed by polling with a generous
// bound, never by assuming how long something takes.
#pragma once

#include <chrono>
#include <thread>
#include <vector>

namespace ka_test {

// Polls pred every millisecond until it holds (true) or ten seconds have passed (false).
template <class Pred>
bool WaitUntil(Pred pred) {
    const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(10);
    while (!pred() && std::chrono::steady_clock::now() < end) {
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    return pred();
}

// Runs body on n threads at once and joins them.
template <class Body>
void RunOnThreads(int n, Body body) {
    std::vector<std::thread> threads;
    for (int i = 0; i < n; ++i) {
        threads.emplace_back(body);
    }
    for (auto& t : threads) {
        t.join();
    }
}

// Monotonic milliseconds since start.
inline double MillisecondsSince(std::chrono::steady_clock::time_point start) {
    return std::chrono::duration<double, std::milli>(std::chrono::steady_clock::now() - start)
        .count();
}

}  // namespace ka_test
