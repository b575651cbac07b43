// A lock that its owner may take again, and that a copy of the process made by fork() can release.
#pragma once

#include <atomic>

namespace simulated {

/// The owner is known by the address of a variable of its thread, which is the same in a copy of
/// the process. std::recursive_mutex knows it by the thread's id, which isn't.
class ReentrantLock {
public:
    ReentrantLock() = default;
    ReentrantLock(const ReentrantLock&) = delete;
    ReentrantLock& operator=(const ReentrantLock&) = delete;

    void lock() {
        if (owner_ != &thisThread_) {
            const void* owner = nullptr;
            while (!owner_.compare_exchange_strong(owner, &thisThread_)) {
                owner_.wait(owner);
                owner = nullptr;
            }
        }
        ++depth_;
    }

    void unlock() {
        if (--depth_ == 0) {
            owner_ = nullptr;
            owner_.notify_one();
        }
    }

private:
    inline static thread_local char thisThread_ = 0;
    std::atomic<const void*> owner_ = nullptr;
    unsigned depth_ = 0;
};

}  // namespace simulated
