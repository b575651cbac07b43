// A simulated machine with archives on it.
#pragma once

#include <algorithm>
#include <cstring>
#include <map>

#include "builders/ZipArchive.h"
#include "support/OnMachine.h"
#include "zip/Entries.h"

class ZipTest : public OnMachine {
protected:
    nzfile* open(const std::string& bytes, const char* name = "C:\\a.zip") {
        machine.volumes.addFile(u"C:\\a.zip", bytes);
        message = unset;
        return ZIP_Open(name, &message);
    }

    /// Returns the message of an archive that can't be opened, "opened" for any other.
    std::string openFailure(const zip_archive::Archive& archive) {
        return openFailure(archive.bytes());
    }
    std::string openFailure(const std::string& bytes, const char* name = "C:\\a.zip") {
        nzfile* const zip = open(bytes, name);
        if (zip != nullptr) {
            ZIP_Close(zip);
            return "opened";
        }
        return message == nullptr ? "no message" : message;
    }

    /// Returns the data of the entry "e" of an archive that is opened without a message, or what
    /// the library writes to stderr as it fails to read the entry.
    std::string readEntry(const zip_archive::Archive& archive) {
        return readEntry(archive.bytes());
    }
    std::string readEntry(const std::string& bytes) {
        nzfile* const zip = open(bytes);
        if (zip == nullptr) {
            return "not opened";
        }
        EXPECT_EQ(message, nullptr);
        const std::string result = content(zip, "e");
        ZIP_Close(zip);
        return result;
    }

    /// Returns what an action writes to stderr.
    template <class Action>
    static std::string written(Action action) {
        testing::internal::CaptureStderr();
        action();
        return testing::internal::GetCapturedStderr();
    }

    /// Reads an entry and releases it. Returns its data, or what is written to stderr on failure.
    static std::string content(nzfile* zip, nzentry* entry) {
        if (entry == nullptr) {
            return "no entry";
        }
        // No entry here is larger. One that claims to be gets no buffer; nothing may be written.
        const auto capacity = std::clamp<std::int64_t>(entry->size, 0, 1 << 20);
        std::string data(static_cast<std::size_t>(capacity), '?');
        std::string name(static_cast<std::size_t>(entry->nlen) + 2, '?');
        const std::string expectedName = entry->name + std::string("\0?", 2);
        bool done = false;
        const std::string failure =
            written([&] { done = ZIP_ReadEntry(zip, entry, data.data(), name.data()) == 1; });
        EXPECT_EQ(name, expectedName);
        if (!done) {
            nz::freeEntry(zip, entry);
            return failure;
        }
        EXPECT_EQ(failure, "");
        return data;
    }
    static std::string content(nzfile* zip, const std::string& name) {
        return content(zip, nz::findEntry(zip, name.c_str()));
    }

    /// Opens an archive that follows other bytes in its file. Checks all of it against what it was
    /// made from: the entries by index, down and up, and by name.
    nzfile* openWhole(const zip_archive::Archive& archive, const std::string& stub = "") {
        nzfile* const zip = open(stub + archive.bytes());
        const std::string& comment = archive.end.zipFileComment;
        const auto total = static_cast<std::int32_t>(archive.entries.size());
        EXPECT_EQ(message, nullptr);
        EXPECT_EQ(zip->total, total);
        EXPECT_EQ(zip->locpos, std::ssize(stub));
        EXPECT_EQ(zip->clen, std::ssize(comment));
        EXPECT_EQ(textOf(zip->comment), comment);
        EXPECT_EQ(ZIP_GetNextEntry(zip, -1), nullptr);
        EXPECT_EQ(ZIP_GetNextEntry(zip, total), nullptr);
        for (std::int32_t i = total - 1; i >= 0; --i) {
            expectEntry(zip, i, archive, std::ssize(stub));
        }
        for (std::int32_t i = 0; i < total; ++i) {
            expectEntry(zip, i, archive, std::ssize(stub));
        }
        std::map<std::string, std::string> contents;  // of two entries of one name the later
        for (const zip_archive::Entry& entry : archive.entries) {
            contents[entry.central.fileName] = entry.content;
        }
        for (const auto& [name, data] : contents) {
            EXPECT_EQ(content(zip, name), data) << name;
        }
        return zip;
    }

    static inline char unset[] = "unset";
    char* message = unset;

private:
    static std::string textOf(const char* text) { return text == nullptr ? "" : text; }

    static void expectEntry(nzfile* zip, std::int32_t index, const zip_archive::Archive& archive,
                            std::int64_t stubSize) {
        const zip_archive::Entry& made = archive.entries[static_cast<std::size_t>(index)];
        const bool isStored = made.central.compressionMethod == zip_archive::kStored;
        SCOPED_TRACE(made.central.fileName);
        nzentry* const entry = ZIP_GetNextEntry(zip, index);
        EXPECT_EQ(entry->name, made.central.fileName);
        EXPECT_EQ(entry->nlen, std::ssize(made.central.fileName));
        EXPECT_EQ(entry->time, 0x58214321);  // date and time, as the archive has them
        EXPECT_EQ(entry->size, std::ssize(made.content));
        EXPECT_EQ(entry->csize, isStored ? 0 : std::ssize(made.fileData));
        EXPECT_EQ(entry->crc, made.central.crc32);
        EXPECT_EQ(entry->pos, -(stubSize + made.central.relativeOffsetOfLocalHeader));
        EXPECT_EQ(entry->flag, made.central.generalPurposeBitFlag);
        EXPECT_EQ(textOf(entry->comment), made.central.fileComment);
        expectExtraField(entry, made.central.extraField);
        EXPECT_EQ(content(zip, entry), made.content);
    }

    /// An extra field follows its length in two bytes, and a zero follows it.
    static void expectExtraField(const nzentry* entry, const std::string& expected) {
        if (expected.empty()) {
            EXPECT_EQ(entry->extra, nullptr);
            return;
        }
        std::uint16_t length = 0;
        std::memcpy(&length, entry->extra, sizeof(length));
        EXPECT_EQ(length, expected.size());
        EXPECT_EQ(std::string(entry->extra + 2, expected.size()), expected);
        EXPECT_EQ(entry->extra[2 + expected.size()], '\0');
    }
};
