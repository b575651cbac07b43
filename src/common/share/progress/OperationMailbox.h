// The record by which a watching process learns how far an operation is.
#pragma once

#include <cstdint>

#include "ipc/include/ipc/SharedMemory.h"

namespace progress {

enum class OperationState : std::uint32_t {
    Invalid = 0,  ///< nothing was posted
    Started = 1,
    Finished = 2,  ///< well or badly
};

/// The whole content of the block: 8 bytes, little-endian.
struct OperationMailbox {
    /// `id` is not 0 and `state` not Invalid.
    OperationMailbox(std::uint32_t operation, OperationState operationState);

    std::uint32_t id;
    OperationState state;
};

static_assert(sizeof(OperationMailbox) == ipc::kRecordSize);

/// Puts a record into the block, over what stands there. Throws ipc::PlatformError.
void post(std::uint32_t id, OperationState state, const ipc::SharedMemoryUnsafe& block);

}  // namespace progress
