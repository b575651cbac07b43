// The block of shared memory and what is posted in it.
#include <map>

#include "common/share/progress/ClientOperation.h"
#include "common/share/progress/OperationMailbox.h"
#include "support/OnMachine.h"
#include "support/Thrown.h"

namespace {

using ipc::SharedMemoryUnsafe;
using progress::ClientOperation;
using Bytes = std::vector<std::uint8_t>;

constexpr const char* kName = "PmtOperationSequenceSharedMemory";

class Progress : public OnMachine {
protected:
    Progress() {
        machine.sharedMemory.observeFlushes(
            [this](const std::string& name, const Bytes& bytes) { seen[name].push_back(bytes); });
    }

    const Bytes started = {6, 0, 0, 0, 1, 0, 0, 0};
    const Bytes finished = {6, 0, 0, 0, 2, 0, 0, 0};
    std::map<std::string, std::vector<Bytes>> seen;
};

TEST_F(Progress, ReaderSeesStartAndEnd) {
    { const ClientOperation operation(6, kName); }
    EXPECT_EQ(seen[kName], (std::vector<Bytes>{started, finished}));
    EXPECT_FALSE(machine.sharedMemory.content(kName)) << "nobody holds the block any more";

    machine.sharedMemory.holdByOther(kName);
    machine.sharedMemory.write(kName, Bytes(8, 9));
    { const ClientOperation operation(6, kName); }
    EXPECT_EQ(machine.sharedMemory.content(kName), finished);
    EXPECT_EQ(machine.calls.count("CreateFileMappingA"), 1u);
    EXPECT_TRUE(log().empty());
}

TEST_F(Progress, FailuresAtTheStartAreThrownAndLaterOnesLogged) {
    const struct {
        const char* function;
        std::uint64_t n;
        const char* thrown;
        std::vector<std::string> functionsLogged;
    } rows[] = {
        {"CreateFileMappingA", 1, "ipc error", {}},
        {"OpenFileMappingA", 2, "ipc error", {}},
        {"MapViewOfFile", 1, "ipc error", {}},
        {"FlushViewOfFile", 1, "ipc error", {}},
        {"MapViewOfFile", 2, "nothing", {"progress::ClientOperation::~ClientOperation"}},
        {"FlushViewOfFile", 2, "nothing", {"progress::ClientOperation::~ClientOperation"}},
        {"UnmapViewOfFile", 1, "nothing", {"ipc::SharedMemoryUnsafe::Snapshot::~Snapshot"}},
    };
    for (const auto& row : rows) {
        clearLog(machine);
        machine.calls.failCall(row.function, row.n, ERROR_ACCESS_DENIED);
        EXPECT_EQ(thrownText([] { const ClientOperation operation(6, kName); }), row.thrown);
        machine.calls.clearPlans();
        machine.handles.closeAll();
        std::vector<std::string> functions;
        for (const LogRecord& record : logRecords(machine)) {
            functions.push_back(record.function);
        }
        EXPECT_EQ(functions, row.functionsLogged);
        EXPECT_FALSE(machine.sharedMemory.content(kName));
    }
}

TEST_F(Progress, SnapshotsAreCopies) {
    const SharedMemoryUnsafe block(SharedMemoryUnsafe::kCreate, "block");
    EXPECT_EQ(block.getSize(), 8u);
    {
        SharedMemoryUnsafe::Snapshot first(block);
        SharedMemoryUnsafe::Snapshot second(block);
        EXPECT_EQ(Bytes(first.buffer, first.buffer + 8), Bytes(8));
        first.buffer[0] = 1;
        second.buffer[7] = 2;
        first.flush();
        EXPECT_EQ(machine.sharedMemory.content("block"), (Bytes{1, 0, 0, 0, 0, 0, 0, 0}));
        second.flush();
        first.buffer[1] = 1;
    }
    EXPECT_EQ(machine.sharedMemory.content("block"), (Bytes{0, 0, 0, 0, 0, 0, 0, 2}));
    const SharedMemoryUnsafe nameless(SharedMemoryUnsafe::kCreate, nullptr);
}

}  // namespace
