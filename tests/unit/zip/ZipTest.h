// A simulated machine with archives on it.
#pragma once

#include <algorithm>
#include <cstdio>
#include <map>
#include <tuple>

#include "support/Archive.h"
#include "support/OnMachine.h"
#include "zip/Entries.h"

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

class ZipTest : public OnMachine {
protected:
    nzfile* open(const std::string& bytes, const char* name = "C:\\a.zip") {
        machine.volumes.addFile(u"C:\\a.zip", bytes);
        message = unset;
        return ZIP_Open(name, &message);
    }

    /// What goes to stderr meanwhile, a bar in front of each write.
    template <class Action>
    static std::string written(Action action) {
        std::string text;
        const auto write = [](void* to, const char* bytes, std::size_t length) {
            static_cast<std::string*>(to)->append("|").append(bytes, length);
            return static_cast<ssize_t>(length);
        };
        FILE* const noting = fopencookie(&text, "w", {nullptr, write, nullptr, nullptr});
        setvbuf(noting, nullptr, _IONBF, 0);
        FILE* const own = std::exchange(stderr, noting);
        action();
        stderr = own;
        std::fclose(noting);
        return text;
    }

    /// What the library gives for an entry, which goes back to it, or what it writes to stderr.
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
        const std::string failure =
            written([&] { done = ZIP_ReadEntry(zip, entry, data.data(), name.data()) == 1; });
        EXPECT_EQ(name, own + '\0' + '?');
        if (!done) {
            nz::freeEntry(zip, entry);
        }
        return done ? data + failure : failure;
    }
    static std::string content(nzfile* zip, const std::string& name) {
        return content(zip, nz::findEntry(zip, name.c_str()));
    }

    /// Opens an archive behind other bytes and holds all of it to what it was made of: walked down
    /// and up, and each entry found by name; of two entries of one name the later one is found.
    nzfile* openWhole(const archive::Archive& a, const std::string& front = "") {
        const auto text = [](const char* bytes) {
            return std::string(bytes == nullptr ? "" : bytes);
        };
        nzfile* const zip = open(front + a.bytes);
        const auto total = static_cast<std::int32_t>(a.entries.size());
        EXPECT_EQ(std::tuple(zip->total, zip->locpos, zip->clen, text(zip->comment), message),
                  std::tuple(total, std::ssize(front), std::ssize(a.comment), a.comment, nullptr));
        EXPECT_EQ(ZIP_GetNextEntry(zip, -1), nullptr);
        EXPECT_EQ(ZIP_GetNextEntry(zip, total), nullptr);
        std::map<std::string, std::string> byName;
        for (std::int32_t n = -total; n < total; ++n) {
            const std::int32_t i = n < 0 ? -n - 1 : n;
            const auto at = static_cast<std::size_t>(i);
            const archive::Entry& made = a.entries[at];
            nzentry* const e = ZIP_GetNextEntry(zip, i);
            using Numbers = std::vector<std::int64_t>;
            EXPECT_EQ(
                (Numbers{e->nlen, e->time, e->size, e->csize, e->crc, -e->pos, e->flag}),
                (Numbers{std::ssize(made.name), 0x58214321, std::ssize(made.data),
                         made.stored ? 0 : std::ssize(archive::deflated(made.data)),
                         archive::checksum(made.data),
                         static_cast<std::int64_t>(front.size() + a.locals[at]), made.flags}));
            // Two bytes of length in front and a zero behind; null where there is none.
            const std::size_t length = made.extra.size();
            EXPECT_EQ(e->extra == nullptr ? "" : std::string(e->extra, length + 3),
                      length == 0 ? "" : archive::number(length, 2) + made.extra + '\0');
            EXPECT_EQ(e->name, made.name);
            EXPECT_EQ(text(e->comment), made.comment);
            EXPECT_EQ(content(zip, e), made.data);
            byName[made.name] = made.data;
        }
        for (const auto& [name, data] : byName) {
            EXPECT_EQ(content(zip, name), data);
        }
        return zip;
    }

    static inline char unset[] = "unset";
    char* message = unset;
};
