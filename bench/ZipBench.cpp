// The ZIP library beside libzip, minizip, libarchive and bare zlib, on one archive of 20 000
// deflated entries and 50 MB. All read the same bytes from memory: ours a file of the simulated
// machine, the others a buffer.
#include <benchmark/benchmark.h>
#include <malloc.h>
#include <zlib.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <string>
#include <vector>

#include "ZipPeers.h"
#include "builders/ZipArchive.h"
#include "simulated/machine/Machine.h"
#include "zip/Entries.h"
#include "zip/zip.h"

namespace {

constexpr unsigned kEntries = 20000;
constexpr std::size_t kBytes = 50'000'000;
constexpr char kManifest[] = "META-INF/MANIFEST.MF";
constexpr char kFile[] = "C:\\bench.zip";

std::uint32_t randomState = 1;
std::uint32_t random(std::uint32_t below) {
    randomState = randomState * 1664525 + 1013904223;
    return (randomState >> 8) % below;
}

/// Text that deflates to about two fifths, as code and markup do: words, some of them rare.
std::string text(std::size_t length) {
    std::string result;
    while (result.size() < length) {
        const std::uint32_t rare = random(4);
        for (std::uint32_t word = rare == 0 ? random(1u << 22) : random(300) * 7919; word > 0;
             word /= 23) {
            result += static_cast<char>('a' + word % 23);
        }
        result += random(9) == 0 ? '\n' : ' ';
    }
    result.resize(length);
    return result;
}

/// The archive; entries between 0.5 and 1.5 of the average length, the manifest in the middle.
const zip_archive::Archive& sample() {
    static const zip_archive::Archive made = [] {
        randomState = 1;  // whatever was made before: the archive is always the same
        std::vector<zip_archive::File> files;
        constexpr std::size_t average = kBytes / kEntries;
        for (unsigned i = 0; i < kEntries; ++i) {
            std::string name = kManifest;
            if (i != kEntries / 2) {
                name = "org/norv/package";
                name += std::to_string(i / 50);
                name += "/Class";
                name += std::to_string(i);
                name += ".bin";
            }
            files.push_back({.name = name, .data = text(average / 2 + random(average))});
        }
        return zip_archive::make(files);
    }();
    return made;
}

const std::string& sampleBytes() {
    static const std::string bytes = sample().bytes();
    return bytes;
}

void require(bool holds, const char* what) {
    if (!holds) {
        std::fprintf(stderr, "%s failed\n", what);
        std::abort();
    }
}

simulated::Machine& machine() {
    static simulated::Machine made;
    static const simulated::Running running(made);
    static const bool placed = [] {
        made.volumes.addFile(u"C:\\bench.zip", sampleBytes());
        return true;
    }();
    (void)placed;
    return made;
}

nzfile* open() {
    char* message = nullptr;
    nzfile* const zip = ZIP_Open(kFile, &message);
    require(zip != nullptr, "ZIP_Open");
    return zip;
}

std::vector<char> buffer(1 << 20);
char nameBuffer[1 << 16];

void read(nzfile* zip, nzentry* entry) {
    require(entry != nullptr && static_cast<std::size_t>(entry->size) <= buffer.size() &&
                ZIP_ReadEntry(zip, entry, buffer.data(), nameBuffer) == 1,
            "ZIP_ReadEntry");
}

void readOne(benchmark::State& state) {
    machine();
    for (auto _ : state) {
        nzfile* const zip = open();
        read(zip, nz::findEntry(zip, kManifest));
        ZIP_Close(zip);
    }
}

void readAll(benchmark::State& state) {
    machine();
    for (auto _ : state) {
        nzfile* const zip = open();
        for (std::int32_t i = 0; i < zip->total; ++i) {
            read(zip, ZIP_GetNextEntry(zip, i));
        }
        ZIP_Close(zip);
    }
}

/// The same entries by zlib alone, each in one call.
void inflateAll(benchmark::State& state) {
    for (auto _ : state) {
        for (const zip_archive::Entry& entry : sample().entries) {
            z_stream stream = {};
            require(inflateInit2(&stream, -MAX_WBITS) == Z_OK, "inflateInit2");
            stream.next_in = reinterpret_cast<Bytef*>(const_cast<char*>(entry.fileData.data()));
            stream.avail_in = entry.central.compressedSize;
            stream.next_out = reinterpret_cast<Bytef*>(buffer.data());
            stream.avail_out = entry.central.uncompressedSize;
            require(inflate(&stream, Z_FINISH) == Z_STREAM_END, "inflate");
            inflateEnd(&stream);
        }
    }
}

void memoryWhileOpen(benchmark::State& state) {
    machine();
    double bytes = 0;
    for (auto _ : state) {
        const std::size_t before = mallinfo2().uordblks + mallinfo2().hblkhd;
        nzfile* const zip = open();
        bytes = static_cast<double>(mallinfo2().uordblks + mallinfo2().hblkhd - before);
        ZIP_Close(zip);
    }
    state.counters["bytes/entry"] = bytes / kEntries;
}

std::string gzipInput() {
    randomState = 2;  // the same for all
    return text(16 << 20);
}

void gzip(benchmark::State& state) {
    std::string in = gzipInput();
    for (auto _ : state) {
        std::size_t outLength = 0;
        std::size_t tmpLength = 0;
        require(ZIP_GZip_InitParams(in.size(), &outLength, &tmpLength, 6) == nullptr, "InitParams");
        const std::unique_ptr<char[]> out(new char[outLength]);
        const std::unique_ptr<char[]> tmp(new char[tmpLength]);
        const char* message = nullptr;
        require(ZIP_GZip_Fully(in.data(), in.size(), out.get(), outLength, tmp.get(), tmpLength, 6,
                               nullptr, &message) > 0,
                "ZIP_GZip_Fully");
    }
}

void bareDeflate(benchmark::State& state) {
    std::string in = gzipInput();
    for (auto _ : state) {
        z_stream stream = {};
        require(deflateInit2(&stream, 6, Z_DEFLATED, MAX_WBITS + 16, 8, Z_DEFAULT_STRATEGY) == Z_OK,
                "deflateInit2");
        const uLong outLength = deflateBound(&stream, static_cast<uLong>(in.size()));
        const std::unique_ptr<char[]> out(new char[outLength]);
        stream.next_in = reinterpret_cast<Bytef*>(in.data());
        stream.avail_in = static_cast<uInt>(in.size());
        stream.next_out = reinterpret_cast<Bytef*>(out.get());
        stream.avail_out = static_cast<uInt>(outLength);
        require(deflate(&stream, Z_FINISH) == Z_STREAM_END, "deflate");
        deflateEnd(&stream);
    }
}

}  // namespace

int main(int argc, char** argv) {
    const auto add = [](const std::string& name, auto function) {
        benchmark::RegisterBenchmark(name.c_str(), function)->Unit(benchmark::kMillisecond);
    };
    const auto named = [](std::string group, const ZipPeer& peer) { return group += peer.name; };
    const std::vector<ZipPeer> peers = zipPeers();
    add("read_one/ours", readOne);
    for (const ZipPeer& peer : peers) {
        add(named("read_one/", peer), [peer](benchmark::State& state) {
            for (auto _ : state) {
                require(peer.readOne(sampleBytes(), kManifest) > 0, peer.name);
            }
        });
    }
    add("read_all/bare_inflate", inflateAll);
    add("read_all/ours", readAll);
    for (const ZipPeer& peer : peers) {
        add(named("read_all/", peer), [peer](benchmark::State& state) {
            for (auto _ : state) {
                require(peer.readAll(sampleBytes()) > kBytes / 2, peer.name);
            }
        });
    }
    add("gzip/bare_deflate", bareDeflate);
    add("gzip/ours", gzip);
    add("memory_while_open", memoryWhileOpen);
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    return 0;
}
