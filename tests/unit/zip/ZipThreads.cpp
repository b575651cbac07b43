// Eight threads open, find, read and close the same and different archives, under the thread
// sanitizer. The first ZIP_Open of the process comes before them, alone, as the library asks.
#include <gtest/gtest.h>

#include <future>
#include <random>

#include "builders/ZipArchive.h"
#include "simulated/machine/Machine.h"
#include "zip/Entries.h"

namespace {

constexpr unsigned kEntries = 20;
constexpr const char* kNames[] = {"C:\\0.zip", "C:\\1.zip", "C:\\2.zip"};

const zip_archive::Archive sample = [] {
    std::vector<zip_archive::File> files;
    for (unsigned e = 0; e < kEntries; ++e) {
        const std::string data(e * 97 % 700, static_cast<char>('a' + e));
        files.push_back({.name = "e" + std::to_string(e), .data = data, .stored = e % 2 == 0});
    }
    return zip_archive::make(files);
}();

/// The work of one thread: the number of wrong answers.
int work(unsigned seed) {
    std::mt19937 random(seed);
    int wrong = 0;
    for (int round = 0; round < 12000; ++round) {
        char* message = nullptr;
        nzfile* const zip = ZIP_Open(kNames[random() % 3], &message);
        for (unsigned left = random() % 8; left > 0; --left) {
            const unsigned e = random() % kEntries;
            const zip_archive::Entry& made = sample.entries[e];
            nzentry* const entry = random() % 2 == 0
                                       ? nz::findEntry(zip, made.central.fileName.c_str())
                                       : ZIP_GetNextEntry(zip, static_cast<std::int32_t>(e));
            wrong += entry->name != made.central.fileName;
            std::string bytes(made.content.size(), '?');
            char name[8];
            if (random() % 4 == 0) {
                nz::freeEntry(zip, entry);
            } else {
                wrong +=
                    ZIP_ReadEntry(zip, entry, bytes.data(), name) != 1 || bytes != made.content;
            }
        }
        ZIP_Close(zip);
    }
    return wrong;
}

TEST(ZipThreads, EightThreadsShareTheLibrary) {
    simulated::Machine machine;
    const simulated::Running running(machine);
    for (const std::string name : kNames) {
        machine.volumes.addFile(std::u16string(name.begin(), name.end()), sample.bytes());
    }
    EXPECT_EQ(ZIP_Open(kNames[0], nullptr), nullptr);
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
