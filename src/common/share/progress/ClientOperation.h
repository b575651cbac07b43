// Tells a watching process that an operation runs, for as long as the object lives.
#pragma once

#include <cstdint>
#include <memory>

#include "ipc/include/ipc/SharedMemory.h"

namespace progress {

class ClientOperation {
public:
    /// Opens the block of this name, or creates it where there is none, and posts that operation
    /// `id` has started. `name` is not null, `id` not 0. Throws ipc::PlatformError.
    ClientOperation(std::uint32_t id, const char* name);

    /// Posts that the operation has finished; a failure is a log record.
    ~ClientOperation();
    ClientOperation(const ClientOperation&) = delete;
    ClientOperation& operator=(const ClientOperation&) = delete;

private:
    std::uint32_t id_;
    std::unique_ptr<ipc::SharedMemoryUnsafe> created_;  // only where there was none
    std::unique_ptr<ipc::SharedMemoryUnsafe> opened_;   // released first: what is written through
};

}  // namespace progress
