#include <windows.h>

#include "simulated/machine/Calls.h"

#include <cstdio>
#include <cstdlib>

#include "simulated/machine/Machine.h"

namespace simulated {

void Calls::failCall(std::uint64_t n, std::optional<std::uint32_t> status) {
    plans_.push_back({"", n, false, false, status});
}

void Calls::failCall(std::string_view function, std::uint64_t n,
                     std::optional<std::uint32_t> status) {
    plans_.push_back({std::string(function), n, false, false, status});
}

void Calls::failAll(std::string_view function, std::optional<std::uint32_t> status) {
    plans_.push_back({std::string(function), 0, true, false, status});
}

void Calls::stopAtCall(std::uint64_t n) {
    plans_.push_back({"", n, false, true, std::nullopt});
}

void Calls::clearPlans() {
    plans_.clear();
    stopped_ = false;
    faultedFunction_.clear();
}

std::uint64_t Calls::count() const {
    std::uint64_t sum = 0;
    for (const auto& [function, count] : counts_) {
        sum += count;
    }
    return sum;
}

std::uint64_t Calls::count(std::string_view function) const {
    const auto found = counts_.find(function);
    return found == counts_.end() ? 0 : found->second;
}

std::map<std::string, std::uint64_t> Calls::byName() const {
    return {counts_.begin(), counts_.end()};
}

Calls::Outcome Calls::enter(const char* function) {
    if (stopped_) {
        return {true, std::nullopt};
    }
    ++counts_.try_emplace(function).first->second;
    if (observer_) {
        observer_(function);
    }
    Outcome outcome;
    for (auto plan = plans_.begin(); plan != plans_.end();) {
        const bool concerned = plan->function.empty() || plan->function == function;
        if (!concerned || (!plan->every && --plan->after > 0)) {
            ++plan;
            continue;
        }
        outcome = {true, plan->status};
        faultedFunction_ = function;
        stopped_ = stopped_ || plan->stop;
        plan = plan->every ? plan + 1 : plans_.erase(plan);
    }
    return outcome;
}

Call::Call(const char* function)
    : lock_(Machine::current().calls.mutex_), outcome_(Machine::current().calls.enter(function)) {}

void Call::pass(std::uint32_t usual) const {
    demand(!fails(), status(usual));
}

void refuse(std::uint32_t status) {
    throw Refusal{status};
}

void demand(bool condition, std::uint32_t status) {
    if (!condition) {
        refuse(status);
    }
}

void check(std::uint32_t status) {
    demand(status == ERROR_SUCCESS, status);
}

void notSupported(const std::string& function, const std::string& what) {
    std::fprintf(stderr, "The simulated machine's %s doesn't support %s.\n", function.c_str(),
                 what.c_str());
    std::abort();
}

void requireNonNull(const char* function, const void* pointer) {
    if (pointer == nullptr) {
        notSupported(function, "a null pointer");
    }
}

void setLastError(std::uint32_t status) {
    SetLastError(status);
}

std::int32_t asResult(std::uint32_t status) {
    return HRESULT_FROM_WIN32(status);
}

}  // namespace simulated
