// Typed reads of a configuration, merging and removing.
#include "settings/share/Config.h"

#include <gtest/gtest.h>

#include "support/Settings.h"

namespace {

class ConfigTest : public testing::Test {
protected:
    ConfigTest() {
        typed.load(
            "string=12\nint=0x1Fz\nbool=NO\ndouble=1.5x\nfixed=Enable\n"
            "raw=0x10\nrawBad=maybe\nbare\n",
            {.validator = validator.get(), .bareKeys = true});
    }

    const Validator validator = makeValidator([](auto* builder) {
        const FixedValue onOff[] = {{"Enable", 1, settings::kExactCase}};
        api.addStringKey(builder, "string");
        api.addIntKey(builder, "int");
        api.addBoolKey(builder, "bool");
        api.addDoubleKey(builder, "double");
        api.addFixedValues(builder, "fixed", onOff, 1);
        api.allowUnknownKeys(builder, 1);
    });
    /// A key of each type; "raw", "rawBad" and "bare" have no rule.
    Context typed;
};

struct TypedReads {
    const char* key;
    std::string asString, asInt, asBool, asDouble;
};

void expectReads(const Context& context, const TypedReads& expected) {
    SCOPED_TRACE(expected.key);
    EXPECT_EQ(context.read(api.getString, expected.key), expected.asString);
    EXPECT_EQ(context.read(api.getInt, expected.key), expected.asInt);
    EXPECT_EQ(context.read(api.getBool, expected.key), expected.asBool);
    EXPECT_EQ(context.read(api.getDouble, expected.key), expected.asDouble);
}

/// What each key of `typed` reads as.
const TypedReads kReads[] = {
    {.key = "string", .asString = "12", .asInt = kNoFit, .asBool = kNoFit, .asDouble = kNoFit},
    {.key = "int", .asString = "0x1Fz", .asInt = "31", .asBool = kNoFit, .asDouble = kNoFit},
    {.key = "bool", .asString = "NO", .asInt = kNoFit, .asBool = "0", .asDouble = kNoFit},
    {.key = "double", .asString = "1.5x", .asInt = kNoFit, .asBool = kNoFit, .asDouble = "1.5"},
    {.key = "fixed", .asString = "Enable", .asInt = "1", .asBool = kNoFit, .asDouble = kNoFit},
    {.key = "raw", .asString = "0x10", .asInt = "16", .asBool = "1", .asDouble = "0"},
    {.key = "rawBad", .asString = "maybe", .asInt = kBad, .asBool = kBad, .asDouble = kBad},
    {.key = "bare", .asString = kNoFit, .asInt = kNoFit, .asBool = "1", .asDouble = kNoFit},
    {.key = "absent", .asString = kNoKey, .asInt = kNoKey, .asBool = kNoKey, .asDouble = kNoKey},
};

TEST_F(ConfigTest, ReadsFitTheStoredType) {
    for (const TypedReads& reads : kReads) {
        expectReads(typed, reads);
    }
}

TEST_F(ConfigTest, MergedEntriesKeepTheirTypesAndWin) {
    Context merged("bool\nraw=old\nx=1");
    ASSERT_EQ(api.merge(merged.get(), typed.get()), settings::kSuccess);
    for (const TypedReads& reads : kReads) {
        expectReads(merged, reads);
    }
    EXPECT_EQ(merged.dump(), typed.dump() + "|x=1");
}

TEST_F(ConfigTest, RemovedKeysAreNotThere) {
    Context context("a=1\nb=2");
    EXPECT_EQ(api.removeKey(context.get(), "a"), settings::kSuccess);
    EXPECT_EQ(context.dump(), "b=2");
    EXPECT_EQ(api.removeKey(context.get(), "a"), settings::kNoSuchKey);
}

TEST_F(ConfigTest, EqualConfigurationsHaveTheSameTypes) {
    const Context raw("int=0x1Fz");
    Context typedCopy;
    api.merge(typedCopy.get(), typed.get());
    std::int32_t same = -1;
    EXPECT_EQ(api.equals(typedCopy.get(), typed.get(), &same), settings::kSuccess);
    EXPECT_EQ(same, 1);
    Context oneInt;
    oneInt.load("int=0x1Fz", {.validator = validator.get()});
    EXPECT_EQ(api.equals(oneInt.get(), raw.get(), &same), settings::kSuccess);
    EXPECT_EQ(same, 0);
}

}  // namespace
