#include <windows.h>
#include <tchar.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>

namespace {

constexpr const char* kName = "NorvConformanceBlock";

HANDLE createBlock() {
    return CreateFileMappingA(INVALID_HANDLE_VALUE, nullptr, PAGE_READWRITE, 0, 8, kName);
}

HANDLE openBlock(DWORD access = FILE_MAP_READ | FILE_MAP_WRITE) {
    return OpenFileMappingA(access, FALSE, kName);
}

BYTE* view(HANDLE block, DWORD access = FILE_MAP_ALL_ACCESS) {
    return static_cast<BYTE*>(MapViewOfFile(block, access, 0, 0, 8));
}

TEST(SharedMemoryTest, ABlockIsOneForAllWhoHoldIt) {
    EXPECT_EQ(openBlock(), nullptr);
    EXPECT_EQ(GetLastError(), DWORD{ERROR_FILE_NOT_FOUND});
    const HANDLE created = createBlock();
    EXPECT_EQ(GetLastError(), DWORD{ERROR_SUCCESS});
    const HANDLE opened = openBlock();
    const HANDLE again = createBlock();
    EXPECT_EQ(GetLastError(), DWORD{ERROR_ALREADY_EXISTS});

    BYTE* const first = view(created);
    BYTE* const second = view(opened);
    ASSERT_TRUE(first != nullptr && second != nullptr);
    EXPECT_TRUE(std::all_of(first, first + 8, [](BYTE byte) { return byte == 0; }));
    std::memcpy(first, "abcdefgh", 8);
    EXPECT_TRUE(FlushViewOfFile(first, 8));
    EXPECT_EQ(std::memcmp(second, "abcdefgh", 8), 0);
    EXPECT_TRUE(UnmapViewOfFile(first));
    EXPECT_EQ(second[0], 'a');
    for (const HANDLE handle : {created, opened, again}) {
        EXPECT_TRUE(CloseHandle(handle));
    }
    EXPECT_EQ(view(created), nullptr);
    EXPECT_EQ(GetLastError(), DWORD{ERROR_INVALID_HANDLE});
    EXPECT_EQ(second[7], 'h') << "a view keeps the block";
    EXPECT_TRUE(UnmapViewOfFile(second));
    EXPECT_FALSE(UnmapViewOfFile(second));
    EXPECT_EQ(GetLastError(), DWORD{ERROR_INVALID_ADDRESS});
    EXPECT_EQ(openBlock(), nullptr);
}

TEST(SharedMemoryTest, AHandleServesWhatItWasOpenedFor) {
    const HANDLE created = createBlock();
    const HANDLE reading = openBlock(FILE_MAP_READ);
    EXPECT_EQ(view(reading, FILE_MAP_WRITE), nullptr);
    EXPECT_EQ(GetLastError(), DWORD{ERROR_ACCESS_DENIED});
    BYTE* const zeroed = view(reading, FILE_MAP_READ);
    ASSERT_NE(zeroed, nullptr);
    EXPECT_EQ(zeroed[0], 0) << "made anew";
    EXPECT_TRUE(UnmapViewOfFile(zeroed));
    EXPECT_TRUE(CloseHandle(reading));
    EXPECT_TRUE(CloseHandle(created));
}

}  // namespace
