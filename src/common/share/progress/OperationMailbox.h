// The record that watching processes read to learn how far an operation is.
#pragma once

#include <cstdint>

#include "ipc/include/ipc/SharedMemory.h"

namespace progress {

enum class OperationState : std::uint32_t {
    Invalid = 0,  ///< nothing was posted
    Started = 1,
    Finished = 2,  ///< successfully or not
};

/// The whole content of the block: 8 bytes, little-endian.
struct OperationMailbox {
    /// `id` must not be 0, `state` must not be Invalid.
    OperationMailbox(std::uint32_t operation, OperationState operationState);

    std::uint32_t id;
    OperationState state;
};

static_assert(sizeof(OperationMailbox) == ipc::kRecordSize);

/// Overwrites the record in the block. Throws ipc::PlatformError.
void post(std::uint32_t id, OperationState state, const ipc::SharedMemoryUnsafe& block);

}  // namespace progress
