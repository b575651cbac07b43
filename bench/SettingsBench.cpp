// The cost of loading a configuration, by its size: time, and the most memory that is held at once.
//
// The lines have about 40 bytes each. Memory is counted at operator new, as requested; the counter
// "peak/size" is the peak of one load over the size of its text. The files lie on the simulated
// machine, whose own memory is taken before the counting starts.
#include <benchmark/benchmark.h>

#include <algorithm>
#include <cstdlib>
#include <new>
#include <string>

#include "settings/share/settings.h"
#include "simulated/machine/Machine.h"

namespace {

std::size_t heldBytes = 0;
std::size_t peakBytes = 0;

/// Space before each block for its size, which keeps the alignment of operator new.
constexpr std::size_t kHead = alignof(std::max_align_t);

}  // namespace

// Not inlined: GCC takes one without the other for a mismatch.
[[gnu::noinline]] void* operator new(std::size_t size) {
    void* block = std::malloc(size + kHead);
    if (!block) {
        throw std::bad_alloc();
    }
    *static_cast<std::size_t*>(block) = size;
    heldBytes += size;
    peakBytes = std::max(peakBytes, heldBytes);
    return static_cast<char*>(block) + kHead;
}

[[gnu::noinline]] void operator delete(void* memory) noexcept {
    if (memory) {
        void* block = static_cast<char*>(memory) - kHead;
        heldBytes -= *static_cast<std::size_t*>(block);
        std::free(block);
    }
}

void operator delete(void* memory, std::size_t) noexcept {
    operator delete(memory);
}

namespace {

constexpr std::size_t kLargestFile = 0x100000 - 1;

/// Whole lines, of no more than `size` bytes together.
std::string linesOf(std::size_t size) {
    std::string text;
    for (int number = 100000;; ++number) {
        const std::string line =
            "SOME_SETTING_" + std::to_string(number) + "=a value of 18 bytes\n";
        if (text.size() + line.size() > size) {
            return text;
        }
        text += line;
    }
}

std::string commentsOf(std::size_t size) {
    std::string text;
    while (text.size() + 40 <= size) {
        text += "# a comment of forty bytes in this file\n";
    }
    return text;
}

/// Rules that accept every key, with as many key mappings as the install configuration has.
struct Rules {
    explicit Rules(const settings_api& api) {
        settings_validator_builder* rules = api.createValidatorBuilder();
        api.allowUnknownKeys(rules, 1);
        api.buildValidator(rules, &validator);
        api.destroyValidatorBuilder(rules);
        settings_key_mapper_builder* mappings = api.createKeyMapperBuilder();
        for (int i = 0; i < 31; ++i) {
            const std::string key = "SOME_SETTING_" + std::to_string(i);
            api.addKeyMapping(mappings, key.c_str(), key.c_str(), 0);
        }
        api.buildKeyMapper(mappings, &keyMapper);
        api.destroyKeyMapperBuilder(mappings);
    }

    settings_validator* validator = nullptr;
    settings_key_mapper* keyMapper = nullptr;
};

/// Loads the text `loads` times into one context, from a file.
void load(benchmark::State& state, const std::string& text, int loads) {
    static settings_api api = [] {
        settings_api table;
        getSettingsApi(&table);
        return table;
    }();
    static const Rules rules(api);
    simulated::Machine machine;
    machine.volumes.addFile(u"C:\\bench.cfg", text);
    const simulated::Running running(machine);
    std::size_t peak = 0;
    for (auto _ : state) {
        settings_context* context = api.create();
        const std::size_t before = heldBytes;
        peakBytes = heldBytes;
        for (int i = 0; i < loads; ++i) {
            if (api.loadFile(context, "C:\\bench.cfg", rules.validator, rules.keyMapper, 1, 0) !=
                settings::kSuccess) {
                state.SkipWithError("the file doesn't load");
            }
        }
        peak = peakBytes - before;
        api.destroy(context);
    }
    state.SetComplexityN(static_cast<std::int64_t>(text.size()));
    state.SetBytesProcessed(state.iterations() * loads * static_cast<std::int64_t>(text.size()));
    state.counters["size"] = static_cast<double>(text.size());
    state.counters["peak/size"] = static_cast<double>(peak) / static_cast<double>(text.size());
}

void loadEntries(benchmark::State& state) {
    load(state, linesOf(static_cast<std::size_t>(state.range(0))), 1);
}
BENCHMARK(loadEntries)->RangeMultiplier(4)->Range(1 << 12, kLargestFile)->Complexity();

/// The second load finds every key there already.
void loadEntriesTwice(benchmark::State& state) {
    load(state, linesOf(static_cast<std::size_t>(state.range(0))), 2);
}
BENCHMARK(loadEntriesTwice)->Arg(kLargestFile);

void loadComments(benchmark::State& state) {
    load(state, commentsOf(static_cast<std::size_t>(state.range(0))), 1);
}
BENCHMARK(loadComments)->Arg(kLargestFile);

}  // namespace

BENCHMARK_MAIN();
