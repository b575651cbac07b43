// The cost of detection and of a whole product update, by the number of installed products, and of
// one log record. Ten times the products may cost at most twelve times as much.
//
// The machine is the simulated one: what is measured is the library's own work and the number of
// its platform calls, not the speed of a disk. After the timings the number of calls of an update
// with 100 products is printed.
#include <benchmark/benchmark.h>

#include <cstdio>
#include <memory>

#include "builders/Product.h"
#include "common/share/Logger.h"
#include "windows/common/NorvEnvironment.h"
#include "windows/customactions/CustomActions.h"

namespace {

using simulated::Machine;

std::string digits(unsigned number, std::size_t width) {
    const std::string text = std::to_string(number);
    return std::string(width - text.size(), '0') + text;
}

/// The i-th product of the family: legacy runtimes and kits of the Zentra scheme by turns, of both
/// architectures.
family::Product familyProduct(unsigned i) {
    const unsigned bits = i % 2 == 0 ? 64 : 32;
    const unsigned number = i / 4;
    if (i % 4 < 2) {
        const std::string minor = digits(5 + number / 900, 1);
        return family::qvr("1." + minor + ".0_" + digits(100 + number % 900, 3) + "-b01", bits);
    }
    return family::qvk(digits(10 + number % 80, 2) + ".0." + digits(number, 4) + "+1", bits);
}

/// A machine on which every product is one of the family.
std::unique_ptr<Machine> makeMachine(unsigned products) {
    auto machine = std::make_unique<Machine>();
    for (unsigned i = 0; i < products; ++i) {
        family::install(*machine, familyProduct(i));
    }
    return machine;
}

MSIHANDLE openSession(Machine& machine) {
    return machine.installer.openDeferredSession(u"ProductCode=" + familyProduct(0).code);
}

void setCallCounter(benchmark::State& state, const Machine& machine) {
    state.counters["calls"] =
        static_cast<double>(machine.calls.count()) / static_cast<double>(state.iterations());
}

void detectionOfFamily(benchmark::State& state) {
    const auto products = static_cast<unsigned>(state.range(0));
    const auto machine = makeMachine(products);
    const simulated::Running running(*machine);
    constexpr unsigned kEveryTypeAndArchitecture = 0x37;
    machine->calls.clearJournal();
    for (auto iteration : state) {
        if (NorvEnvironment::detect(kEveryTypeAndArchitecture).size() != products) {
            state.SkipWithError("a product was not detected");
            return;
        }
    }
    setCallCounter(state, *machine);
}
BENCHMARK(detectionOfFamily)->Arg(100)->Arg(1000)->Arg(10000)->Unit(benchmark::kMillisecond);

void updateOfFamily(benchmark::State& state) {
    const auto machine = makeMachine(static_cast<unsigned>(state.range(0)));
    const simulated::Running running(*machine);
    const MSIHANDLE session = openSession(*machine);
    machine->calls.clearJournal();
    for (auto iteration : state) {
        if (SetLatestQvr(session) != ERROR_SUCCESS) {
            state.SkipWithError("the update failed");
            return;
        }
    }
    setCallCounter(state, *machine);
}
BENCHMARK(updateOfFamily)->Arg(100)->Arg(1000)->Arg(10000)->Unit(benchmark::kMillisecond);

void logRecord(benchmark::State& state) {
    Machine machine;
    const simulated::Running running(machine);
    LOG_TRACE("logRecord", Text() << _T("the first record makes the file"));
    machine.calls.clearJournal();
    for (auto iteration : state) {
        LOG_TRACE("logRecord", Text()
                                   << _T("Set [HKLM64\\Software\\Halvorex\\QVK\\17.0.9\\NorvHome]")
                                   << _T("=REG_SZ[C:\\Program Files\\Norv\\qvk-17]"));
    }
    setCallCounter(state, machine);
}
BENCHMARK(logRecord);

void printJournal(const char* title, const Machine& machine) {
    std::printf("\n%s: %llu platform calls\n", title,
                static_cast<unsigned long long>(machine.calls.count()));
    for (const auto& [function, count] : machine.calls.byName()) {
        std::printf("%8llu %s\n", static_cast<unsigned long long>(count), function.c_str());
    }
}

void printJournals() {
    const auto machine = makeMachine(100);
    const simulated::Running running(*machine);
    const MSIHANDLE session = openSession(*machine);
    machine->calls.clearJournal();
    SetLatestQvr(session);
    printJournal("Update with 100 products", *machine);
    machine->calls.clearJournal();
    LOG_TRACE("printJournals", Text() << _T("one record"));
    printJournal("One log record", *machine);
}

}  // namespace

int main(int argc, char** argv) {
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    printJournals();
    return 0;
}
