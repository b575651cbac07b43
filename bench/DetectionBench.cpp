// The cost of reading versions and product codes, by the length of the text: bad input may be long,
// and must cost no more than its length.
#include <benchmark/benchmark.h>

#include <stdexcept>

#include "common/share/NorvVersion.h"
#include "windows/common/KnownProductCodeInstalledNorvTracker.h"

namespace {

void readVersion(benchmark::State& state, const TCHAR* text) {
    for (auto _ : state) {
        const NorvVersionDetails::Base version{tstring(text)};
        benchmark::DoNotOptimize(version.tag());
    }
}
BENCHMARK_CAPTURE(readVersion, legacy, _T("1.8.0_451-b13"));
BENCHMARK_CAPTURE(readVersion, Zentra, _T("21.0.12+7-LTS"));

/// A text of many repeated units after the head.
void readLongVersion(benchmark::State& state, const TCHAR* head, const TCHAR* unit) {
    tstring text = head;
    while (text.size() < static_cast<std::size_t>(state.range(0))) {
        text += unit;
    }
    for (auto _ : state) {
        try {
            const NorvVersionDetails::Base version{text};
            benchmark::DoNotOptimize(version.tag());
        } catch (const std::runtime_error&) {
        }
    }
    state.SetComplexityN(state.range(0));
}
BENCHMARK_CAPTURE(readLongVersion, tags, _T("1.8.0_45"), _T("-b0"))
    ->RangeMultiplier(8)
    ->Range(64, 1 << 18)
    ->Complexity();
BENCHMARK_CAPTURE(readLongVersion, dots, _T("11"), _T(".1"))
    ->RangeMultiplier(8)
    ->Range(64, 1 << 18)
    ->Complexity();

void printVersion(benchmark::State& state) {
    const NorvVersionDetails::Base version{tstring(_T("11.0.2.1.3.4+9"))};
    for (auto _ : state) {
        benchmark::DoNotOptimize(NorvVersionDetails::toString(version));
    }
}
BENCHMARK(printVersion);

/// The code of another product is compared with every template.
void matchProductCode(benchmark::State& state, const TCHAR* text) {
    const tstring code = text;
    tstring version;
    for (auto _ : state) {
        benchmark::DoNotOptimize(KnownProductCodeInstalledNorvTracker::match(code, version));
    }
}
BENCHMARK_CAPTURE(matchProductCode, first, _T("{7148F0A8-6813-11D6-A77B-00B0D0142070}"));
BENCHMARK_CAPTURE(matchProductCode, last, _T("{1111706F-666A-4037-7777-222106464D10}"));
BENCHMARK_CAPTURE(matchProductCode, none, _T("{9A25302D-30C0-39D9-BD6F-21E6EC160475}"));

}  // namespace

BENCHMARK_MAIN();
