// What a watching process sees in the block of shared memory while an operation runs.
#include "common/share/progress/ClientOperation.h"

#include <map>

#include "support/OnMachine.h"
#include "support/Thrown.h"

namespace {

using progress::ClientOperation;
using Bytes = std::vector<std::uint8_t>;

constexpr const char* kName = "PmtOperationSequenceSharedMemory";
const Bytes kStarted = {6, 0, 0, 0, 1, 0, 0, 0};
const Bytes kFinished = {6, 0, 0, 0, 2, 0, 0, 0};

class ClientOperationTest : public OnMachine {
protected:
    ClientOperationTest() {
        machine.sharedMemory.observeFlushes(
            [this](const std::string&, const Bytes& bytes) { seen.push_back(bytes); });
    }

    std::vector<Bytes> seen;
};

TEST_F(ClientOperationTest, StartAndEndArePosted) {
    { const ClientOperation operation(6, kName); }
    EXPECT_EQ(seen, (std::vector<Bytes>{kStarted, kFinished}));
    EXPECT_EQ(machine.sharedMemory.content(kName), std::nullopt) << "the block is closed";
}

TEST_F(ClientOperationTest, AnExistingBlockIsUsed) {
    machine.sharedMemory.holdByOther(kName);
    machine.sharedMemory.write(kName, Bytes(8, 9));
    { const ClientOperation operation(6, kName); }
    EXPECT_EQ(machine.sharedMemory.content(kName), kFinished);
    EXPECT_EQ(machine.calls.count("CreateFileMappingA"), 0u);
    EXPECT_EQ(log(), std::vector<std::string>());
}

struct FailingCall {
    const char* function;
    std::uint64_t number;
    const char* logged = nullptr;  ///< the function in the ERROR record
};

TEST_F(ClientOperationTest, FailuresAtTheStartAreThrown) {
    for (const FailingCall& call : {FailingCall{"CreateFileMappingA", 1},
                                    {"OpenFileMappingA", 2},
                                    {"MapViewOfFile", 1},
                                    {"FlushViewOfFile", 1}}) {
        SCOPED_TRACE(call.function);
        machine.calls.failCall(call.function, call.number, ERROR_ACCESS_DENIED);
        EXPECT_EQ(thrownText([] { const ClientOperation operation(6, kName); }), "ipc error");
        machine.calls.clearPlans();
        EXPECT_EQ(log(), std::vector<std::string>());
        EXPECT_EQ(machine.sharedMemory.content(kName), std::nullopt);
    }
}

TEST_F(ClientOperationTest, LaterFailuresAreLogged) {
    const char* const end = "progress::ClientOperation::~ClientOperation";
    const char* const snapshot = "ipc::SharedMemoryUnsafe::Snapshot::~Snapshot";
    for (const FailingCall& call : {FailingCall{"MapViewOfFile", 2, end},
                                    {"FlushViewOfFile", 2, end},
                                    {"UnmapViewOfFile", 1, snapshot}}) {
        SCOPED_TRACE(call.function);
        clearLog(machine);
        machine.calls.failCall(call.function, call.number, ERROR_ACCESS_DENIED);
        EXPECT_EQ(thrownText([] { const ClientOperation operation(6, kName); }), "nothing");
        machine.calls.clearPlans();
        machine.handles.closeAll();
        const std::vector<LogRecord> records = logRecords(machine);
        ASSERT_EQ(records.size(), 1u);
        EXPECT_EQ(records[0].function, call.logged);
        EXPECT_EQ(machine.sharedMemory.content(kName), std::nullopt);
    }
}

}  // namespace
