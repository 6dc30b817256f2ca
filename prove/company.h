#pragma once

#include <array>
#include <atomic>
#include <thread>

namespace orrery::prove {

/// Other COM work of a host, done as long as the object lives by a thread in each kind of apartment,
/// which makes objects and uses one that it keeps.
class Company {
public:
    Company();
    ~Company();
    Company(const Company&) = delete;
    Company& operator=(const Company&) = delete;

    int rounds() const noexcept { return rounds_; }
    int failures() const noexcept { return failures_; }  ///< COM calls that did not succeed

private:
    void Work(unsigned long apartment);

    std::atomic<bool> ending_{false};
    std::atomic<int> rounds_{0}, failures_{0};
    std::array<std::thread, 2> threads_;
};

}  // namespace orrery::prove
