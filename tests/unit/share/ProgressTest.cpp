// The block of shared memory and what is posted in it.
#include <map>

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
    machine.sharedMemory.write(kName, Bytes(8, 9));
    { const ClientOperation operation(6, kName); }
    EXPECT_EQ(machine.sharedMemory.content(kName), finished);
    EXPECT_EQ(machine.calls.count("CreateFileMappingA"), 1u);
    EXPECT_TRUE(log().empty());
}

TEST_F(Progress, FailuresAtTheStartAreThrownAndLaterOnesLogged) {
    const std::string memory = "SharedMemoryImpl.cpp at ipc::SharedMemoryUnsafe::";
    const std::string end =
        "ERROR ClientOperation.cpp progress::ClientOperation::~ClientOperation: ";
    const std::string unmap = "ipc::SharedMemoryUnsafe::Snapshot::~Snapshot";
    const auto caught = [&](const std::string& place) {
        return "Exception with message '" + memory + place + "(): ipc error' caught";
    };
    const struct {
        const char* function;
        std::uint64_t n;
        std::string thrown;
        Lines log;
    } rows[] = {
        {"CreateFileMappingA", 1, memory + "create(): ipc error", {}},
        {"OpenFileMappingA", 2, memory + "create(): ipc error", {}},
        {"MapViewOfFile", 1, memory + "Snapshot::Snapshot(): ipc error", {}},
        {"FlushViewOfFile", 1, memory + "Snapshot::flush(): ipc error", {}},
        {"MapViewOfFile", 2, "", {end + caught("Snapshot::Snapshot")}},
        {"FlushViewOfFile", 2, "", {end + caught("Snapshot::flush")}},
        {"UnmapViewOfFile",
         1,
         "",
         {"ERROR SharedMemoryImpl.cpp " + unmap + ": " + caught("Snapshot::~Snapshot")}},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.function);
        machine.calls.failCall(row.function, row.n, ERROR_ACCESS_DENIED);
        std::string thrown;
        try {
            const ClientOperation operation(6, kName);
        } catch (const ipc::PlatformError& e) {
            thrown = withoutLines(e.what());
        }
        machine.calls.clearPlans();
        machine.handles.closeAll();
        EXPECT_EQ(thrown, row.thrown);
        EXPECT_EQ(log(), row.log);
        EXPECT_FALSE(machine.sharedMemory.content(kName));
    }
}

TEST_F(Progress, SnapshotsAreCopies) {
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
        EXPECT_EQ(machine.sharedMemory.content("block"), (Bytes{1, 0, 0, 0, 0, 0, 0, 0}));
        second.flush();
        first.buffer[1] = 1;
    }
    EXPECT_EQ(machine.sharedMemory.content("block"), (Bytes{0, 0, 0, 0, 0, 0, 0, 2}));
    const SharedMemoryUnsafe nameless(SharedMemoryUnsafe::kCreate, nullptr);
}

}  // namespace
