// The block of shared memory and what is posted in it.
#include <map>

#include "common/share/progress/ClientOperation.h"
#include "support/OnMachine.h"
#include "support/Thrown.h"

namespace {

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
    const std::string end = "progress::ClientOperation::~ClientOperation";
    const std::tuple<const char*, std::uint64_t, std::string> rows[] = {
        {"CreateFileMappingA", 1, "thrown"},
        {"OpenFileMappingA", 2, "thrown"},
        {"MapViewOfFile", 1, "thrown"},
        {"FlushViewOfFile", 1, "thrown"},
        {"MapViewOfFile", 2, end},
        {"FlushViewOfFile", 2, end},
        {"UnmapViewOfFile", 1, "ipc::SharedMemoryUnsafe::Snapshot::~Snapshot"},
    };
    for (const auto& [function, n, logged] : rows) {
        clearLog(machine);
        machine.calls.failCall(function, n, ERROR_ACCESS_DENIED);
        const std::string thrown = thrownText([] { const ClientOperation operation(6, kName); });
        machine.calls.clearPlans();
        machine.handles.closeAll();
        EXPECT_EQ(thrown, logged == "thrown" ? "ipc error" : "nothing");
        const std::vector<LogRecord> records = logRecords(machine);
        EXPECT_EQ(records.empty() ? "thrown" : records[0].function, logged);
        EXPECT_FALSE(machine.sharedMemory.content(kName));
    }
}

}  // namespace
