// The cost of a whole product update, by the number of products that the installer knows, and of
// one log record.
//
// The machine is the simulated one: what is measured is the library's own work and the number of
// its platform calls, not the speed of a disk. After the timings the journal of an update with 100
// products is printed.
#include <benchmark/benchmark.h>

#include <cstdio>
#include <memory>

#include "common/share/Logger.h"
#include "support/Products.h"
#include "windows/customactions/CustomActions.h"

namespace {

using simulated::Machine;

std::u16string digits(unsigned number, std::size_t width) {
    std::u16string text;
    for (std::size_t i = 0; i < width; ++i, number /= 10) {
        text.insert(text.begin(), static_cast<char16_t>(u'0' + number % 10));
    }
    return text;
}

/// One of ours: legacy runtimes and kits of the Zentra scheme by turns, of both architectures.
products::Product ourProduct(unsigned i) {
    const unsigned bits = i % 2 == 0 ? 64 : 32;
    if (i % 4 < 2) {
        return products::qvr(u"1.8.0_" + digits(i + 101, 3) + u"-b01", bits);
    }
    return products::qvk(digits(10 + i % 80, 2) + u".0." + digits(i + 101, 3) + u"+1", bits);
}

void addStrangers(Machine& machine, unsigned first, unsigned count) {
    for (unsigned i = first; i < first + count; ++i) {
        machine.installer.addProduct({u"{5C0FFEE0-0000-4000-8000-0000" + digits(i, 8) + u"}",
                                      {{u"ProductName", u"Something else"}}});
    }
}

/// A tenth of the products are ours, spread over the installer's list.
std::unique_ptr<Machine> makeMachine(unsigned products) {
    auto machine = std::make_unique<Machine>();
    for (unsigned i = 0; i < products / 10; ++i) {
        addStrangers(*machine, i * 9, 9);
        products::install(*machine, ourProduct(i));
    }
    return machine;
}

MSIHANDLE openSession(Machine& machine) {
    return machine.installer.openDeferredSession(u"ProductCode=" + ourProduct(0).code);
}

void updateOfProducts(benchmark::State& state) {
    const auto machine = makeMachine(static_cast<unsigned>(state.range(0)));
    const simulated::Running running(*machine);
    const MSIHANDLE session = openSession(*machine);
    if (SetLatestQvr(session) != ERROR_SUCCESS) {
        state.SkipWithError("the update failed");
        return;
    }
    machine->calls.clearJournal();
    for (auto iteration : state) {
        benchmark::DoNotOptimize(SetLatestQvr(session));
    }
    state.counters["calls"] =
        static_cast<double>(machine->calls.count()) / static_cast<double>(state.iterations());
}
BENCHMARK(updateOfProducts)->Arg(10)->Arg(100)->Arg(1000)->Unit(benchmark::kMillisecond);

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
    state.counters["calls"] =
        static_cast<double>(machine.calls.count()) / static_cast<double>(state.iterations());
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
