#include "settings/share/KeyMapper.h"

#include <gtest/gtest.h>

#include "support/Settings.h"

namespace {

TEST(KeyMapper, OnlyTheLastMappingThatMatchesApplies) {
    const Mapper mapper = makeMapper([](auto* builder) {
        api.addKeyMapping(builder, "A", "c", 0);
        api.addKeyMapping(builder, "b", "first", 1);
        api.addKeyMapping(builder, "a", "b", 0);
        api.addKeyMapping(builder, "b", "second", 1);
    });
    const std::pair<const char*, const char*> rows[] = {
        {"a", "b"}, {"A", "b"}, {"b", "second"}, {"B", "B"}};
    for (const auto& [key, stored] : rows) {
        Context context;
        context.load(key, {.keyMapper = mapper.get(), .bareKeys = true});
        EXPECT_EQ(context.dump(), stored) << key;
    }
}

}  // namespace
