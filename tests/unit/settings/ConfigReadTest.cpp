// Typed reads, merging, removing, comparing and mapping keys.
#include <gtest/gtest.h>

#include <cmath>

#include "settings/share/Config.h"
#include "unit/settings/Library.h"

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
    ASSERT_EQ(api.merge(merged.handle.get(), context.handle.get()), settings::kSuccess);
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
    ASSERT_EQ(api.merge(first.handle.get(), second.handle.get()), settings::kSuccess);
    EXPECT_EQ(first.dump(), "w=0|x|y=3|z=4");
    EXPECT_EQ(second.dump(), "x|y=3|z=4");
    EXPECT_EQ(api.removeKey(first.handle.get(), "a"), settings::kNoSuchKey);
    EXPECT_EQ(first.dump(), "w=0|x|y=3|z=4");
    for (const auto& [key, left] : {std::pair("x", "w=0|y=3|z=4"), std::pair("w", "y=3|z=4"),
                                    std::pair("z", "y=3"), std::pair("y", "")}) {
        EXPECT_EQ(api.isEmpty(first.handle.get(), &empty), settings::kSuccess);
        EXPECT_EQ(empty, 0);
        EXPECT_EQ(api.removeKey(first.handle.get(), key), settings::kSuccess);
        EXPECT_EQ(first.dump(), left);
    }
    EXPECT_EQ(api.isEmpty(first.handle.get(), &empty), settings::kSuccess);
    EXPECT_EQ(empty, 1);
}

/// A configuration with one key, or with none.
std::unique_ptr<settings_impl::IConfig> config(std::optional<ConfigValue> value,
                                               const char* key = "k") {
    settings_impl::ConfigMap values;
    values[key] = value ? std::make_unique<ConfigValue>(*std::move(value)) : nullptr;
    return settings_impl::makeConfig(std::move(values));
}

TEST(ConfigRead, EqualityLooksAtTypesAndContents) {
    std::vector<std::unique_ptr<settings_impl::IConfig>> different;
    different.push_back(settings_impl::makeConfig({}));
    different.push_back(config({}));
    different.push_back(config({}, "l"));
    for (const auto& [type, text] :
         {std::pair(ValueType::Raw, "1"), std::pair(ValueType::Raw, "01"),
          std::pair(ValueType::String, "1"), std::pair(ValueType::Integer, "1"),
          std::pair(ValueType::Integer, "2"), std::pair(ValueType::Boolean, "1"),
          std::pair(ValueType::Boolean, "0"), std::pair(ValueType::Double, "1"),
          std::pair(ValueType::Double, "1.5")}) {
        different.push_back(config(ConfigValue(type, text)));
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
    std::int32_t same = 0;
    for (const auto& [text, expected] : {std::pair("y=2\nx=1", 1), std::pair("y=2", 0)}) {
        const Context a("x=1\ny=2");
        const Context b(text);
        EXPECT_EQ(api.equals(a.handle.get(), b.handle.get(), &same), settings::kSuccess);
        EXPECT_EQ(same, expected);
    }
}

TEST(ConfigRead, ValuesWithoutTextGetTheirNumbersOwn) {
    EXPECT_EQ(ConfigValue::ofInteger(-7, nullptr).text(), "-7");
    EXPECT_EQ(ConfigValue::ofBoolean(true, nullptr).text(), "true");
    EXPECT_EQ(ConfigValue::ofDouble(1e10, nullptr).text(), "1e+10");
    EXPECT_EQ(ConfigValue::ofInteger(-7, "x").text(), "x");
    EXPECT_THROW(ConfigValue(static_cast<ValueType>(105), "1"), std::runtime_error);
    EXPECT_THROW(ConfigValue(ValueType::String, "\xFF"), settings::Exception);
}

TEST(ConfigRead, TheLastMappingThatMatchesIsTheOnlyOne) {
    const Mapper mapper = makeMapper([](auto* builder) {
        api.addKeyMapping(builder, "A", "c", 0);
        api.addKeyMapping(builder, "b", "before", 1);
        api.addKeyMapping(builder, "a", "b", 0);
        api.addKeyMapping(builder, "b", "behind", 1);
        api.addKeyMapping(builder, "Exact", "e", 1);
        api.addKeyMapping(builder, "\xC3\x84", "umlaut", 0);
    });
    for (const auto& [key, stored] :
         {std::pair("a", "b"), std::pair("A", "b"), std::pair("b", "behind"), std::pair("B", "B"),
          std::pair("Exact", "e"), std::pair("EXACT", "EXACT"), std::pair("\xC3\xA4", "\xC3\xA4"),
          std::pair("ab", "ab")}) {
        Context context;
        ASSERT_EQ(context.load(key, {.keyMapper = mapper.get(), .bareKeys = true}),
                  settings::kSuccess);
        EXPECT_EQ(context.dump(), stored);
    }
}

TEST(ConfigRead, NoEntryLetsAnExceptionOutOrTakesANull) {
    const Context context("a=1");
    settings_context* const handle = context.handle.get();
    std::int32_t number = 0;
    const auto callback = [](settings_context*, std::uint32_t, std::uint32_t, const char*, void*) {
        throw 7;
    };
    EXPECT_EQ(api.forEachKey(handle, callback, &number), settings::kFailure);
    // One frame serves all entries.
    EXPECT_EQ(api.getInt(nullptr, "a", &number), settings::kNullArgument);
    EXPECT_EQ(api.forEachKey(handle, nullptr, &number), settings::kNullArgument);
    EXPECT_EQ(api.forEachKey(handle, callback, nullptr), settings::kNullArgument);
    const FixedValue noText = {nullptr, 1, 0};
    settings_validator_builder* const rules = api.createValidatorBuilder();
    EXPECT_EQ(api.addFixedValues(rules, "a", &noText, 1), settings::kNullArgument);
    api.destroyValidatorBuilder(rules);
    static_assert(sizeof(settings_api) == 32 * sizeof(void (*)()));
    static_assert(offsetof(settings_api, removeKey) == 15 * sizeof(void (*)()));
}

}  // namespace
