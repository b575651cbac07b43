// A simulated machine with archives on it.
#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdio>
#include <string>
#include <tuple>
#include <utility>
#include <vector>

#include "simulated/machine/Machine.h"
#include "support/Archive.h"
#include "zip/Entries.h"
#include "zip/zip.h"

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

    /// What goes to stderr meanwhile, write by write.
    template <class Action>
    static std::vector<std::string> written(Action action) {
        std::vector<std::string> writes;
        const auto write = [](void* to, const char* text, std::size_t length) {
            static_cast<std::vector<std::string>*>(to)->emplace_back(text, length);
            return static_cast<ssize_t>(length);
        };
        FILE* const noting = fopencookie(&writes, "w", {nullptr, write, nullptr, nullptr});
        setvbuf(noting, nullptr, _IONBF, 0);
        FILE* const own = std::exchange(stderr, noting);
        action();
        stderr = own;
        std::fclose(noting);
        return writes;
    }

    /// What the library gives for an entry, which goes back to it; "failed: " and the one
    /// write to stderr if it can't be read.
    static std::string content(nzfile* zip, nzentry* entry) {
        if (entry == nullptr) {
            return "no entry";
        }
        // No entry here is larger: what claims to be gets no room, and nothing may be written.
        const auto room = std::clamp<std::int64_t>(entry->size, 0, 1 << 20);
        std::string data(static_cast<std::size_t>(room), '?');
        std::string name(static_cast<std::size_t>(entry->nlen) + 2, '?');
        const std::string own = entry->name;
        bool done = false;
        const auto writes =
            written([&] { done = ZIP_ReadEntry(zip, entry, data.data(), name.data()) == 1; });
        EXPECT_EQ(name, own + '\0' + '?');
        EXPECT_EQ(writes.size(), done ? 0u : 1u);
        if (!done) {
            nz::freeEntry(zip, entry);
        }
        return done ? data : "failed: " + writes.at(0);
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
        EXPECT_EQ(std::tuple(zip->total, zip->locpos, zip->clen),
                  std::tuple(total, std::ssize(front), std::ssize(a.comment)));
        EXPECT_EQ(std::string(zip->comment == nullptr ? "" : zip->comment), a.comment);
        EXPECT_EQ(ZIP_GetNextEntry(zip, -1), nullptr);
        EXPECT_EQ(ZIP_GetNextEntry(zip, total), nullptr);
        for (std::int32_t n = 0; n < 2 * total; ++n) {
            const std::int32_t index = n < total ? n : 2 * total - 1 - n;
            expectEntry(zip, ZIP_GetNextEntry(zip, index), a, static_cast<std::size_t>(index));
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
