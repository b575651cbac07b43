// A simulated machine with archives on it.
#pragma once

#include <gtest/gtest.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <climits>
#include <string>

#include "simulated/machine/Machine.h"
#include "support/Archive.h"
#include "zip/Entries.h"
#include "zip/zip.h"

/// Takes in what goes to stderr, write by write.
class StderrWrites {
public:
    StderrWrites() : saved_(dup(STDERR_FILENO)) {
        EXPECT_EQ(socketpair(AF_UNIX, SOCK_SEQPACKET | SOCK_NONBLOCK, 0, ends_), 0);
        dup2(ends_[1], STDERR_FILENO);
    }
    ~StderrWrites() {
        dup2(saved_, STDERR_FILENO);
        for (const int file : {saved_, ends_[0], ends_[1]}) {
            close(file);
        }
    }
    /// What the next write wrote, or nothing.
    std::string next() const {
        char text[1000];
        const auto length = recv(ends_[0], text, sizeof(text), 0);
        return length > 0 ? std::string(text, static_cast<std::size_t>(length)) : "";
    }

private:
    int saved_;
    int ends_[2];
};

/// A number put over the bytes of a header: of a local ('l') or central one ('c') by its index, or
/// of the end header ('e').
struct Put {
    char header;
    std::size_t index;
    std::size_t offset;
    std::uint64_t value;
    int size;
};

inline archive::Archive changed(archive::Archive a, const std::vector<Put>& puts) {
    for (const Put& p : puts) {
        const std::size_t at = p.header == 'l'   ? a.locals.at(p.index)
                               : p.header == 'c' ? a.centrals.at(p.index)
                                                 : a.end;
        archive::put(a.bytes, at + p.offset, p.value, p.size);
    }
    return a;
}

class ZipTest : public testing::Test {
protected:
    void TearDown() override { EXPECT_TRUE(machine.handles.open().empty()); }

    nzfile* open(const std::string& bytes, const char* name = "C:\\a.zip") {
        machine.volumes.addFile(u"C:\\a.zip", bytes);
        message = unset;
        return ZIP_Open(name, &message);
    }

    /// What the library gives for an entry, which goes back to it; "failed: " and the one write to
    /// stderr if it can't be read.
    static std::string content(nzfile* zip, nzentry* entry) {
        if (entry == nullptr) {
            return "no entry";
        }
        // No entry here is larger: what claims to be gets no room, and nothing may be written.
        const auto room = std::clamp<std::int64_t>(entry->size, 0, 1 << 20);
        std::string data(static_cast<std::size_t>(room), '?');
        std::string name(static_cast<std::size_t>(entry->nlen) + 2, '?');
        const std::string own = entry->name;
        const StderrWrites writes;
        const bool done = ZIP_ReadEntry(zip, entry, data.data(), name.data()) == 1;
        EXPECT_EQ(name, own + '\0' + '?');
        if (!done) {
            nz::freeEntry(zip, entry);
            data = "failed: " + writes.next();
        }
        EXPECT_EQ(writes.next(), "");
        return data;
    }
    static std::string content(nzfile* zip, const std::string& name) {
        return content(zip, nz::findEntry(zip, name.c_str()));
    }

    /// Opens an archive behind other bytes and holds all of it to what it was made of: walked up
    /// and down, and each entry found by name; of two entries of one name the later one is found.
    nzfile* openWhole(const archive::Archive& a, const std::string& front = "") {
        nzfile* const zip = open(front + a.bytes);
        EXPECT_STREQ(message, nullptr);
        const auto total = static_cast<std::int32_t>(a.entries.size());
        EXPECT_EQ(zip->total, total);
        EXPECT_EQ(zip->locpos, std::ssize(front));
        EXPECT_EQ(std::string(zip->comment == nullptr ? "" : zip->comment), a.comment);
        EXPECT_EQ(zip->clen, std::ssize(a.comment));
        for (const std::int32_t outside : {-1, total, INT_MAX}) {
            EXPECT_EQ(ZIP_GetNextEntry(zip, outside), nullptr);
        }
        for (std::int32_t n = 0; n < 2 * total; ++n) {
            const std::int32_t index = n < total ? n : 2 * total - 1 - n;
            nz::freeEntry(zip, ZIP_GetNextEntry(zip, index));
            machine.calls.clearJournal();
            nzentry* const walked = ZIP_GetNextEntry(zip, index);
            EXPECT_EQ(machine.calls.count("ReadFile"), 0u) << "of a header that was just read";
            expectEntry(zip, walked, a, static_cast<std::size_t>(index));
            const std::string& name = a.entries[static_cast<std::size_t>(index)].name;
            std::size_t last = a.entries.size() - 1;
            while (a.entries[last].name != name) {
                --last;
            }
            nz::freeEntry(zip, nullptr);  // found anew, not as the one released last
            expectEntry(zip, nz::findEntry(zip, name.c_str()), a, last);
        }
        return zip;
    }

    static void expectEntry(nzfile* zip, nzentry* e, const archive::Archive& a, std::size_t i) {
        const archive::Entry& made = a.entries[i];
        ASSERT_NE(e, nullptr) << made.name;
        using Numbers = std::vector<std::int64_t>;
        EXPECT_EQ((Numbers{e->nlen, e->time, e->size, e->csize, e->crc, e->pos, e->flag}),
                  (Numbers{std::ssize(made.name), 0x58214321, std::ssize(made.data),
                           made.stored ? 0 : std::ssize(archive::deflated(made.data)),
                           archive::checksum(made.data),
                           -zip->locpos - static_cast<std::int64_t>(a.locals[i]), made.flags}));
        EXPECT_EQ(std::string(e->comment == nullptr ? "" : e->comment), made.comment);
        // Two bytes of length in front and a zero behind; null where there is none.
        const std::size_t length = made.extra.size();
        EXPECT_EQ(e->extra == nullptr ? "" : std::string(e->extra, length + 3),
                  length == 0 ? "" : archive::number(length, 2) + made.extra + '\0');
        EXPECT_EQ(e->name, made.name);
        EXPECT_EQ(content(zip, e), made.data);
    }

    static inline char unset[] = "unset";
    char* message = unset;
    simulated::Machine machine;
    simulated::Running running{machine};
};
