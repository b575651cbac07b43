#include "windows/installerdll/UpdateContext.h"

#include "unit/windows/installerdll/Family.h"

using namespace family;

namespace {

bool changesLatest(const std::vector<Product>& installed, UpdateAction action,
                   const Product& changed) {
    const Family pc(installed);
    const InstalledNorv product = NorvEnvironment::getByProductCode(pc.listed, Guid(changed.code));
    return UpdatePlan(pc.listed, product, action).context().latestChanged;
}

TEST(UpdatePlan, NotesWhetherTheLatestRuntimeChanges) {
    const std::vector<Product> installed = {qvr("17"), qvr("17", 32), qvr("11"), qvk("21")};
    EXPECT_TRUE(changesLatest(installed, UpdateAction::Install, qvr("17")));
    EXPECT_TRUE(changesLatest(installed, UpdateAction::Remove, qvr("17")));
    EXPECT_FALSE(changesLatest(installed, UpdateAction::Remove, qvr("17", 32)));
    EXPECT_FALSE(changesLatest(installed, UpdateAction::Install, qvr("11")));
    EXPECT_TRUE(changesLatest({qvr("11")}, UpdateAction::Remove, qvr("11")));
}

}  // namespace
