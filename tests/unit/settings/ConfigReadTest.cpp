// Typed reads, merging, removing, comparing and mapping keys.
#include <gtest/gtest.h>

#include <cmath>
#include <optional>

#include "settings/share/Config.h"
#include "support/Settings.h"

namespace {

using settings_impl::ConfigValue;
using settings_impl::ValueType;

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
    ASSERT_EQ(context.load("string=12\nint=0x1Fz\nbool=YES\ndouble=1.5x\nfixed=Enable\n"
                           "raw=0x10\nrawBad=maybe\nbare\n",
                           {.validator = validator.get(), .bareKeys = true}),
              settings::kSuccess);
    Context merged;
    ASSERT_EQ(api.merge(merged.get(), context.get()), settings::kSuccess);
    const struct {
        const char* key;
        const char* text;
        const char* number;
        const char* flag;
        const char* real;
    } cases[] = {
        {"string", "12", "status 301", "status 301", "status 301"},
        {"int", "0x1Fz", "31", "status 301", "status 301"},
        {"bool", "YES", "status 301", "1", "status 301"},
        {"double", "1.5x", "status 301", "status 301", "1.500000"},
        {"fixed", "Enable", "1", "status 301", "status 301"},
        {"raw", "0x10", "16", "1", "0.000000"},
        {"rawBad", "maybe", "status 302", "status 302", "status 302"},
        {"bare", "status 301", "status 301", "1", "status 301"},
        {"absent", "status 303", "status 303", "status 303", "status 303"},
    };
    for (const auto& c : cases) {
        for (const Context* read : {&context, &merged}) {
            EXPECT_EQ(read->read(api.getString, c.key), c.text) << c.key;
            EXPECT_EQ(read->read(api.getInt, c.key), c.number) << c.key;
            EXPECT_EQ(read->read(api.getBool, c.key), c.flag) << c.key;
            EXPECT_EQ(read->read(api.getDouble, c.key), c.real) << c.key;
        }
    }
}

TEST(ConfigRead, TheLaterKeyWinsAndRemovingNeedsIt) {
    Context first("x=1\ny=2\nw=0");
    Context second("x\ny=3\nz=4");
    std::int32_t empty = 7;
    ASSERT_EQ(api.merge(first.get(), second.get()), settings::kSuccess);
    EXPECT_EQ(second.dump(), "x|y=3|z=4");
    EXPECT_EQ(api.removeKey(first.get(), "a"), settings::kNoSuchKey);
    EXPECT_EQ(first.dump(), "w=0|x|y=3|z=4");
    for (const auto& [key, left] : {std::pair("x", "w=0|y=3|z=4"), std::pair("w", "y=3|z=4"),
                                    std::pair("z", "y=3"), std::pair("y", "")}) {
        EXPECT_EQ(api.removeKey(first.get(), key), settings::kSuccess);
        EXPECT_EQ(first.dump(), left);
        EXPECT_EQ(api.isEmpty(first.get(), &empty), settings::kSuccess);
        EXPECT_EQ(empty == 1, first.dump().empty());
    }
}

/// A configuration with one key, or with none.
std::unique_ptr<settings_impl::IConfig> config(std::optional<ConfigValue> value) {
    settings_impl::ConfigMap values;
    values["k"] = value ? std::make_unique<ConfigValue>(*std::move(value)) : nullptr;
    return settings_impl::makeConfig(std::move(values));
}

TEST(ConfigRead, EqualityLooksAtTypesAndContents) {
    std::vector<std::unique_ptr<settings_impl::IConfig>> different;
    different.push_back(settings_impl::makeConfig({}));
    different.push_back(config({}));
    for (const ValueType type : {ValueType::Raw, ValueType::String, ValueType::Integer,
                                 ValueType::Boolean, ValueType::Double}) {
        different.push_back(config(ConfigValue(type, "1")));
        different.push_back(config(ConfigValue(type, "0")));
    }
    for (const auto& a : different) {
        const auto copy = settings_impl::merge(*a, *different[0]);
        for (const auto& b : different) {
            EXPECT_EQ(settings_impl::equal(*copy, *b), a == b);
        }
    }
    // The number counts, not its text; no not-a-number equals another.
    EXPECT_TRUE(settings_impl::equal(*config(ConfigValue(ValueType::Integer, "0x10")),
                                     *config(ConfigValue::ofInteger(16, nullptr))));
    const auto none = config(ConfigValue::ofDouble(NAN, "n"));
    EXPECT_FALSE(settings_impl::equal(*none, *config(ConfigValue::ofDouble(NAN, "n"))));
    EXPECT_TRUE(settings_impl::equal(*none, *none));
    for (const auto& [text, expected] :
         {std::pair("y=2\nx=1", 1), std::pair("y=2", 0), std::pair("x=1\nz=2", 0)}) {
        std::int32_t same = 7;
        EXPECT_EQ(api.equals(Context("x=1\ny=2").get(), Context(text).get(), &same),
                  settings::kSuccess);
        EXPECT_EQ(same, expected);
    }
    EXPECT_EQ(ConfigValue::ofInteger(-7, nullptr).text(), "-7");
    EXPECT_EQ(ConfigValue::ofBoolean(true, nullptr).text(), "true");
    EXPECT_EQ(ConfigValue::ofDouble(1e10, nullptr).text(), "1e+10");
}

TEST(ConfigRead, TheLastMappingThatMatchesIsTheOnlyOne) {
    const Mapper mapper = makeMapper([](auto* builder) {
        api.addKeyMapping(builder, "A", "c", 0);
        api.addKeyMapping(builder, "b", "before", 1);
        api.addKeyMapping(builder, "a", "b", 0);
        api.addKeyMapping(builder, "b", "behind", 1);
        api.addKeyMapping(builder, "\xC3\x84", "umlaut", 0);
    });
    for (const auto& [key, stored] :
         {std::pair("a", "b"), std::pair("A", "b"), std::pair("b", "behind"), std::pair("B", "B"),
          std::pair("\xC3\xA4", "\xC3\xA4"), std::pair("ab", "ab")}) {
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
    // One frame serves all entries.
    EXPECT_EQ(api.getInt(nullptr, "a", &number), settings::kNullArgument);
    EXPECT_EQ(api.forEachKey(context.get(), callback, nullptr), settings::kNullArgument);
    makeValidator([](auto* builder) {
        const FixedValue noText = {nullptr, 1, 0};
        EXPECT_EQ(api.addFixedValues(builder, "a", &noText, 1), settings::kNullArgument);
    });
    static_assert(sizeof(settings_api) == 32 * sizeof(void (*)()));
    static_assert(offsetof(settings_api, removeKey) == 15 * sizeof(void (*)()));
}

}  // namespace
