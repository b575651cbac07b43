// The call interceptor of every simulated function: it counts the call, keeps the journal, and
// decides whether the function has to fail.
#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <mutex>
#include <new>
#include <optional>
#include <string>
#include <string_view>
#include <type_traits>
#include <vector>

#include "simulated/machine/ReentrantLock.h"

namespace simulated {

/// The calls made on one machine, and the faults planned for those to come.
///
/// Numbers count from 1. A plan holds until `clearPlans` or until it has been carried out.
class Calls {
public:
    /// Makes the n-th call from now fail, of any function. `status` is what it reports; without one
    /// the function chooses the status that it most often fails with.
    ///
    /// A function that can't fail on Windows (GetTickCount, GetLocalTime, …) is counted and goes
    /// on.
    void failCall(std::uint64_t n, std::optional<std::uint32_t> status = std::nullopt);

    /// Makes the n-th call of one function from now fail.
    void failCall(std::string_view function, std::uint64_t n,
                  std::optional<std::uint32_t> status = std::nullopt);

    /// Makes every call of one function fail from now on.
    void failAll(std::string_view function, std::optional<std::uint32_t> status = std::nullopt);

    /// Ends the process at the n-th call from now, as a kill or a power cut would: neither that
    /// call nor any later one changes the machine, whatever the unwinding code still asks of it.
    void stopAtCall(std::uint64_t n);

    /// Forgets every plan, and lets a stopped machine take calls in again.
    void clearPlans();

    /// Whether a planned stop has come about.
    bool stopped() const { return stopped_; }

    /// The function that a plan has made fail, or at which the process was stopped; empty if none.
    const std::string& faultedFunction() const { return faultedFunction_; }

    /// The number of calls since the last `clearJournal`: of all functions, or of one.
    std::uint64_t count() const;
    std::uint64_t count(std::string_view function) const;

    /// The calls since the last `clearJournal`, by name.
    std::map<std::string, std::uint64_t> byName() const;

    /// Resets the counts. Plans go on counting from where they were made.
    void clearJournal() { counts_.clear(); }

    /// Calls the observer with the function's name before each call from now on, until another is
    /// set or an empty one. It may plan a fault for the call that is about to be made.
    using Observer = std::function<void(const std::string& function)>;
    void observe(Observer observer) { observer_ = std::move(observer); }

private:
    friend class Call;

    struct Plan {
        std::string function;  // empty: any
        std::uint64_t after;   // calls still to pass; 0 when every call fails
        bool every;
        bool stop;
        std::optional<std::uint32_t> status;
    };

    struct Outcome {
        bool fails = false;
        std::optional<std::uint32_t> status;
    };

    Outcome enter(const char* function);

    ReentrantLock mutex_;
    std::map<std::string, std::uint64_t, std::less<>> counts_;
    std::vector<Plan> plans_;
    Observer observer_;
    std::string faultedFunction_;
    bool stopped_ = false;
};

/// The interceptor itself, for functions that none of the forms below suits. It holds the machine's
/// lock, so that threads of a test may call at once.
class Call {
public:
    explicit Call(const char* function);
    Call(const Call&) = delete;
    Call& operator=(const Call&) = delete;

    /// Whether the function has to report failure and leave the machine alone.
    bool fails() const { return outcome_.fails; }

    /// The status to fail with: the planned one, else the one that is usual for the function.
    std::uint32_t status(std::uint32_t usual) const { return outcome_.status.value_or(usual); }

    /// Ends the function by refusing if a failure is planned.
    void pass(std::uint32_t usual) const;

private:
    std::unique_lock<ReentrantLock> lock_;
    Calls::Outcome outcome_;
};

/// Thrown by the work of a call to fail with a status; results stored before that stay.
struct Refusal {
    std::uint32_t status;
};
[[noreturn]] void refuse(std::uint32_t status);
/// Refuses with the status unless the condition holds.
void demand(bool condition, std::uint32_t status);
/// Refuses with the status unless it is 0.
void check(std::uint32_t status);

/// Ends the program with a message: the function was asked for something that Windows has and the
/// machine hasn't. To go on would be to guess.
[[noreturn]] void notSupported(const std::string& function, const std::string& what);

/// Ends the program with a message for a null pointer, which would be an access violation on
/// Windows.
void requireNonNull(const char* function, const void* pointer);

/// Returns what a pointer of the caller, which must not be null, points to.
template <class T>
T& required(const char* function, T* pointer) {
    requireNonNull(function, pointer);
    return *pointer;
}

void setLastError(std::uint32_t status);

/// What a call fails with when the machine itself can't allocate, ERROR_NOT_ENOUGH_MEMORY.
constexpr std::uint32_t kNoMemory = 8;

/// Runs work; returns the status that it was refused with, or 0.
template <class Work>
std::uint32_t statusOf(Work work) {
    try {
        work();
        return 0;
    } catch (const Refusal& refusal) {
        return refusal.status;
    } catch (const std::bad_alloc&) {
        return kNoMemory;
    }
}

/// A call that returns its status and leaves the last error unchanged: LSTATUS, the UINT of the
/// installer. `usual` is the status of a planned failure.
template <class Work>
std::uint32_t statusCall(const char* function, std::uint32_t usual, Work work) {
    return statusOf([&] {
        const Call entered(function);
        entered.pass(usual);
        work();
    });
}

/// A call that returns BOOL, or a value one of which means failure:
///
///     return call("SetEndOfFile", ERROR_DISK_FULL, [&] {
///         OpenFile& file = openFile(handle);
///         demand(file.mayWrite(), ERROR_ACCESS_DENIED);
///         file.resize(file.position());
///     });
///
/// A refusal becomes the thread's last error. Success resets it: it is 0 from the start of the work
/// on, so that a caller who reads it too late notices. Work that returns nothing makes a BOOL; any
/// other result is returned. `failed` is what the function returns when it fails.
template <class Result, class Work>
Result call(const char* function, std::uint32_t usual, Result failed, Work work) {
    Result result = failed;
    const std::uint32_t status = statusCall(function, usual, [&] {
        setLastError(0);
        result = work();
    });
    if (status != 0) {
        setLastError(status);
    }
    return result;
}
template <class Work>
auto call(const char* function, std::uint32_t usual, Work work) {
    using Result = decltype(work());
    if constexpr (std::is_void_v<Result>) {
        return call(function, usual, 0, [&] {
            work();
            return 1;
        });
    } else {
        return call(function, usual, Result(), work);
    }
}

/// A call that returns an HRESULT, which refusals name; a planned status of Windows becomes one.
/// Work that returns nothing makes S_OK.
std::int32_t asResult(std::uint32_t status);
template <class Work>
std::int32_t resultCall(const char* function, std::int32_t usual, Work work) {
    std::int32_t result = 0;
    const std::uint32_t status = statusCall(function, static_cast<std::uint32_t>(usual), [&] {
        if constexpr (std::is_void_v<decltype(work())>) {
            work();
        } else {
            result = work();
        }
    });
    return status == 0 ? result : asResult(status);
}

/// A call that can't fail on Windows: it is counted, goes on, and leaves the last error alone.
template <class Work>
auto sureCall(const char* function, Work work) {
    const Call entered(function);
    return work();
}

}  // namespace simulated
