// Archives that Info-ZIP, 7-Zip and Python make of files of every kind. A tool that isn't installed
// makes none.
#include <filesystem>
#include <fstream>

#include "unit/zip/ZipTest.h"

namespace {

std::string fileContent(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
}

TEST_F(ZipTest, ArchivesOfOtherToolsHoldTheFilesThatTheyWereMadeOf) {
    const std::string folder = testing::TempDir() + "norv_archives/";
    const std::string tree = folder + "tree/";
    std::filesystem::remove_all(folder);
    std::filesystem::create_directories(tree);
    const auto run = [&](const std::string& commands) {
        return std::system(("cd " + tree + " && " + commands).c_str()) == 0;
    };
    ASSERT_TRUE(
        run("mkdir META-INF Gr\u00fc\u00dfe && seq 60000 >text.txt && touch empty.txt && "
            "head -c 4096 text.txt >exactly4096.bin && echo 1.8.0 >META-INF/MANIFEST.MF && "
            "echo \u00e4 >Gr\u00fc\u00dfe/\u4f60\u597d.txt"));
    const auto front = static_cast<int>(fileContent(tree + "text.txt").size());
    const struct {
        std::string commands;
        int front = 0;
        int comment = 0;
    } cases[] = {
        {"zip -qr9 ../a.zip ."},
        {"zip -qrfz ../a.zip ."},
        {"zip -qr - . | cat text.txt - >../a.zip", front},
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
        SCOPED_TRACE(c.commands);
        if (!run("command -v " + c.commands.substr(0, c.commands.find(' ')) + " >/dev/null")) {
            continue;
        }
        std::filesystem::remove(folder + "a.zip");
        ASSERT_TRUE(run(c.commands));
        nzfile* const zip = open(fileContent(folder + "a.zip"));
        ASSERT_NE(zip, nullptr) << message;
        EXPECT_EQ(zip->locpos, c.front);
        EXPECT_EQ(zip->clen, c.comment);
        const std::int32_t step = zip->total > 60000 ? 1000 : 1;
        for (std::int32_t i = 0; i < zip->total; i += step) {
            nzentry* const entry = ZIP_GetNextEntry(zip, i);
            ASSERT_NE(entry, nullptr);
            const std::string name = entry->name;
            // Of the many entries of one archive each holds its own name, of folders none anything.
            const std::string expected = step > 1              ? name
                                         : name.ends_with('/') ? ""
                                                               : fileContent(tree + name);
            EXPECT_TRUE(content(zip, entry) == expected) << name;
            EXPECT_TRUE(content(zip, name) == expected) << name;
        }
        ZIP_Close(zip);
    }
}

}  // namespace
