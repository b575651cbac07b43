// Eight threads open, find, read and close the same and different archives, under the thread
// sanitizer. The first ZIP_Open of the process comes before them, alone, as the library asks.
#include <gtest/gtest.h>

#include <future>
#include <random>
#include <string>
#include <vector>

#include "simulated/machine/Machine.h"
#include "support/Archive.h"
#include "zip/Entries.h"
#include "zip/zip.h"

namespace {

constexpr unsigned kEntries = 20;

const std::vector<archive::Archive> archives = [] {
    std::vector<archive::Archive> made;
    for (unsigned a = 0; a < 3; ++a) {
        std::vector<archive::Entry> entries;
        for (unsigned e = 0; e < kEntries; ++e) {
            const std::string data(e * 97 % 700, static_cast<char>('a' + a + e));
            entries.push_back({"e" + std::to_string(e), data, e % 2 == 0});
        }
        made.push_back(archive::make(entries));
    }
    return made;
}();

std::string archiveName(unsigned archive) {
    return "C:\\" + std::to_string(archive) + ".zip";
}

/// The work of one thread: the number of wrong answers.
int work(unsigned seed) {
    std::mt19937 random(seed);
    int wrong = 0;
    for (int round = 0; round < 12000; ++round) {
        const unsigned a = random() % 3;
        char* message = nullptr;
        nzfile* const zip = ZIP_Open(archiveName(a).c_str(), &message);
        for (unsigned left = random() % 8; left > 0; --left) {
            const unsigned e = random() % kEntries;
            const archive::Entry& made = archives[a].entries[e];
            nzentry* const entry = random() % 2 == 0
                                       ? nz::findEntry(zip, made.name.c_str())
                                       : ZIP_GetNextEntry(zip, static_cast<std::int32_t>(e));
            wrong += entry->name != made.name ? 1 : 0;
            std::string bytes(made.data.size(), '?');
            char name[8];
            if (random() % 4 == 0) {
                nz::freeEntry(zip, entry);
            } else if (ZIP_ReadEntry(zip, entry, bytes.data(), name) != 1 || bytes != made.data) {
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
    for (unsigned a = 0; a < 3; ++a) {
        const std::string name = archiveName(a);
        machine.volumes.addFile(std::u16string(name.begin(), name.end()), archives[a].bytes);
    }
    EXPECT_EQ(ZIP_Open(archiveName(0).c_str(), nullptr), nullptr);
    std::vector<std::future<int>> threads;
    for (unsigned t = 0; t < 8; ++t) {
        threads.push_back(std::async(std::launch::async, work, t));
    }
    for (std::future<int>& thread : threads) {
        EXPECT_EQ(thread.get(), 0);
    }
    EXPECT_TRUE(machine.handles.open().empty());
}

}  // namespace
