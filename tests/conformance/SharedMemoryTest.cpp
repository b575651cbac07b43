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

TEST(SharedMemoryTest, ABlockIsOneForAllWhoHoldIt) {
    EXPECT_EQ(openBlock(), nullptr);
    EXPECT_EQ(GetLastError(), DWORD{ERROR_FILE_NOT_FOUND});
    const HANDLE created = createBlock();
    ASSERT_NE(created, nullptr);
    EXPECT_EQ(GetLastError(), DWORD{ERROR_SUCCESS});
    const HANDLE opened = openBlock();
    ASSERT_NE(opened, nullptr);
    const HANDLE again = createBlock();
    ASSERT_NE(again, nullptr);
    EXPECT_EQ(GetLastError(), DWORD{ERROR_ALREADY_EXISTS});

    auto* const first = static_cast<BYTE*>(MapViewOfFile(created, FILE_MAP_ALL_ACCESS, 0, 0, 8));
    ASSERT_NE(first, nullptr);
    EXPECT_TRUE(std::all_of(first, first + 8, [](BYTE byte) { return byte == 0; }));
    std::memcpy(first, "abcdefgh", 8);
    EXPECT_TRUE(FlushViewOfFile(first, 8));
    auto* const second = static_cast<BYTE*>(MapViewOfFile(opened, FILE_MAP_ALL_ACCESS, 0, 0, 8));
    ASSERT_NE(second, nullptr);
    EXPECT_EQ(std::memcmp(second, "abcdefgh", 8), 0);
    second[0] = 'z';
    EXPECT_EQ(first[0], 'z');
    EXPECT_TRUE(UnmapViewOfFile(first));
    EXPECT_EQ(second[0], 'z');
    EXPECT_TRUE(UnmapViewOfFile(second));
    EXPECT_FALSE(UnmapViewOfFile(second));
    EXPECT_EQ(GetLastError(), DWORD{ERROR_INVALID_ADDRESS});
    for (const HANDLE handle : {created, opened, again}) {
        EXPECT_TRUE(CloseHandle(handle));
    }
    EXPECT_EQ(openBlock(), nullptr);
}

TEST(SharedMemoryTest, AViewKeepsTheBlock) {
    const HANDLE created = createBlock();
    void* const view = MapViewOfFile(created, FILE_MAP_ALL_ACCESS, 0, 0, 8);
    ASSERT_NE(view, nullptr);
    EXPECT_TRUE(CloseHandle(created));
    EXPECT_EQ(MapViewOfFile(created, FILE_MAP_ALL_ACCESS, 0, 0, 8), nullptr);
    EXPECT_EQ(GetLastError(), DWORD{ERROR_INVALID_HANDLE});
    std::memcpy(view, "x", 1);
    EXPECT_TRUE(UnmapViewOfFile(view));
    const HANDLE anew = createBlock();
    auto* const zeroed = static_cast<BYTE*>(MapViewOfFile(anew, FILE_MAP_ALL_ACCESS, 0, 0, 8));
    ASSERT_NE(zeroed, nullptr);
    EXPECT_EQ(zeroed[0], 0);
    EXPECT_TRUE(UnmapViewOfFile(zeroed));
    EXPECT_TRUE(CloseHandle(anew));
}

TEST(SharedMemoryTest, AHandleServesWhatItWasOpenedFor) {
    const HANDLE created = createBlock();
    const HANDLE reading = openBlock(FILE_MAP_READ);
    EXPECT_EQ(MapViewOfFile(reading, FILE_MAP_WRITE, 0, 0, 8), nullptr);
    EXPECT_EQ(GetLastError(), DWORD{ERROR_ACCESS_DENIED});
    void* const view = MapViewOfFile(reading, FILE_MAP_READ, 0, 0, 8);
    EXPECT_NE(view, nullptr);
    EXPECT_TRUE(UnmapViewOfFile(view));
    EXPECT_TRUE(CloseHandle(reading));
    EXPECT_TRUE(CloseHandle(created));
}

}  // namespace
