// Every allocation and every call of Windows fails in turn. The linker sends the library's
// allocations here (--wrap).
#include "unit/zip/ZipTest.h"

namespace {

std::uint64_t allocations = 0;
std::uint64_t failing = 0;

bool fails() {
    return ++allocations == failing;
}

}  // namespace

extern "C" {

void* __real_malloc(std::size_t size);
void* __real_calloc(std::size_t count, std::size_t size);
void* __real_realloc(void* memory, std::size_t size);

void* __wrap_malloc(std::size_t size) {
    return fails() ? nullptr : __real_malloc(size);
}
void* __wrap_calloc(std::size_t count, std::size_t size) {
    return fails() ? nullptr : __real_calloc(count, size);
}
void* __wrap_realloc(void* memory, std::size_t size) {
    return fails() ? nullptr : __real_realloc(memory, size);
}

}  // extern "C"

namespace {

TEST_F(ZipTest, NoCallOrAllocationThatFailsDoesMoreThanFail) {
    // The end header says one entry too few, so that the directory is read twice.
    const archive::Archive sample =
        changed(archive::make({{"META-INF/a", "one", false, "extra", "comment"},
                               {"META-INF/b", "two", true, std::string(200, 'e')},
                               {"META-INF/c", "three"}},
                              "archive comment"),
                {{'e', 0, 10, 2, 2}});
    /// Uses all of the archive; what can't be had is passed over. Whether everything was there.
    const auto use = [&] {
        nzfile* const zip = ZIP_Open("C:\\a.zip", &message);
        if (zip == nullptr) {
            return false;
        }
        bool all = zip->total == 3;
        for (std::int32_t i = 0; i < 3; ++i) {
            const archive::Entry& made = sample.entries[static_cast<std::size_t>(i)];
            nzentry* const walked = ZIP_GetNextEntry(zip, i);
            nzentry* const found = nz::findEntry(zip, made.name.c_str());
            all &= content(zip, walked) == made.data;
            all &= content(zip, found) == made.data;
        }
        ZIP_Close(zip);
        return all;
    };
    machine.volumes.addFile(u"C:\\a.zip", sample.bytes);
    ASSERT_TRUE(use());
    allocations = 0;
    machine.calls.clearJournal();
    ASSERT_TRUE(use());
    const std::uint64_t all = allocations;
    const std::uint64_t calls = machine.calls.count();
    for (std::uint64_t n = 1; n <= all; ++n) {
        allocations = 0;
        failing = n;
        EXPECT_FALSE(use()) << n;
        failing = 0;
        EXPECT_TRUE(machine.handles.open().empty()) << n;
    }
    for (std::uint64_t n = 1; n <= calls; ++n) {
        machine.calls.failCall(n);
        use();
        const bool handleKept = machine.calls.faultedFunction() == "CloseHandle";
        machine.calls.clearPlans();
        EXPECT_EQ(machine.handles.open().size(), handleKept ? 1u : 0u) << n;
        machine.handles.closeAll();
    }
    EXPECT_TRUE(use());
}

}  // namespace
