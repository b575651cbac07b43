#include "common/share/progress/ClientOperation.h"

#include <cassert>

#include "common/share/LogException.h"
#include "common/share/progress/OperationMailbox.h"

namespace progress {

using ipc::SharedMemoryUnsafe;

ClientOperation::ClientOperation(std::uint32_t id, const char* name) : id_(id) {
    assert(name);
    try {
        opened_ = std::make_unique<SharedMemoryUnsafe>(SharedMemoryUnsafe::kOpen, name);
    } catch (const ipc::PlatformError&) {
        created_ = std::make_unique<SharedMemoryUnsafe>(SharedMemoryUnsafe::kCreate, name);
        opened_ = std::make_unique<SharedMemoryUnsafe>(SharedMemoryUnsafe::kOpen, name);
    }
    post(id_, OperationState::Started, *opened_);
}

ClientOperation::~ClientOperation() {
    runLogged("progress::ClientOperation::~ClientOperation",
              [this] { post(id_, OperationState::Finished, *opened_); });
}

}  // namespace progress
