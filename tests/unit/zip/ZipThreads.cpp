// Eight threads open, find, read and close the same and different archives, under the thread
// sanitizer. The first ZIP_Open of the process comes before them, alone, as the library asks.
#include <gtest/gtest.h>

#include <atomic>
#include <random>
#include <string>
#include <thread>
#include <vector>

#include "simulated/machine/Machine.h"
#include "support/Archive.h"
#include "zip/Entries.h"
#include "zip/zip.h"

namespace {

constexpr unsigned kArchives = 3;
constexpr unsigned kEntries = 20;

std::string archiveName(unsigned archive) {
    return "C:\\" + std::to_string(archive) + ".zip";
}

std::string data(unsigned archive, unsigned entry) {
    return std::string(entry * 97 % 700, static_cast<char>('a' + (archive + entry) % 26));
}

/// The work of one thread: the number of wrong answers.
int work(unsigned seed) {
    std::mt19937 random(seed);
    int wrong = 0;
    for (int round = 0; round < 12000; ++round) {
        const unsigned a = random() % kArchives;
        char* message = nullptr;
        nzfile* const zip = ZIP_Open(archiveName(a).c_str(), &message);
        for (unsigned left = random() % 8; left > 0; --left) {
            const unsigned e = random() % kEntries;
            const std::string name = "e" + std::to_string(e);
            nzentry* const entry = random() % 2 == 0
                                       ? nz::findEntry(zip, name.c_str())
                                       : ZIP_GetNextEntry(zip, static_cast<std::int32_t>(e));
            wrong += entry->name != name ? 1 : 0;
            std::string bytes(data(a, e).size(), '?');
            char read[8];
            if (random() % 4 == 0) {
                nz::freeEntry(zip, entry);
            } else if (ZIP_ReadEntry(zip, entry, bytes.data(), read) != 1 || bytes != data(a, e)) {
                ++wrong;
            }
        }
        wrong += nz::findEntry(zip, "none") == nullptr ? 0 : 1;
        ZIP_Close(zip);
    }
    return wrong;
}

TEST(ZipThreads, EightThreadsShareTheLibrary) {
    simulated::Machine machine;
    const simulated::Running running(machine);
    for (unsigned a = 0; a < kArchives; ++a) {
        std::vector<archive::Entry> entries;
        for (unsigned e = 0; e < kEntries; ++e) {
            entries.push_back({"e" + std::to_string(e), data(a, e), e % 2 == 0});
        }
        const std::string name = archiveName(a);
        machine.volumes.addFile(std::u16string(name.begin(), name.end()),
                                archive::make(entries).bytes);
    }
    EXPECT_EQ(ZIP_Open(archiveName(0).c_str(), nullptr), nullptr);
    std::atomic<int> wrong = 0;
    std::vector<std::thread> threads;
    for (unsigned t = 0; t < 8; ++t) {
        threads.emplace_back([&wrong, t] { wrong += work(t); });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    EXPECT_EQ(wrong, 0);
    EXPECT_TRUE(machine.handles.open().empty());
}

}  // namespace
