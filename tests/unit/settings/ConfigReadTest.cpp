// Typed reads, merging, removing, comparing and mapping keys.
#include <gtest/gtest.h>

#include <cmath>
#include <cstring>

#include "settings/share/Config.h"
#include "unit/settings/Library.h"

namespace {

using settings_impl::ConfigValue;
using settings_impl::ValueType;

TEST(ConfigRead, ReadsFitTheStoredType) {
    const Validator validator = makeValidator([](const settings_api& api, auto* builder) {
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
        EXPECT_EQ(context.getString(c.key), c.text) << c.key;
        EXPECT_EQ(context.getInt(c.key), c.number) << c.key;
        EXPECT_EQ(context.getBool(c.key), c.flag) << c.key;
        EXPECT_EQ(context.getDouble(c.key), c.real) << c.key;
    }
}

TEST(ConfigRead, MergedConfigsKeepTypesAndTheLaterKey) {
    const Validator validator = makeValidator([](const settings_api& api, auto* builder) {
        api.addIntKey(builder, "i");
        api.addBoolKey(builder, "b");
        api.addDoubleKey(builder, "d");
        api.allowUnknownKeys(builder, 1);
    });
    Context first;
    first.load("i=010\nb=yes\nd=0.5\nx=1\ny=2", {.validator = validator.get()});
    Context second("x\ny=3\nz=4");
    ASSERT_EQ(first.api.merge(first.handle.get(), second.handle.get()), settings::kSuccess);
    EXPECT_EQ(first.dump(), "b=yes|d=0.5|i=010|x|y=3|z=4");
    EXPECT_EQ(first.getInt("i"), "8");
    EXPECT_EQ(first.getBool("b"), "1");
    EXPECT_EQ(first.getDouble("d"), "0.500000");
    EXPECT_EQ(second.dump(), "x|y=3|z=4");
}

TEST(ConfigRead, RemovingNeedsTheKey) {
    Context context("a=1\nb\nc=3");
    EXPECT_EQ(context.api.removeKey(context.handle.get(), "x"), settings::kNoSuchKey);
    EXPECT_EQ(context.dump(), "a=1|b|c=3");
    EXPECT_EQ(context.api.removeKey(context.handle.get(), "b"), settings::kSuccess);
    EXPECT_EQ(context.dump(), "a=1|c=3");
    // One missing key keeps all the others.
    settings_impl::ConfigMap values;
    values["a"] = nullptr;
    const auto config = settings_impl::makeConfig(std::move(values));
    EXPECT_THROW(settings_impl::removeKeys(*config, {"a", "x"}), settings::Exception);
    EXPECT_EQ(config->keys().size(), 1u);
}

/// A configuration with one key.
std::unique_ptr<settings_impl::IConfig> single(std::unique_ptr<ConfigValue> value) {
    settings_impl::ConfigMap values;
    values["k"] = std::move(value);
    return settings_impl::makeConfig(std::move(values));
}

TEST(ConfigRead, EqualityLooksAtTypesAndContents) {
    const auto make = [](ConfigValue value) {
        return single(std::make_unique<ConfigValue>(std::move(value)));
    };
    const std::vector<std::unique_ptr<settings_impl::IConfig>> different = [&] {
        std::vector<std::unique_ptr<settings_impl::IConfig>> list;
        list.push_back(settings_impl::makeConfig({}));
        list.push_back(single(nullptr));
        list.push_back(make({ValueType::Raw, "1"}));
        list.push_back(make({ValueType::Raw, "01"}));
        list.push_back(make({ValueType::String, "1"}));
        list.push_back(make({ValueType::Integer, "1"}));
        list.push_back(make({ValueType::Integer, "2"}));
        list.push_back(make({ValueType::Boolean, "1"}));
        list.push_back(make({ValueType::Boolean, "0"}));
        list.push_back(make({ValueType::Double, "1"}));
        list.push_back(make({ValueType::Double, "1.5"}));
        return list;
    }();
    for (std::size_t i = 0; i < different.size(); ++i) {
        for (std::size_t k = 0; k < different.size(); ++k) {
            EXPECT_EQ(settings_impl::equal(*different[i], *different[k]), i == k) << i << " " << k;
        }
    }
    // The number counts, not its text; no not-a-number equals another.
    EXPECT_TRUE(settings_impl::equal(*make({ValueType::Integer, "0x10"}),
                                     *make(ConfigValue::ofInteger(16, nullptr))));
    EXPECT_FALSE(settings_impl::equal(*make(ConfigValue::ofDouble(NAN, "n")),
                                      *make(ConfigValue::ofDouble(NAN, "n"))));
    Context a("x=1\ny=2");
    Context b("y=2\nx=1");
    std::int32_t same = 0;
    EXPECT_EQ(a.api.equals(a.handle.get(), b.handle.get(), &same), settings::kSuccess);
    EXPECT_EQ(same, 1);
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
    const Mapper mapper = makeMapper([](const settings_api& api, auto* builder) {
        api.addKeyMapping(builder, "A", "c", 0);
        api.addKeyMapping(builder, "a", "b", 0);
        api.addKeyMapping(builder, "b", "never", 1);
        api.addKeyMapping(builder, "Exact", "e", 1);
        api.addKeyMapping(builder, "\xC3\x84", "umlaut", 0);
    });
    const struct {
        const char* key;
        const char* stored;
    } cases[] = {{"a", "b"},     {"A", "b"},         {"b", "never"},           {"B", "B"},
                 {"Exact", "e"}, {"EXACT", "EXACT"}, {"\xC3\xA4", "\xC3\xA4"}, {"ab", "ab"}};
    for (const auto& c : cases) {
        Context context;
        ASSERT_EQ(context.load(c.key, {.keyMapper = mapper.get(), .bareKeys = true}),
                  settings::kSuccess);
        EXPECT_EQ(context.dump(), c.stored);
    }
}

TEST(ConfigRead, NullArgumentsAreRefused) {
    Context context("a=1");
    const settings_api& api = context.api;
    settings_context* handle = context.handle.get();
    const char* text;
    const std::int32_t* lines;
    std::uint32_t count;
    std::int32_t number;
    double real;
    const auto callback = [](settings_context*, std::uint32_t, std::uint32_t, const char*, void*) {
        FAIL() << "called";
    };
    settings_validator_builder* rules = api.createValidatorBuilder();
    settings_key_mapper_builder* mappings = api.createKeyMapperBuilder();
    settings_validator* validator;
    settings_key_mapper* mapper;
    const FixedValue value = {"x", 1, 0};
    const FixedValue noText = {nullptr, 1, 0};
    const std::vector<settings::Status> statuses = {
        api.getPath(nullptr, &text),
        api.getPath(handle, nullptr),
        api.loadFile(nullptr, "x", nullptr, nullptr, 1, 0),
        api.loadFile(handle, nullptr, nullptr, nullptr, 1, 0),
        api.loadText(nullptr, "x", nullptr, nullptr, 1, 0),
        api.loadText(handle, nullptr, nullptr, nullptr, 1, 0),
        api.merge(nullptr, handle),
        api.merge(handle, nullptr),
        api.getErrors(nullptr, &lines, &count),
        api.getErrors(handle, nullptr, &count),
        api.getErrors(handle, &lines, nullptr),
        api.save(nullptr, "x"),
        api.save(handle, nullptr),
        api.isEmpty(nullptr, &number),
        api.isEmpty(handle, nullptr),
        api.equals(nullptr, handle, &number),
        api.equals(handle, nullptr, &number),
        api.equals(handle, handle, nullptr),
        api.forEachKey(nullptr, callback, &number),
        api.forEachKey(handle, nullptr, &number),
        api.forEachKey(handle, callback, nullptr),
        api.getString(nullptr, "a", &text),
        api.getString(handle, nullptr, &text),
        api.getString(handle, "a", nullptr),
        api.getBool(nullptr, "a", &number),
        api.getBool(handle, nullptr, &number),
        api.getBool(handle, "a", nullptr),
        api.getInt(nullptr, "a", &number),
        api.getInt(handle, nullptr, &number),
        api.getInt(handle, "a", nullptr),
        api.getDouble(nullptr, "a", &real),
        api.getDouble(handle, nullptr, &real),
        api.getDouble(handle, "a", nullptr),
        api.removeKey(nullptr, "a"),
        api.removeKey(handle, nullptr),
        api.buildValidator(nullptr, &validator),
        api.buildValidator(rules, nullptr),
        api.addStringKey(nullptr, "a"),
        api.addStringKey(rules, nullptr),
        api.addIntKey(nullptr, "a"),
        api.addIntKey(rules, nullptr),
        api.addBoolKey(nullptr, "a"),
        api.addBoolKey(rules, nullptr),
        api.addDoubleKey(nullptr, "a"),
        api.addDoubleKey(rules, nullptr),
        api.allowUnknownKeys(nullptr, 1),
        api.addFixedValues(nullptr, "a", &value, 1),
        api.addFixedValues(rules, nullptr, &value, 1),
        api.addFixedValues(rules, "a", nullptr, 0),
        api.addFixedValues(rules, "a", &noText, 1),
        api.addDirnameKey(nullptr, "a", 1),
        api.addDirnameKey(rules, nullptr, 1),
        api.buildKeyMapper(nullptr, &mapper),
        api.buildKeyMapper(mappings, nullptr),
        api.addKeyMapping(nullptr, "a", "b", 1),
        api.addKeyMapping(mappings, nullptr, "b", 1),
        api.addKeyMapping(mappings, "a", nullptr, 1)};
    for (std::size_t i = 0; i < statuses.size(); ++i) {
        EXPECT_EQ(statuses[i], settings::kNullArgument) << i;
    }
    api.destroyValidatorBuilder(rules);
    api.destroyKeyMapperBuilder(mappings);
    api.destroy(nullptr);
    api.destroyValidator(nullptr);
    api.destroyValidatorBuilder(nullptr);
    api.destroyKeyMapper(nullptr);
    api.destroyKeyMapperBuilder(nullptr);

    EXPECT_EQ(api.isEmpty(handle, &number), settings::kSuccess);
    EXPECT_EQ(number, 0);
    EXPECT_EQ(api.isEmpty(Context().handle.get(), &number), settings::kSuccess);
    EXPECT_EQ(number, 1);
}

TEST(ConfigRead, TheTableHasItsFixedOrder) {
    settings_api table;
    getSettingsApi(&table);
    using Slot = void (*)();
    static_assert(sizeof(settings_api) == 32 * sizeof(Slot));
    Slot slots[32];
    std::memcpy(slots, &table, sizeof slots);
    const auto slot = [](auto function) { return reinterpret_cast<Slot>(function); };
    EXPECT_EQ(slots[0], slot(table.create));
    EXPECT_EQ(slots[7], slot(table.save));
    EXPECT_EQ(slots[15], slot(table.removeKey));
    EXPECT_EQ(slots[16], slot(table.destroyValidator));
    EXPECT_EQ(slots[25], slot(table.addFixedValues));
    EXPECT_EQ(slots[27], slot(table.destroyKeyMapper));
    EXPECT_EQ(slots[31], slot(table.addKeyMapping));
    for (const Slot filled : slots) {
        EXPECT_NE(filled, nullptr);
    }
}

}  // namespace
