#include "builders/ZipArchive.h"

#include <zlib.h>

namespace zip_archive {

namespace {

/// Appends numbers in little-endian order, each with as many bytes as its type has, and strings.
class Writer {
public:
    template <class... Fields>
    explicit Writer(const Fields&... fields) {
        (append(fields), ...);
    }
    std::string bytes;

private:
    void append(const std::string& text) { bytes += text; }
    template <class Number>
    void append(Number number) {
        for (std::size_t i = 0; i < sizeof(Number); ++i) {
            bytes += static_cast<char>(static_cast<std::uint64_t>(number) >> (8 * i) & 0xff);
        }
    }
};

std::string bytesOf(const LocalFileHeader& h) {
    return Writer(h.signature, h.versionNeededToExtract, h.generalPurposeBitFlag,
                  h.compressionMethod, h.lastModFileTime, h.lastModFileDate, h.crc32,
                  h.compressedSize, h.uncompressedSize, h.fileNameLength, h.extraFieldLength,
                  h.fileName, h.extraField)
        .bytes;
}

std::string bytesOf(const CentralDirectoryHeader& h) {
    return Writer(h.signature, h.versionMadeBy, h.versionNeededToExtract, h.generalPurposeBitFlag,
                  h.compressionMethod, h.lastModFileTime, h.lastModFileDate, h.crc32,
                  h.compressedSize, h.uncompressedSize, h.fileNameLength, h.extraFieldLength,
                  h.fileCommentLength, h.diskNumberStart, h.internalFileAttributes,
                  h.externalFileAttributes, h.relativeOffsetOfLocalHeader, h.fileName, h.extraField,
                  h.fileComment)
        .bytes;
}

std::string bytesOf(const Zip64EndOfCentralDirectoryRecord& r) {
    return Writer(r.signature, r.sizeOfRecord, r.versionMadeBy, r.versionNeededToExtract,
                  r.numberOfThisDisk, r.numberOfDiskWithStartOfCentralDirectory,
                  r.totalEntriesOnThisDisk, r.totalEntries, r.sizeOfCentralDirectory,
                  r.offsetOfStartOfCentralDirectory)
        .bytes;
}

std::string bytesOf(const Zip64EndOfCentralDirectoryLocator& l) {
    return Writer(l.signature, l.numberOfDiskWithStartOfZip64End, l.relativeOffsetOfZip64End,
                  l.totalNumberOfDisks)
        .bytes;
}

std::string bytesOf(const EndOfCentralDirectoryRecord& r) {
    return Writer(r.signature, r.numberOfThisDisk, r.numberOfDiskWithStartOfCentralDirectory,
                  r.totalEntriesOnThisDisk, r.totalEntries, r.sizeOfCentralDirectory,
                  r.offsetOfStartOfCentralDirectory, r.zipFileCommentLength, r.zipFileComment)
        .bytes;
}

/// Sets the fields that the local and the central header have in common.
template <class Header>
void describe(const Entry& entry, const File& file, Header& header) {
    header.generalPurposeBitFlag = file.generalPurposeBitFlag;
    header.compressionMethod = file.stored ? kStored : kDeflated;
    header.crc32 = crc32Of(file.data);
    header.compressedSize = static_cast<std::uint32_t>(entry.fileData.size());
    header.uncompressedSize = static_cast<std::uint32_t>(file.data.size());
    header.fileNameLength = static_cast<std::uint16_t>(file.name.size());
    header.fileName = file.name;
}

Entry entryOf(const File& file, std::size_t offset) {
    Entry entry;
    entry.content = file.data;
    entry.fileData = file.stored ? file.data : deflated(file.data);
    describe(entry, file, entry.local);
    describe(entry, file, entry.central);
    entry.central.extraField = file.extraField;
    entry.central.extraFieldLength = static_cast<std::uint16_t>(file.extraField.size());
    entry.central.fileComment = file.comment;
    entry.central.fileCommentLength = static_cast<std::uint16_t>(file.comment.size());
    entry.central.relativeOffsetOfLocalHeader = static_cast<std::uint32_t>(offset);
    return entry;
}

}  // namespace

void Archive::addZip64End() {
    zip64End = Zip64EndOfCentralDirectoryRecord();
    zip64End->totalEntriesOnThisDisk = end.totalEntriesOnThisDisk;
    zip64End->totalEntries = end.totalEntries;
    zip64End->sizeOfCentralDirectory = end.sizeOfCentralDirectory;
    zip64End->offsetOfStartOfCentralDirectory = end.offsetOfStartOfCentralDirectory;
    zip64Locator = Zip64EndOfCentralDirectoryLocator();
    zip64Locator->relativeOffsetOfZip64End =
        std::uint64_t{end.offsetOfStartOfCentralDirectory} + end.sizeOfCentralDirectory;
    end.totalEntriesOnThisDisk = end.totalEntries = 0xffff;
    end.sizeOfCentralDirectory = end.offsetOfStartOfCentralDirectory = 0xffffffff;
}

std::string Archive::bytes() const {
    std::string result;
    for (const Entry& entry : entries) {
        result += bytesOf(entry.local) + entry.fileData;
    }
    for (const Entry& entry : entries) {
        result += bytesOf(entry.central);
    }
    if (zip64End) {
        result += bytesOf(*zip64End);
    }
    if (zip64Locator) {
        result += bytesOf(*zip64Locator);
    }
    return result + bytesOf(end);
}

Archive make(const std::vector<File>& files, const std::string& comment) {
    Archive archive;
    std::size_t offset = 0;
    std::size_t directorySize = 0;
    for (const File& file : files) {
        const Entry& entry = archive.entries.emplace_back(entryOf(file, offset));
        offset += bytesOf(entry.local).size() + entry.fileData.size();
        directorySize += bytesOf(entry.central).size();
    }
    const auto count = static_cast<std::uint16_t>(files.size());
    archive.end.totalEntriesOnThisDisk = archive.end.totalEntries = count;
    archive.end.sizeOfCentralDirectory = static_cast<std::uint32_t>(directorySize);
    archive.end.offsetOfStartOfCentralDirectory = static_cast<std::uint32_t>(offset);
    archive.end.zipFileComment = comment;
    archive.end.zipFileCommentLength = static_cast<std::uint16_t>(comment.size());
    return archive;
}

std::string extraFieldBlock(std::uint16_t headerId, const std::string& data,
                            std::optional<std::uint16_t> dataSize) {
    return Writer(headerId, dataSize.value_or(static_cast<std::uint16_t>(data.size())), data).bytes;
}

std::string zip64Block(const std::vector<std::uint64_t>& values,
                       std::optional<std::uint16_t> dataSize) {
    std::string data;
    for (const std::uint64_t value : values) {
        data += Writer(value).bytes;
    }
    return extraFieldBlock(1, data, dataSize);
}

std::string deflated(const std::string& data) {
    z_stream stream = {};
    deflateInit2(&stream, Z_DEFAULT_COMPRESSION, Z_DEFLATED, -MAX_WBITS, MAX_MEM_LEVEL,
                 Z_DEFAULT_STRATEGY);
    std::string out(deflateBound(&stream, static_cast<uLong>(data.size())), '\0');
    stream.next_in = reinterpret_cast<Bytef*>(const_cast<char*>(data.data()));
    stream.avail_in = static_cast<uInt>(data.size());
    stream.next_out = reinterpret_cast<Bytef*>(out.data());
    stream.avail_out = static_cast<uInt>(out.size());
    deflate(&stream, Z_FINISH);
    out.resize(stream.total_out);
    deflateEnd(&stream);
    return out;
}

std::uint32_t crc32Of(const std::string& data) {
    return static_cast<std::uint32_t>(
        crc32(0, reinterpret_cast<const Bytef*>(data.data()), static_cast<uInt>(data.size())));
}

}  // namespace zip_archive
