#pragma once

#include <atomic>
#include <thread>

namespace orrery::prove {

/// Other COM work of a host, done as long as the object lives: one thread in a single-threaded
/// apartment, which makes objects and serves calls, and one in the multithreaded apartment, which
/// calls into the first.
class Company {
public:
    Company();
    ~Company();
    Company(const Company&) = delete;
    Company& operator=(const Company&) = delete;

    int rounds() const noexcept { return rounds_; }      ///< calls from one apartment to the other
    int failures() const noexcept { return failures_; }  ///< COM calls that did not succeed

private:
    void Serve();
    void Call();
    void Expect(bool succeeded) { failures_ += succeeded ? 0 : 1; }

    std::atomic<bool> ending_{false}, clientEnded_{false};
    std::atomic<int> rounds_{0}, failures_{0};
    std::atomic<void*> offered_{nullptr};  ///< an IStream that holds a marshalled interface
    std::thread server_, client_;
};

}  // namespace orrery::prove
