// The gate that every simulated function passes: it counts the call, keeps the journal, and tells
// the function when it has to fail.
#pragma once

#include <cstdint>
#include <map>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace simulated {

/// The calls made on one machine, and the faults planned for those to come.
///
/// Numbers count from 1. A plan holds until `clearPlans` or until it has been carried out.
class Calls {
public:
    /// Makes the n-th call from now fail, whatever it is. `status` is what it reports; without one
    /// the function chooses the status that it most often fails with.
    ///
    /// A function that can't fail on Windows (GetTickCount, GetLocalTime, …) is counted and goes on.
    void failCall(std::uint64_t n, std::optional<std::uint32_t> status = std::nullopt);

    /// Makes the n-th call of one function from now fail.
    void failCall(std::string_view function, std::uint64_t n,
                  std::optional<std::uint32_t> status = std::nullopt);

    /// Makes every call of one function fail from now on.
    void failAll(std::string_view function, std::optional<std::uint32_t> status = std::nullopt);

    /// Ends the process at the n-th call from now, as a kill or a power cut would: neither that call
    /// nor any later one changes the machine, whatever the unwinding code still asks of it.
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

    /// Starts counting anew. Plans go on counting from where they were made.
    void clearJournal();

    /// Keeps the names of the calls in their order from now on, or stops doing so.
    void keepOrder(bool keep) { keepOrder_ = keep; }
    const std::vector<std::string>& order() const { return order_; }

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

    std::recursive_mutex mutex_;
    std::map<std::string, std::uint64_t, std::less<>> counts_;
    std::vector<Plan> plans_;
    std::vector<std::string> order_;
    std::string faultedFunction_;
    bool keepOrder_ = false;
    bool stopped_ = false;
};

/// One call of a simulated function, made first thing in its body and living to its end. It holds
/// the machine's lock, so that threads of a test may call at once.
///
/// The form of every simulated function is
///
///     Call call("DeleteFileW");
///     if (call.fails()) {
///         return failWith(call.status(ERROR_ACCESS_DENIED));
///     }
class Call {
public:
    explicit Call(const char* function);
    Call(const Call&) = delete;
    Call& operator=(const Call&) = delete;

    /// Whether the function has to report failure and leave the machine alone.
    bool fails() const { return outcome_.fails; }

    /// The status to fail with: the planned one, else the one that is usual for the function.
    std::uint32_t status(std::uint32_t usual) const { return outcome_.status.value_or(usual); }

private:
    std::unique_lock<std::recursive_mutex> lock_;
    Calls::Outcome outcome_;
};

/// Sets the thread's last error and gives FALSE: the way out of a failing function.
int failWith(std::uint32_t status);

}  // namespace simulated
