// GoogleTest names std::mutex and std::condition_variable, for tests of several threads alone. The
// Windows builds have Windows' own thread model, whose C++ run-time hasn't got them, and one thread.
#pragma once

#include <condition_variable>
#include <mutex>

namespace std {

class mutex {
public:
    void lock() {}
    void unlock() {}
};

class condition_variable {
public:
    void notify_all() {}
    template <class Lock, class... Rest>
    void wait(Lock&, Rest...) {}
};

}  // namespace std
