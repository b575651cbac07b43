// Eight threads open, find, read and close the same and different archives, under the thread
// sanitizer. The first ZIP_Open of the process comes before them, alone, as the library asks.
#include <gtest/gtest.h>

#include <atomic>
#include <cstdlib>
#include <random>
#include <string>
#include <thread>
#include <vector>

#include "simulated/machine/Machine.h"
#include "support/Archive.h"
#include "zip/Entries.h"
#include "zip/zip.h"

namespace {

constexpr int kThreads = 8;
constexpr int kOperations = 1'000'000;
constexpr int kArchives = 3;
constexpr int kEntries = 20;

std::string archiveName(unsigned archive) {
    return "C:\\" + std::to_string(archive) + ".zip";
}

std::string data(unsigned archive, unsigned entry) {
    return std::string(entry * 97 % 700, static_cast<char>('a' + (archive + entry) % 26));
}

void placeArchives(simulated::Machine& machine) {
    for (unsigned a = 0; a < kArchives; ++a) {
        std::vector<archive::Entry> entries;
        for (unsigned e = 0; e < kEntries; ++e) {
            entries.push_back({"e" + std::to_string(e), data(a, e), e % 2 == 0});
        }
        const std::string name = archiveName(a);
        machine.volumes.addFile(std::u16string(name.begin(), name.end()),
                                archive::make(entries).bytes);
    }
}

/// The work of one thread: `operations` calls of the library; the number of wrong answers.
int work(unsigned seed, int operations) {
    std::mt19937 random(seed);
    int wrong = 0;
    const auto check = [&](bool right) { wrong += right ? 0 : 1; };
    while (operations > 0) {
        const unsigned a = random() % kArchives;
        char* message = nullptr;
        nzfile* const zip = ZIP_Open(archiveName(a).c_str(), &message);
        check(zip != nullptr && zip->total == kEntries);
        if (zip == nullptr) {
            return wrong;
        }
        const unsigned rounds = random() % 8;
        for (unsigned round = 0; round < rounds; ++round) {
            const unsigned e = random() % kEntries;
            const std::string name = "e" + std::to_string(e);
            std::int32_t size = 0;
            std::int32_t nameLength = 0;
            nzentry* const entry = random() % 2 == 0
                                       ? ZIP_FindEntry(zip, name.c_str(), &size, &nameLength)
                                       : ZIP_GetNextEntry(zip, static_cast<std::int32_t>(e));
            check(entry != nullptr && entry->name == name);
            const std::string expected = data(a, e);
            std::string bytes(expected.size(), '?');
            char read[8];
            if (random() % 4 == 0) {
                nz::freeEntry(zip, entry);
            } else {
                check(ZIP_ReadEntry(zip, entry, bytes.data(), read) == 1 && bytes == expected);
            }
        }
        check(nz::findEntry(zip, "none") == nullptr);
        ZIP_Close(zip);
        operations -= 3 + 2 * static_cast<int>(rounds);
    }
    return wrong;
}

TEST(ZipThreads, EightThreadsShareTheLibrary) {
    simulated::Machine machine;
    const simulated::Running running(machine);
    placeArchives(machine);
    char* message = nullptr;
    nzfile* const first = ZIP_Open(archiveName(0).c_str(), &message);
    ASSERT_NE(first, nullptr);
    ZIP_Close(first);

    std::atomic<int> wrong = 0;
    std::vector<std::thread> threads;
    for (unsigned t = 0; t < kThreads; ++t) {
        threads.emplace_back([&wrong, t] { wrong += work(t, kOperations / kThreads); });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    EXPECT_EQ(wrong, 0);
    EXPECT_TRUE(machine.handles.open().empty());
}

}  // namespace
