// Typed reads, merging, removing and mapping keys.
#include <gtest/gtest.h>

#include "support/Settings.h"

namespace {

TEST(ConfigRead, ReadsFitTheStoredTypeAlsoWhenMerged) {
    const Validator validator = makeValidator([](auto* builder) {
        const FixedValue onOff[] = {{"Enable", 1, settings::kExactCase}};
        api.addStringKey(builder, "string");
        api.addIntKey(builder, "int");
        api.addBoolKey(builder, "bool");
        api.addDoubleKey(builder, "double");
        api.addFixedValues(builder, "fixed", onOff, 1);
        api.allowUnknownKeys(builder, 1);
    });
    Context context;
    ASSERT_EQ(context.load("string=12\nint=0x1Fz\nbool=NO\ndouble=1.5x\nfixed=Enable\n"
                           "raw=0x10\nrawBad=maybe\nbare\n",
                           {.validator = validator.get(), .bareKeys = true}),
              settings::kSuccess);
    Context merged("bool\nraw=old\nx=1");
    ASSERT_EQ(api.merge(merged.get(), context.get()), settings::kSuccess);
    EXPECT_EQ(merged.dump(), context.dump() + "|x=1");
    const std::string none = "status 301";
    const std::vector<std::string> rows[] = {
        {"string", "12", none, none, none},
        {"int", "0x1Fz", "31", none, none},
        {"bool", "NO", none, "0", none},
        {"double", "1.5x", none, none, "1.5"},
        {"fixed", "Enable", "1", none, none},
        {"raw", "0x10", "16", "1", "0"},
        {"rawBad", "maybe", "status 302", "status 302", "status 302"},
        {"bare", none, none, "1", none},
        {"absent", "status 303", "status 303", "status 303", "status 303"},
    };
    for (const auto& row : rows) {
        for (const Context* from : {&context, &merged}) {
            const char* const key = row[0].c_str();
            EXPECT_EQ((std::vector<std::string>{
                          key, from->read(api.getString, key), from->read(api.getInt, key),
                          from->read(api.getBool, key), from->read(api.getDouble, key)}),
                      row);
        }
    }
    EXPECT_EQ(api.removeKey(merged.get(), "x"), settings::kSuccess);
    EXPECT_EQ(api.removeKey(merged.get(), "x"), settings::kNoSuchKey);
    std::int32_t same = 7;
    EXPECT_EQ(api.equals(merged.get(), context.get(), &same), settings::kSuccess);
    EXPECT_EQ(same, 1);
}

TEST(ConfigRead, TheLastMappingThatMatchesIsTheOnlyOne) {
    const Mapper mapper = makeMapper([](auto* builder) {
        api.addKeyMapping(builder, "A", "c", 0);
        api.addKeyMapping(builder, "b", "before", 1);
        api.addKeyMapping(builder, "a", "b", 0);
        api.addKeyMapping(builder, "b", "behind", 1);
    });
    for (const auto& [key, stored] : {std::pair("a", "b"), std::pair("A", "b"),
                                      std::pair("b", "behind"), std::pair("B", "B")}) {
        Context context;
        context.load(key, {.keyMapper = mapper.get(), .bareKeys = true});
        EXPECT_EQ(context.dump(), stored);
    }
}

TEST(ConfigRead, NoEntryLetsAnExceptionOutOrTakesANull) {
    const Context context("a=1");
    std::int32_t number = 0;
    const auto callback = [](settings_context*, std::uint32_t, std::uint32_t, const char*, void*) {
        throw 7;
    };
    EXPECT_EQ(api.forEachKey(context.get(), callback, &number), settings::kFailure);
    EXPECT_EQ(api.getInt(nullptr, "a", &number), settings::kNullArgument);
    static_assert(offsetof(settings_api, removeKey) == 15 * sizeof(void (*)()));
    static_assert(offsetof(settings_api, addKeyMapping) == 31 * sizeof(void (*)()));
}

}  // namespace
