// Entries of an open archive: found by name, created by index and read.
#include "unit/zip/ZipTest.h"

using namespace zip_archive;

namespace {

constexpr std::uint32_t kFull = 0xffffffff;  // the value is in the ZIP64 block

const std::string kInvalidSize = "C:\\a.zip: ZIP_Read: corrupt zip file: invalid entry size\n";
const std::string kUnexpectedEnd = "C:\\a.zip: inflateFully: Unexpected end of stream\n";

class ZipEntries : public ZipTest {};

/// Bytes that can't be deflated.
std::string noise(std::size_t length) {
    std::string text;
    for (std::uint32_t x = 1; text.size() < length; x = x * 1664525 + 1013904223) {
        text += static_cast<char>(x >> 24);
    }
    return text;
}

Archive stored() {
    return make({{.name = "e", .data = "data", .stored = true}});
}

Archive deflatedEntry(const std::string& data = "data", const std::string& extraField = {}) {
    return make({{.name = "e", .data = data, .extraField = extraField}});
}

/// One entry with this extra field. Its comment would be taken for the value 6 of a ZIP64 block.
Archive withZip64(const std::string& extraField) {
    return make({{.name = "e",
                  .data = "data",
                  .extraField = extraField,
                  .comment = std::string("\6\0\0\0\0\0\0\0", 8)}});
}

const std::vector<std::string> kNames = {"AaAa",       "BBBB",       "Name",       "META-INF/",
                                         "META-INFO",  "twice",      "twice",      "",
                                         "meta-inf/a", "NETA-INF/d", "Meta-Inf/b", "\xc3\xa9\xff"};

/// Entries with these names, whose data is their index, every second one stored.
Archive named() {
    std::vector<File> files;
    for (const std::string& name : kNames) {
        const std::size_t index = files.size();
        files.push_back({.name = name, .data = std::to_string(index), .stored = index % 2 == 0});
    }
    return make(files);
}

TEST_F(ZipEntries, AreFoundByTheirNamesByteForByte) {
    // "Aa" and "BB" have the same hash.
    nzfile* const zip = openWhole(named());
    for (const char* missing : {"Nam", "NAME", "Name/", "AaBB"}) {
        EXPECT_EQ(nz::findEntry(zip, missing), nullptr) << missing;
    }
    ZIP_Close(zip);
}

TEST_F(ZipEntries, AreReturnedWithSizeAndNameLength) {
    nzfile* const zip = open(named().bytes());
    std::int32_t size = -7;
    std::int32_t length = -7;
    EXPECT_EQ(ZIP_FindEntry(zip, "none", &size, &length), nullptr);
    EXPECT_EQ(size, -7);
    EXPECT_EQ(length, -7);
    nzentry* const entry = ZIP_FindEntry(zip, "Name", &size, &length);
    EXPECT_EQ(size, 1);
    EXPECT_EQ(length, 4);
    nz::freeEntry(zip, entry);
    ZIP_Close(zip);
}

TEST_F(ZipEntries, BytesOfANameAreSignedInItsHash) {
    nzfile* const zip = open(named().bytes());
    // 31 * (31 * -61 + -87) - 1 for "\xc3\xa9\xff"
    EXPECT_EQ(zip->entries[11].hash, static_cast<std::uint32_t>(-61319));
    ZIP_Close(zip);
}

TEST_F(ZipEntries, TheEntryReleasedLastIsReturnedOnce) {
    nzfile* const zip = open(named().bytes());
    nzentry* const entry = nz::findEntry(zip, "Name");
    nz::freeEntry(zip, entry);
    EXPECT_EQ(nz::findEntry(zip, "Name"), entry);
    EXPECT_EQ(zip->cache, nullptr);
    nz::freeEntry(zip, entry);
    ZIP_Close(zip);
}

TEST_F(ZipEntries, NamesBelowMetaInfAreListedInAnyCase) {
    nzfile* const zip = open(named().bytes());
    EXPECT_EQ(std::vector<std::string>(zip->metanames, zip->metanames + zip->metacurrent),
              (std::vector<std::string>{"META-INF/", "meta-inf/a", "Meta-Inf/b"}));
    EXPECT_EQ(zip->metacount, 4);
    ZIP_Close(zip);
}

TEST_F(ZipEntries, LongHeadersAreReadWhole) {
    // Around the first guess of 160 bytes and the sequential buffer of 8192; the last header ends
    // where the file nearly does.
    std::vector<File> files;
    for (const std::size_t length : {1, 113, 114, 115, 60000, 8064, 8065, 8066, 3000, 3000, 1}) {
        const std::string unique = std::to_string(files.size());
        files.push_back({.name = unique + std::string(length, 'n'),
                         .data = unique,
                         .stored = length % 2 == 0,
                         .extraField = std::string(length / 200, 'e'),
                         .comment = std::string(length / 200, 'c'),
                         .generalPurposeBitFlag = 0x0808});
    }
    nzfile* const zip = openWhole(make(files));
    nz::freeEntry(zip, ZIP_GetNextEntry(zip, 8));
    machine.calls.clearJournal();
    nz::freeEntry(zip, ZIP_GetNextEntry(zip, 8));
    nz::freeEntry(zip, ZIP_GetNextEntry(zip, 9));  // a neighbour that the buffer contains
    EXPECT_EQ(machine.calls.count("ReadFile"), 0u);
    ZIP_Close(zip);
}

TEST_F(ZipEntries, DataOfAnyKindIsReadBack) {
    const std::string big = noise(10000);  // read in three pieces
    ZIP_Close(openWhole(make({{.name = "stored", .data = big, .stored = true},
                              {.name = "deflated", .data = big},
                              {.name = "packs well", .data = std::string(300000, '\0')},
                              {.name = "empty", .stored = true, .extraField = "x"},
                              {.name = "deflated empty"},
                              {.name = "", .data = "nameless"}})));
}

TEST_F(ZipEntries, AZip64BlockHasAValueForEachFullFieldInOrder) {
    Archive all = withZip64(zip64Block({4, 6, 0}));
    all.entries[0].central.uncompressedSize = kFull;
    all.entries[0].central.compressedSize = kFull;
    all.entries[0].central.relativeOffsetOfLocalHeader = kFull;
    EXPECT_EQ(readEntry(all), "data");

    Archive lastTwo = withZip64(zip64Block({6, 0}));
    lastTwo.entries[0].central.compressedSize = kFull;
    lastTwo.entries[0].central.relativeOffsetOfLocalHeader = kFull;
    EXPECT_EQ(readEntry(lastTwo), "data");

    EXPECT_EQ(readEntry(withZip64(zip64Block({7, 7, 7}))), "data") << "no field is full";
}

TEST_F(ZipEntries, AZip64BlockIsFoundAfterOthers) {
    Archive archive = withZip64(extraFieldBlock(9, "abc") + zip64Block({4}));
    archive.entries[0].central.uncompressedSize = kFull;
    EXPECT_EQ(readEntry(archive), "data");
}

TEST_F(ZipEntries, AZip64BlockThatIsTooShortIsIgnored) {
    Archive archive = withZip64(zip64Block({4, 6}, 15));
    archive.entries[0].central.uncompressedSize = kFull;
    archive.entries[0].central.compressedSize = kFull;
    EXPECT_EQ(readEntry(archive), kInvalidSize);
}

TEST_F(ZipEntries, BlocksThatExceedTheExtraFieldAreIgnored) {
    Archive zip64 = withZip64(zip64Block({4}, 24));
    zip64.entries[0].central.uncompressedSize = kFull;
    zip64.entries[0].central.compressedSize = kFull;
    EXPECT_EQ(readEntry(zip64), kInvalidSize);

    Archive other = withZip64(extraFieldBlock(9, "", 99) + zip64Block({4}));
    other.entries[0].central.uncompressedSize = kFull;
    EXPECT_EQ(readEntry(other), kUnexpectedEnd);
}

TEST_F(ZipEntries, ALocalHeaderMustBeInTheFile) {
    Archive negative = withZip64(zip64Block({std::uint64_t{1} << 63}));
    negative.entries[0].central.relativeOffsetOfLocalHeader = kFull;
    EXPECT_EQ(readEntry(negative), "C:\\a.zip: error reading zip file\n");

    Archive past = deflatedEntry();
    past.entries[0].central.relativeOffsetOfLocalHeader = 0xfffffff0;
    EXPECT_EQ(readEntry(past), "C:\\a.zip: error reading zip file\n");
}

TEST_F(ZipEntries, TheLocalHeaderDecidesWhereItsDataBegins) {
    Archive archive = stored();
    archive.entries[0].local.fileNameLength = 0;
    archive.entries[0].local.extraFieldLength = 1;
    EXPECT_EQ(readEntry(archive), "data");
    archive.entries[0].local.extraFieldLength = 0xffff;
    EXPECT_EQ(readEntry(archive), kInvalidSize);
}

TEST_F(ZipEntries, ALocalHeaderNeedsItsSignature) {
    Archive archive = stored();
    archive.entries[0].local.signature = 0;
    EXPECT_EQ(readEntry(archive), "C:\\a.zip: invalid LOC header (bad signature)\n");
}

TEST_F(ZipEntries, DataMustEndBeforeTheFile) {
    Archive byOne = stored();
    byOne.entries[0].central.uncompressedSize =
        static_cast<std::uint32_t>(byOne.bytes().size()) - 30;
    EXPECT_EQ(readEntry(byOne), kInvalidSize);

    Archive byMuch = deflatedEntry();
    byMuch.entries[0].central.compressedSize = 0xfffffffe;
    EXPECT_EQ(readEntry(byMuch), kInvalidSize);
}

TEST_F(ZipEntries, AStreamMustHaveTheSizesOfTheHeader) {
    Archive shorter = deflatedEntry(noise(10000));
    shorter.entries[0].central.uncompressedSize = 9999;
    EXPECT_EQ(readEntry(shorter), kUnexpectedEnd);

    Archive longer = deflatedEntry(noise(10000));
    longer.entries[0].central.uncompressedSize = 10001;
    EXPECT_EQ(readEntry(longer), kUnexpectedEnd);

    Archive packedLonger = deflatedEntry(noise(10000));
    ++packedLonger.entries[0].central.compressedSize;
    EXPECT_EQ(readEntry(packedLonger), kUnexpectedEnd);

    Archive onePiece = deflatedEntry(noise(4091));
    ASSERT_EQ(onePiece.entries[0].central.compressedSize, 4096u) << "the size of a piece";
    onePiece.entries[0].central.compressedSize = 4097;
    EXPECT_EQ(readEntry(onePiece), kUnexpectedEnd);
}

TEST_F(ZipEntries, AStreamWithoutItsEndMarkIsRead) {
    Archive archive = deflatedEntry();
    --archive.entries[0].central.compressedSize;
    EXPECT_EQ(readEntry(archive), "data");
}

TEST_F(ZipEntries, ADamagedStreamIsReportedInZlibsWords) {
    Archive archive = deflatedEntry();
    archive.entries[0].fileData[0] = '\xff';
    EXPECT_EQ(readEntry(archive), "C:\\a.zip: invalid block type\n");
}

TEST_F(ZipEntries, AFailedReadIsReported) {
    nzfile* const zip = open(stored().bytes());
    nzentry* const entry = nz::findEntry(zip, "e");
    machine.calls.failCall("ReadFile", 2);
    EXPECT_EQ(content(zip, entry), "C:\\a.zip: ZIP_Read: error reading zip file\n");
    ZIP_Close(zip);
}

TEST_F(ZipEntries, ANullEntryIsReported) {
    nzfile* const zip = open(stored().bytes());
    std::int32_t result = -1;
    EXPECT_EQ(written([&] { result = ZIP_ReadEntry(zip, nullptr, nullptr, nullptr); }),
              "nzentry was invalid");
    EXPECT_EQ(result, 0);
    ZIP_Close(zip);
}

}  // namespace
