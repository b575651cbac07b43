// Every allocation and every call of Windows fails in turn. The linker sends the library's
// allocations here (--wrap).
#include "unit/zip/ZipTest.h"
#include "windows/common/unzip/unzip.h"

namespace {

std::uint64_t allocations = 0;
std::uint64_t failing = 0;

bool allocationFails() {
    return ++allocations == failing;
}

}  // namespace

extern "C" {

void* __real_malloc(std::size_t size);
void* __real_calloc(std::size_t count, std::size_t size);
void* __real_realloc(void* memory, std::size_t size);

void* __wrap_malloc(std::size_t size) {
    return allocationFails() ? nullptr : __real_malloc(size);
}
void* __wrap_calloc(std::size_t count, std::size_t size) {
    return allocationFails() ? nullptr : __real_calloc(count, size);
}
void* __wrap_realloc(void* memory, std::size_t size) {
    return allocationFails() ? nullptr : __real_realloc(memory, size);
}

}  // extern "C"

namespace {

class ZipFaultTest : public ZipTest {
protected:
    /// Uses all of an archive; what can't be had is passed over. Whether everything was there.
    bool use() {
        nzfile* const zip = open();
        if (zip == nullptr) {
            return false;
        }
        int read = 0;
        testing::internal::CaptureStderr();
        for (std::int32_t i = 0; i < 6; ++i) {
            nzentry* const entry =
                i < 3 ? ZIP_GetNextEntry(zip, i) : nz::findEntry(zip, names[i - 3]);
            char data[64];
            char name[64];
            if (entry != nullptr && ZIP_ReadEntry(zip, entry, data, name) == 1) {
                ++read;
            } else if (entry != nullptr) {
                nz::freeEntry(zip, entry);
            }
        }
        testing::internal::GetCapturedStderr();
        EXPECT_EQ(zip->total, 3);
        ZIP_Close(zip);
        return read == 6;
    }

    static constexpr const char* names[] = {"META-INF/a", "META-INF/b", "META-INF/c"};
    // The end header says one entry too few, so that the directory is read twice.
    archive::Archive sample = [] {
        archive::Archive a = archive::make({{names[0], "one", false, "extra", "comment"},
                                            {names[1], "two", true, std::string(200, 'e')},
                                            {names[2], ""}},
                                           "archive comment");
        a.putEnd(10, 2, 2);
        return a;
    }();
};

TEST_F(ZipFaultTest, NoMemoryIsAFailureAndNoMore) {
    place(sample.bytes);
    ASSERT_TRUE(use());  // the list's lock is there from now on
    allocations = 0;
    ASSERT_TRUE(use());
    const std::uint64_t all = allocations;
    EXPECT_GT(all, 30u);
    for (std::uint64_t n = 1; n <= all; ++n) {
        allocations = 0;
        failing = n;
        EXPECT_FALSE(use()) << n;
        failing = 0;
        EXPECT_TRUE(machine.handles.open().empty()) << n;
    }
    EXPECT_TRUE(use());
}

TEST_F(ZipFaultTest, NoCallThatFailsDoesMoreThanFail) {
    place(sample.bytes);
    machine.calls.clearJournal();
    ASSERT_TRUE(use());
    const std::uint64_t all = machine.calls.count();
    EXPECT_GT(all, 20u);
    for (std::uint64_t n = 1; n <= all; ++n) {
        machine.calls.failCall(n);
        use();
        const bool handleKept = machine.calls.faultedFunction() == "CloseHandle";
        machine.calls.clearPlans();
        EXPECT_EQ(machine.handles.open().size(), handleKept ? 1u : 0u) << n;
        if (handleKept) {
            machine.handles.closeAll();
        }
    }
    EXPECT_TRUE(use());
}

}  // namespace
