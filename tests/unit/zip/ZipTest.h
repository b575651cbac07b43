// A simulated machine with archives on it.
#pragma once

#include <gtest/gtest.h>

#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
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

class ZipTest : public testing::Test {
protected:
    void TearDown() override { EXPECT_TRUE(machine.handles.open().empty()); }

    void place(const std::string& bytes) { machine.volumes.addFile(u"C:\\a.zip", bytes); }

    nzfile* open(const std::string& bytes) {
        place(bytes);
        return open();
    }
    nzfile* open() {
        message = unset;
        return ZIP_Open("C:\\a.zip", &message);
    }

    /// What ZIP_Open says of these bytes: "opened", "null" or the message.
    std::string verdict(const std::string& bytes) {
        nzfile* const zip = open(bytes);
        if (zip != nullptr) {
            EXPECT_EQ(message, nullptr);
            ZIP_Close(zip);
            return "opened";
        }
        return message == nullptr ? "null" : message;
    }

    /// Reads an entry; true if the library has taken it back.
    static bool read(nzfile* zip, nzentry* entry, std::string* data) {
        // No entry here is larger: what claims to be gets no room, and nothing may be written.
        const auto room = std::clamp<std::int64_t>(entry->size, 0, 1 << 20);
        data->assign(static_cast<std::size_t>(room), '?');
        std::string name(static_cast<std::size_t>(entry->nlen) + 1, '?');
        const std::string own = entry->name;
        const bool done = ZIP_ReadEntry(zip, entry, data->data(), name.data()) == 1;
        EXPECT_EQ(name.c_str(), own);
        return done;
    }

    /// The content of an entry, which goes back to the library; "failed: " and the one write to
    /// stderr if it can't be read.
    static std::string content(nzfile* zip, nzentry* entry) {
        if (entry == nullptr) {
            return "no entry";
        }
        std::string data;
        const StderrWrites writes;
        const bool done = read(zip, entry, &data);
        const std::string printed = writes.next();
        EXPECT_EQ(writes.next(), "");
        if (!done) {
            nz::freeEntry(zip, entry);
            return "failed: " + printed;
        }
        EXPECT_EQ(printed, "");
        return data;
    }
    static std::string content(nzfile* zip, const char* name) {
        return content(zip, nz::findEntry(zip, name));
    }

    static inline char unset[] = "unset";
    char* message = unset;
    simulated::Machine machine;
    simulated::Running running{machine};
};
