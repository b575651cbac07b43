// Archives that Info-ZIP, 7-Zip and Python make of files of every kind. A tool that isn't installed
// makes none.
#include <filesystem>
#include <fstream>

#include "unit/zip/ZipTest.h"

namespace {

TEST_F(ZipTest, ArchivesOfOtherToolsHoldTheFilesThatTheyWereMadeOf) {
    std::map<std::string, std::string> tree = {
        {"META-INF/MANIFEST.MF", "Implementation-Version: 1.8.0_45-b13\r\n"},
        {"empty.txt", ""},
        {"exactly4096.bin", std::string(4096, '\xa5')},
        {"Gr\u00fc\u00dfe/\u4f60\u597d.txt", "\xc3\xa4"}};
    for (unsigned i = 0; i < 50000; ++i) {
        tree["text.txt"] += std::to_string(i * i);
    }
    const std::filesystem::path folder = testing::TempDir() + "norv_archives";
    remove_all(folder);
    for (const auto& [name, data] : tree) {
        create_directories((folder / "tree" / name).parent_path());
        std::ofstream(folder / "tree" / name, std::ios::binary) << data;
    }
    const int text = static_cast<int>(tree["text.txt"].size());
    const struct {
        std::string run;
        int front = 0;
        int comment = 0;
    } cases[] = {
        {"zip -qr9 ../a.zip ."},
        {"zip -qr0 ../a.zip ."},
        {"zip -qrfz ../a.zip ."},
        {"zip -qrz ../a.zip . <empty.txt"},
        {"zip -qr - . | cat text.txt - >../a.zip", text},
        {"zip -qr - . | cat text.txt - >../a.zip && zip -qA ../a.zip"},
        {"7z a -tzip -mm=Deflate -mx=9 -mcu=on ../a.zip './*' >../log"},
        // ZIP64 records from 100 bytes on, of an end header that has to be told.
        {"python3 -c 'import zipfile, os; zipfile.ZIP64_LIMIT = 100; "
         "a = zipfile.ZipFile(\"../a.zip\", \"w\", 8); "
         "[a.write(f) for f in (\"text.txt\", \"empty.txt\")]; a.close(); "
         "b = open(\"../a.zip\", \"r+b\"); b.seek(-14, 2); b.write(b\"\\xff\" * 12)'"},
        {"python3 -c 'import zipfile; a = zipfile.ZipFile(\"../a.zip\", \"w\"); "
         "a.comment = b\"c\" * 65535; [a.writestr(str(i), str(i)) for i in range(70000)]; "
         "a.close()'",
         0, 65535},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.run);
        const std::string tool = c.run.substr(0, c.run.find(' '));
        if (std::system(("command -v " + tool + " >/dev/null").c_str()) != 0) {
            continue;
        }
        std::filesystem::remove(folder / "a.zip");
        ASSERT_EQ(std::system(("cd " + (folder / "tree").string() + " && " + c.run).c_str()), 0);
        std::ifstream made(folder / "a.zip", std::ios::binary);
        nzfile* const zip = open({std::istreambuf_iterator<char>(made), {}});
        ASSERT_NE(zip, nullptr) << message;
        EXPECT_EQ(zip->locpos, c.front);
        EXPECT_EQ(zip->clen, c.comment);
        const std::int32_t step = zip->total > 60000 ? 1000 : 1;
        for (std::int32_t i = 0; i < zip->total; i += step) {
            nzentry* const entry = ZIP_GetNextEntry(zip, i);
            ASSERT_NE(entry, nullptr);
            const std::string name = entry->name;
            // Of the many entries of one archive each holds its own name, of folders none anything.
            const std::string expected = tree.contains(name)   ? tree[name]
                                         : name.ends_with('/') ? ""
                                                               : name;
            EXPECT_TRUE(content(zip, entry) == expected) << name;
            EXPECT_TRUE(content(zip, name) == expected) << name;
        }
        ZIP_Close(zip);
    }
}

}  // namespace
