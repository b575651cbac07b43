// Publishes to watching processes that an operation runs, for as long as the object exists.
#pragma once

#include <cstdint>
#include <memory>

#include "ipc/include/ipc/SharedMemory.h"

namespace progress {

class ClientOperation {
public:
    /// Opens the shared block of this name, or creates it if it doesn't exist, and posts that
    /// operation `id` has started. `name` must not be null, `id` must not be 0. Throws
    /// ipc::PlatformError.
    ClientOperation(std::uint32_t id, const char* name);

    /// Posts that the operation has finished; a failure is logged.
    ~ClientOperation();
    ClientOperation(const ClientOperation&) = delete;
    ClientOperation& operator=(const ClientOperation&) = delete;

private:
    std::uint32_t id_;
    std::unique_ptr<ipc::SharedMemoryUnsafe> created_;  // null if the block existed
    std::unique_ptr<ipc::SharedMemoryUnsafe>
        opened_;  // the block is written through this object; released first
};

}  // namespace progress
