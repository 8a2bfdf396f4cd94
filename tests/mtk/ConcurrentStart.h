// Starts `threads` threads that all call `body` (with their index) at once, as near as the
// scheduler allows, and waits for them: what concurrent first calls of a lazily bound function
// look like.
#pragma once

#include <functional>
#include <future>
#include <thread>
#include <vector>

namespace mtktest {

inline void runConcurrently(int threads, const std::function<void(int)>& body) {
    std::promise<void> start;
    const std::shared_future<void> started = start.get_future().share();
    std::vector<std::thread> running;
    for (int i = 0; i < threads; ++i) {
        running.emplace_back([&body, started, i] {
            started.wait();
            body(i);
        });
    }
    start.set_value();
    for (std::thread& thread : running)
        thread.join();
}

}  // namespace mtktest
