#include "common/share/progress/OperationMailbox.h"

#include <cassert>
#include <cstring>

namespace progress {

OperationMailbox::OperationMailbox(std::uint32_t operation, OperationState operationState)
    : id(operation), state(operationState) {
    assert(id);
    assert(state != OperationState::Invalid);
}

void post(std::uint32_t id, OperationState state, const ipc::SharedMemoryUnsafe& block) {
    ipc::SharedMemoryUnsafe::Snapshot snapshot(block);
    const OperationMailbox record(id, state);
    std::memcpy(snapshot.buffer, &record, sizeof(record));
    snapshot.flush();
}

}  // namespace progress
