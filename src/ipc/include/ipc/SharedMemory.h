// A named block of memory that processes share, read and written back as one small record.
//
//     ipc::SharedMemoryUnsafe::Snapshot snapshot(memory);   // the record, copied out
//     change(snapshot.buffer);
//     snapshot.flush();                                      // the record, copied back
//
// Nothing guards the block between processes: a flush writes the whole record.
#pragma once

#include <cstddef>
#include <memory>
#include <stdexcept>

namespace ipc {

class Error : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

/// A failed platform call. It carries no status.
class PlatformError : public Error {
public:
    explicit PlatformError(const char* text = "ipc error") : Error(text) {}
};

/// The size of the record in bytes, which is the size of the block.
constexpr std::size_t kRecordSize = 8;

/// The block. It exists as long as a process holds it; the last one to let go deletes it.
class SharedMemoryUnsafe {
public:
    enum Open { kOpen };
    enum Create { kCreate };

    /// Opens the block of this name, which is not null. Throws PlatformError when there is none.
    SharedMemoryUnsafe(Open, const char* name);

    /// Creates the block, zero-filled, or shares the one that exists under the name. A null name
    /// stands for a fresh GUID. Throws PlatformError.
    SharedMemoryUnsafe(Create, const char* name);

    ~SharedMemoryUnsafe();
    SharedMemoryUnsafe(const SharedMemoryUnsafe&) = delete;
    SharedMemoryUnsafe& operator=(const SharedMemoryUnsafe&) = delete;

    std::size_t getSize() const;

    /// One exchange with a block, by one thread. The block is needed only while it is made.
    class Snapshot {
    public:
        /// Maps the block and copies the record out. Throws PlatformError.
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
