// The block of shared memory and what is posted in it.
#include <windows.h>

#include <stdexcept>

#include "common/share/progress/ClientOperation.h"
#include "common/share/progress/OperationMailbox.h"
#include "support/OnMachine.h"

namespace {

using ipc::SharedMemoryUnsafe;
using progress::ClientOperation;
using Bytes = std::vector<std::uint8_t>;
using Lines = std::vector<std::string>;

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
    machine.sharedMemory.write(kName, {9, 9, 9, 9, 9, 9, 9, 9});
    try {
        const ClientOperation operation(6, kName);
        EXPECT_EQ(machine.sharedMemory.content(kName), started);
        throw std::runtime_error("in between");
    } catch (const std::runtime_error&) {
    }
    EXPECT_EQ(machine.sharedMemory.content(kName), finished);
    EXPECT_EQ(machine.calls.count("CreateFileMappingA"), 1u);
    EXPECT_TRUE(log().empty());
}

TEST_F(Progress, FailedStartReachesTheCaller) {
    const std::string create =
        "SharedMemoryImpl.cpp at ipc::SharedMemoryUnsafe::create(): ipc error";
    const struct {
        const char* function;
        std::uint64_t n;
        std::string message;
    } rows[] = {
        {"CreateFileMappingA", 1, create},
        {"OpenFileMappingA", 2, create},
        {"MapViewOfFile", 1,
         "SharedMemoryImpl.cpp at ipc::SharedMemoryUnsafe::Snapshot::Snapshot(): ipc error"},
        {"FlushViewOfFile", 1,
         "SharedMemoryImpl.cpp at ipc::SharedMemoryUnsafe::Snapshot::flush(): ipc error"},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.function);
        machine.calls.failCall(row.function, row.n, ERROR_ACCESS_DENIED);
        EXPECT_EQ(thrownBy<ipc::PlatformError>([] { ClientOperation(6, kName); }), row.message);
        machine.calls.clearPlans();
        EXPECT_FALSE(machine.sharedMemory.content(kName));
    }
}

TEST_F(Progress, FailedEndIsLogged) {
    for (const char* function : {"MapViewOfFile", "FlushViewOfFile"}) {
        machine.calls.failCall(function, 2, ERROR_ACCESS_DENIED);
        { const ClientOperation operation(6, kName); }
        const Lines lines = log();
        ASSERT_EQ(lines.size(), 1u) << function;
        EXPECT_EQ(lines[0].find("ERROR ClientOperation.cpp progress::ClientOperation::"
                                "~ClientOperation: Exception with message 'SharedMemoryImpl.cpp at "
                                "ipc::SharedMemoryUnsafe::Snapshot::"),
                  0u)
            << lines[0];
        EXPECT_FALSE(machine.sharedMemory.content(kName));
    }
    machine.calls.failCall("UnmapViewOfFile", 1, ERROR_ACCESS_DENIED);
    { const ClientOperation operation(6, kName); }
    const std::string where = "ipc::SharedMemoryUnsafe::Snapshot::~Snapshot";
    EXPECT_EQ(log(), Lines{"ERROR SharedMemoryImpl.cpp " + where +
                           ": Exception with message "
                           "'SharedMemoryImpl.cpp at " +
                           where + "(): ipc error' caught"});
    machine.handles.closeAll();
}

TEST_F(Progress, SnapshotsAreCopies) {
    EXPECT_EQ(thrownBy<ipc::PlatformError>(
                  [] { SharedMemoryUnsafe(SharedMemoryUnsafe::kOpen, "nobody's"); }),
              "SharedMemoryImpl.cpp at ipc::SharedMemoryUnsafe::create(): ipc error");
    const SharedMemoryUnsafe block(SharedMemoryUnsafe::kCreate, "block");
    const SharedMemoryUnsafe same(SharedMemoryUnsafe::kCreate, "block");
    EXPECT_EQ(block.getSize(), 8u);
    {
        SharedMemoryUnsafe::Snapshot first(block);
        SharedMemoryUnsafe::Snapshot second(same);
        EXPECT_EQ(Bytes(first.buffer, first.buffer + 8), Bytes(8));
        first.buffer[0] = 1;
        second.buffer[7] = 2;
        first.flush();
        EXPECT_EQ(second.buffer[0], 0);
        EXPECT_EQ(machine.sharedMemory.content("block"), (Bytes{1, 0, 0, 0, 0, 0, 0, 0}));
        second.flush();
        first.buffer[1] = 1;
    }
    EXPECT_EQ(machine.sharedMemory.content("block"), (Bytes{0, 0, 0, 0, 0, 0, 0, 2}));

    const SharedMemoryUnsafe nameless(SharedMemoryUnsafe::kCreate, nullptr);
    machine.calls.failCall("CoCreateGuid", 1);
    EXPECT_EQ(thrownBy<std::runtime_error>(
                  [] { SharedMemoryUnsafe(SharedMemoryUnsafe::kCreate, nullptr); }),
              "Guid.cpp at Guid::generate(): CoCreateGuid() failed");
}

}  // namespace
