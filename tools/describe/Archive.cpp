// The manifest of an archive, read without the library, whose reading it is to be compared with.
#include "describe/Description.h"

#include <zlib.h>

#include <algorithm>
#include <cstring>

namespace {

constexpr std::size_t kEndHeader = 22;
constexpr std::size_t kCentralHeader = 46;
constexpr std::size_t kLocalHeader = 30;
constexpr std::size_t kMostComment = 65535;
constexpr std::size_t kMostDirectory = 64u << 20;
constexpr std::size_t kMostManifest = 1u << 20;
constexpr std::string_view kName = "META-INF/MANIFEST.MF";

std::size_t numberAt(const std::string& bytes, std::size_t at, std::size_t width) {
    std::size_t number = 0;
    for (std::size_t i = 0; i < width && at + i < bytes.size(); ++i) {
        number |= static_cast<std::size_t>(static_cast<unsigned char>(bytes[at + i])) << (8 * i);
    }
    return number;
}

std::string inflated(const std::string& data, std::size_t size) {
    std::string text(size, '\0');
    z_stream stream = {};
    if (inflateInit2(&stream, -MAX_WBITS) != Z_OK) {
        return {};
    }
    stream.next_in = reinterpret_cast<Bytef*>(const_cast<char*>(data.data()));
    stream.avail_in = static_cast<uInt>(data.size());
    stream.next_out = reinterpret_cast<Bytef*>(text.data());
    stream.avail_out = static_cast<uInt>(text.size());
    const int result = inflate(&stream, Z_FINISH);
    inflateEnd(&stream);
    return result == Z_STREAM_END ? text : std::string();
}

}  // namespace

std::string manifestOf(const std::wstring& path, std::uint64_t size, DWORD& status) {
    const std::uint64_t tailSize = std::min<std::uint64_t>(size, kEndHeader + kMostComment);
    const std::string tail =
        readFile(path, size - tailSize, static_cast<std::size_t>(tailSize), status);
    const std::size_t end = tail.rfind("PK\x05\x06");
    if (status != 0 || end == std::string::npos) {
        status = status != 0 ? status : ERROR_BAD_FORMAT;
        return {};
    }
    const std::string directory =
        readFile(path, numberAt(tail, end + 16, 4),
                 std::min(numberAt(tail, end + 12, 4), kMostDirectory), status);
    for (std::size_t at = 0; at + kCentralHeader <= directory.size();) {
        const std::size_t nameSize = numberAt(directory, at + 28, 2);
        if (directory.compare(at + kCentralHeader, nameSize, kName) == 0) {
            const std::size_t packed = std::min(numberAt(directory, at + 20, 4), kMostManifest);
            const std::size_t whole = std::min(numberAt(directory, at + 24, 4), kMostManifest);
            const std::size_t offset = numberAt(directory, at + 42, 4);
            const std::string local = readFile(path, offset, kLocalHeader, status);
            const std::string data = readFile(
                path, offset + kLocalHeader + numberAt(local, 26, 2) + numberAt(local, 28, 2),
                packed, status);
            return numberAt(directory, at + 10, 2) == 0 ? data : inflated(data, whole);
        }
        at += kCentralHeader + nameSize + numberAt(directory, at + 30, 2) +
              numberAt(directory, at + 32, 2);
    }
    status = ERROR_FILE_NOT_FOUND;
    return {};
}
