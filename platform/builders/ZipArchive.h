// ZIP archives whose headers can be changed field by field. The fields have the names that the ZIP
// application note gives them.
//
//     zip_archive::Archive archive = zip_archive::make({{.name = "a.txt", .data = "text"}});
//     archive.entries[0].central.compressedSize = 99;  // the local header still says the truth
//     machine.volumes.addFile(u"C:\\damaged.zip", archive.bytes());
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace zip_archive {

constexpr std::uint16_t kStored = 0;
constexpr std::uint16_t kDeflated = 8;

/// 2024-01-01 08:25:02.
constexpr std::uint16_t kLastModFileDate = 0x5821;
constexpr std::uint16_t kLastModFileTime = 0x4321;

struct LocalFileHeader {
    std::uint32_t signature = 0x04034b50;
    std::uint16_t versionNeededToExtract = 20;
    std::uint16_t generalPurposeBitFlag = 0;
    std::uint16_t compressionMethod = kDeflated;
    std::uint16_t lastModFileTime = kLastModFileTime;
    std::uint16_t lastModFileDate = kLastModFileDate;
    std::uint32_t crc32 = 0;
    std::uint32_t compressedSize = 0;
    std::uint32_t uncompressedSize = 0;
    std::uint16_t fileNameLength = 0;
    std::uint16_t extraFieldLength = 0;
    std::string fileName;
    std::string extraField;
};

struct CentralDirectoryHeader {
    std::uint32_t signature = 0x02014b50;
    std::uint16_t versionMadeBy = 20;
    std::uint16_t versionNeededToExtract = 20;
    std::uint16_t generalPurposeBitFlag = 0;
    std::uint16_t compressionMethod = kDeflated;
    std::uint16_t lastModFileTime = kLastModFileTime;
    std::uint16_t lastModFileDate = kLastModFileDate;
    std::uint32_t crc32 = 0;
    std::uint32_t compressedSize = 0;
    std::uint32_t uncompressedSize = 0;
    std::uint16_t fileNameLength = 0;
    std::uint16_t extraFieldLength = 0;
    std::uint16_t fileCommentLength = 0;
    std::uint16_t diskNumberStart = 0;
    std::uint16_t internalFileAttributes = 0;
    std::uint32_t externalFileAttributes = 0;
    std::uint32_t relativeOffsetOfLocalHeader = 0;
    std::string fileName;
    std::string extraField;
    std::string fileComment;
};

struct Zip64EndOfCentralDirectoryRecord {
    std::uint32_t signature = 0x06064b50;
    std::uint64_t sizeOfRecord = 44;  ///< without the signature and this field
    std::uint16_t versionMadeBy = 45;
    std::uint16_t versionNeededToExtract = 45;
    std::uint32_t numberOfThisDisk = 0;
    std::uint32_t numberOfDiskWithStartOfCentralDirectory = 0;
    std::uint64_t totalEntriesOnThisDisk = 0;
    std::uint64_t totalEntries = 0;
    std::uint64_t sizeOfCentralDirectory = 0;
    std::uint64_t offsetOfStartOfCentralDirectory = 0;
};

struct Zip64EndOfCentralDirectoryLocator {
    std::uint32_t signature = 0x07064b50;
    std::uint32_t numberOfDiskWithStartOfZip64End = 0;
    std::uint64_t relativeOffsetOfZip64End = 0;
    std::uint32_t totalNumberOfDisks = 1;
};

struct EndOfCentralDirectoryRecord {
    std::uint32_t signature = 0x06054b50;
    std::uint16_t numberOfThisDisk = 0;
    std::uint16_t numberOfDiskWithStartOfCentralDirectory = 0;
    std::uint16_t totalEntriesOnThisDisk = 0;
    std::uint16_t totalEntries = 0;
    std::uint32_t sizeOfCentralDirectory = 0;
    std::uint32_t offsetOfStartOfCentralDirectory = 0;
    std::uint16_t zipFileCommentLength = 0;
    std::string zipFileComment;
};

struct Entry {
    LocalFileHeader local;
    std::string fileData;  ///< as stored in the archive: compressed, or the same as `content`
    CentralDirectoryHeader central;
    std::string content;  ///< what the entry was made from
};

struct Archive {
    std::vector<Entry> entries;
    std::optional<Zip64EndOfCentralDirectoryRecord> zip64End;
    std::optional<Zip64EndOfCentralDirectoryLocator> zip64Locator;
    EndOfCentralDirectoryRecord end;

    /// Adds a ZIP64 end record and its locator, and fills with ones the fields of the end record
    /// that they replace.
    void addZip64End();

    /// Returns local headers with their data, central directory, end records, in this order, each
    /// field with the value that it has now.
    std::string bytes() const;
};

/// What an entry is made from.
struct File {
    std::string name = {};
    std::string data = {};
    bool stored = false;          ///< instead of deflated
    std::string extraField = {};  ///< of the central header; the local header has none
    std::string comment = {};
    std::uint16_t generalPurposeBitFlag = 0;
};

/// Returns a correct archive of these files, in their order.
Archive make(const std::vector<File>& files, const std::string& comment = {});

/// Returns a block of an extra field: "Header ID", "Data Size", data. The size is that of the data
/// unless another one is given.
std::string extraFieldBlock(std::uint16_t headerId, const std::string& data,
                            std::optional<std::uint16_t> dataSize = {});

/// Returns a ZIP64 block of an extra field, with these values of eight bytes.
std::string zip64Block(const std::vector<std::uint64_t>& values,
                       std::optional<std::uint16_t> dataSize = {});

/// Returns the data as a raw deflate stream.
std::string deflated(const std::string& data);

std::uint32_t crc32Of(const std::string& data);

}  // namespace zip_archive
