// The rules of keys and how they replace each other.
#include <gtest/gtest.h>

#include "settings/share/ConfigValidatorBuilder.h"
#include "unit/settings/Library.h"

namespace {

/// "x=3" as stored with its number, or "refused".
std::string loaded(const Validator& validator, const std::string& line) {
    Context context;
    if (context.load(line, {.validator = validator.get()}) != settings::kSuccess) {
        return "refused";
    }
    const std::string number = context.getInt("k");
    return context.dump() + (number.starts_with("status") ? "" : " is " + number);
}

TEST(Validator, FixedTextsMatchFromTheLastOne) {
    const Validator validator = makeValidator([](const settings_api& api, auto* builder) {
        const FixedValue values[] = {{"on", 1, 0},
                                     {"ON", 2, settings::kExactCase},
                                     {"Off", 3, settings::kStoreListedText},
                                     {"on", 4, settings::kExactCase},
                                     {"twice", 5, 0},
                                     {"TWICE", 6, 0}};
        api.addFixedValues(builder, "k", values, 6);
        const FixedValue replaced[] = {{"twice", 7, settings::kExactCase}};
        api.addFixedValues(builder, "k", replaced, 1);
    });
    const struct {
        const char* line;
        const char* expected;
    } cases[] = {{"k=on", "k=on is 4"},  // replaced in place, exact now
                 {"k=ON", "k=ON is 2"},   {"k=On", "refused"},
                 {"k=oFF", "k=Off is 3"}, {"k=twice", "k=twice is 6"},  // the entry behind wins
                 {"k=", "refused"},       {"k=on ", "k=on is 4"}};
    for (const auto& c : cases) {
        EXPECT_EQ(loaded(validator, c.line), c.expected) << c.line;
    }
}

TEST(Validator, PathsAreAbsoluteWhereAskedFor) {
    const Validator absolute = makeValidator(
        [](const settings_api& api, auto* builder) { api.addDirnameKey(builder, "k", 0); });
    const Validator any = makeValidator(
        [](const settings_api& api, auto* builder) { api.addDirnameKey(builder, "k", 1); });
    const struct {
        std::string value;
        bool accepted;
    } cases[] = {{"C:\\a\\..\\b", true},
                 {"c:/", true},
                 {"C:", true},
                 {"x\\y", false},
                 {"\\\\server\\x", false},
                 {"\\x", false},
                 {"1:/x", false},
                 {"CC:/x", false},
                 {"", false},
                 {"C:/a*", false},
                 {"C:/NUL", false},
                 {"C:/a:b", false},
                 {"C:/" + std::string(256, 'x'), true},
                 {"C:/" + std::string(257, 'x'), false},
                 {"C:/\xE6\x97\xA5", true}};
    for (const auto& c : cases) {
        EXPECT_EQ(loaded(absolute, "k=" + c.value), c.accepted ? "k=" + c.value : "refused");
        EXPECT_EQ(loaded(any, "k=" + c.value), "k=" + c.value);
    }
}

TEST(Validator, AKeyEndsUpWithOneRule) {
    using Api = const settings_api&;
    using Builder = settings_validator_builder;
    const FixedValue word[] = {{"word", 9, settings::kExactCase}};
    const auto fixed = [&](Api api, Builder* b) { api.addFixedValues(b, "k", word, 1); };
    const auto number = [](Api api, Builder* b) { api.addIntKey(b, "k"); };
    const auto folder = [](Api api, Builder* b) { api.addDirnameKey(b, "k", 0); };
    const auto build = [](auto first, auto second) {
        return makeValidator([&](Api api, Builder* b) {
            first(api, b);
            second(api, b);
        });
    };
    const struct {
        const char* what;
        Validator validator;
        const char* word;
        const char* number;
        const char* folder;
    } cases[] = {
        {"a type drops the list", build(fixed, number), "refused", "k=12 is 12", "refused"},
        {"a list drops the type", build(number, fixed), "k=word is 9", "refused", "refused"},
        {"a list drops the folder", build(folder, fixed), "k=word is 9", "refused", "refused"},
        {"a folder drops the list", build(fixed, folder), "refused", "refused", "k=C:/x"},
        {"a folder drops the type", build(number, folder), "refused", "refused", "k=C:/x"},
        {"a folder outlives a type", build(folder, number), "refused", "refused", "k=C:/x"},
    };
    for (const auto& c : cases) {
        EXPECT_EQ(loaded(c.validator, "k=word"), c.word) << c.what;
        EXPECT_EQ(loaded(c.validator, "k=12"), c.number) << c.what;
        EXPECT_EQ(loaded(c.validator, "k=C:/x"), c.folder) << c.what;
        EXPECT_EQ(loaded(c.validator, "K=12"), "refused") << c.what;
    }
}

TEST(Validator, UnknownKeysAreRawWhereAllowed) {
    const Validator validator = makeValidator([](const settings_api& api, auto* builder) {
        api.allowUnknownKeys(builder, 7);
        api.addIntKey(builder, "listed");
    });
    EXPECT_EQ(loaded(validator, "k=0x10"), "k=0x10 is 16");
    EXPECT_EQ(loaded(validator, "listed=x"), "refused");
    EXPECT_EQ(loaded(makeValidator([](const settings_api&, auto*) {}), "k=1"), "refused");
}

TEST(Validator, NoValueIsRefusedByAllButFlags) {
    settings_impl::ConfigValidatorBuilder builder;
    builder.addTypedKey("bool", settings_impl::ValueType::Boolean);
    builder.addTypedKey("int", settings_impl::ValueType::Integer);
    builder.addDirnameKey("folder", true);
    builder.addFixedValues("fixed", {{"", 1, 0}});
    const settings_impl::ConfigValidator validator = builder.buildValidator();
    EXPECT_EQ(validator.validate("bool", nullptr), nullptr);
    for (const char* key : {"int", "folder", "fixed"}) {
        EXPECT_THROW(validator.validate(key, nullptr),
                     settings_impl::ConfigValidator::InavlidValueError)
            << key;
    }
    EXPECT_THROW(validator.validate("x", ""), settings_impl::ConfigValidator::InavlidKeyError);
}

}  // namespace
