// Archives that other tools have made (make_archives.py), held against what those tools read.
#include <cstring>
#include <filesystem>
#include <fstream>
#include <map>

#include "unit/zip/ZipTest.h"

namespace {

const std::filesystem::path kFolder = NORV_ARCHIVES;

std::string fileContent(const std::filesystem::path& path) {
    std::ifstream in(path, std::ios::binary);
    EXPECT_TRUE(in) << path;
    return {std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
}

/// What stands in an .expected file.
struct Expected {
    std::string comment;
    std::int64_t front = 0;
    std::map<std::string, std::string> entries;

    explicit Expected(const std::string& bytes) : bytes_(bytes) {
        comment = text(number(4));
        front = static_cast<std::int64_t>(number(8));
        for (std::uint64_t left = number(4); left > 0; --left) {
            const std::string name = text(number(4));
            entries[name] = text(number(8));
        }
    }

private:
    std::uint64_t number(std::size_t size) {
        std::uint64_t value = 0;
        std::memcpy(&value, bytes_.data() + at_, size);
        at_ += size;
        return value;
    }
    std::string text(std::uint64_t size) {
        at_ += size;
        return bytes_.substr(at_ - size, size);
    }

    std::string bytes_;
    std::size_t at_ = 0;
};

TEST_F(ZipTest, ArchivesOfOtherToolsHaveTheContentsThatTheseToolsRead) {
    std::ifstream skipped(kFolder / "skipped.txt");
    ASSERT_TRUE(skipped) << "no archives in " << kFolder << "; run make_archives.py";
    for (std::string line; std::getline(skipped, line);) {
        std::cout << line << '\n';
    }
    int archives = 0;
    for (const auto& file : std::filesystem::directory_iterator(kFolder)) {
        if (file.path().extension() != ".zip") {
            continue;
        }
        ++archives;
        SCOPED_TRACE(file.path().filename());
        auto expectedFile = file.path();
        Expected expected(fileContent(expectedFile.replace_extension(".expected")));
        nzfile* const zip = open(fileContent(file.path()));
        ASSERT_NE(zip, nullptr) << message;
        EXPECT_EQ(zip->locpos, expected.front);
        EXPECT_EQ(zip->clen, static_cast<std::int32_t>(expected.comment.size()));
        EXPECT_EQ(zip->comment == nullptr ? "" : std::string(zip->comment), expected.comment);
        for (std::int32_t i = 0; i < zip->total; ++i) {
            nzentry* const entry = ZIP_GetNextEntry(zip, i);
            ASSERT_NE(entry, nullptr);
            const std::string name = entry->name;
            const auto found = expected.entries.find(name);
            if (found == expected.entries.end()) {
                // Extraction leaves no trace of a folder that an archive names but "./" itself.
                EXPECT_EQ(name, "./");
                nz::freeEntry(zip, entry);
                continue;
            }
            EXPECT_EQ(entry->crc, static_cast<std::int64_t>(
                                      crc32(0, reinterpret_cast<const Bytef*>(found->second.data()),
                                            static_cast<uInt>(found->second.size()))));
            std::string data;
            ASSERT_TRUE(read(zip, entry, &data)) << name;
            EXPECT_TRUE(data == found->second) << name;
            nzentry* const again = nz::findEntry(zip, name.c_str());
            ASSERT_NE(again, nullptr) << name;
            ASSERT_TRUE(read(zip, again, &data)) << name;
            EXPECT_TRUE(data == found->second) << name;
            found->second = "seen";
            if (HasFailure()) {
                break;
            }
        }
        for (const auto& [name, data] : expected.entries) {
            // A folder may be there only as part of its files' names.
            EXPECT_TRUE(data == "seen" || name.back() == '/') << name;
        }
        ZIP_Close(zip);
    }
    EXPECT_GE(archives, 9);
}

}  // namespace
