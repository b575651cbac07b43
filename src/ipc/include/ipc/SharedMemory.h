// A named block of shared memory, read and written as one small record.
//
//     ipc::SharedMemoryUnsafe::Snapshot snapshot(memory);  // copies the record out
//     change(snapshot.buffer);
//     snapshot.flush();                                    // copies it back
//
// Processes don't synchronise their accesses: a flush writes the whole record.
#pragma once

#include <cstddef>
#include <memory>
#include <stdexcept>

namespace ipc {

class Error : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

/// A failed platform call, without its status.
class PlatformError : public Error {
public:
    explicit PlatformError(const char* text = "ipc error") : Error(text) {}
};

/// The size of the record, which is the size of the block, in bytes.
constexpr std::size_t kRecordSize = 8;

/// The block. It exists as long as a process has it open.
class SharedMemoryUnsafe {
public:
    enum Open { kOpen };
    enum Create { kCreate };

    /// Opens the block of this name, which must not be null. Throws PlatformError if it doesn't
    /// exist.
    SharedMemoryUnsafe(Open, const char* name);

    /// Creates the block, filled with zeros, or opens the existing one of this name. A null name
    /// means a new GUID. Throws PlatformError.
    SharedMemoryUnsafe(Create, const char* name);

    ~SharedMemoryUnsafe();
    SharedMemoryUnsafe(const SharedMemoryUnsafe&) = delete;
    SharedMemoryUnsafe& operator=(const SharedMemoryUnsafe&) = delete;

    std::size_t getSize() const;

    /// One exchange with a block, on one thread. The block is needed only by the constructor.
    class Snapshot {
    public:
        /// Maps the block and copies the record to `buffer`. Throws PlatformError.
        explicit Snapshot(const SharedMemoryUnsafe& memory);
        ~Snapshot();
        Snapshot(const Snapshot&) = delete;
        Snapshot& operator=(const Snapshot&) = delete;

        /// Copies the record back into the block. Throws PlatformError.
        void flush();

        unsigned char buffer[kRecordSize];

    private:
        void* view_;
        std::size_t size_;
    };

private:
    struct Impl;

    std::unique_ptr<Impl> impl_;
};

}  // namespace ipc
