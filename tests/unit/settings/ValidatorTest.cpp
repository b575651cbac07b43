// The rules of keys and how they replace each other.
#include <gtest/gtest.h>

#include "settings/share/ConfigValidatorBuilder.h"
#include "unit/settings/Library.h"

namespace {

/// "k=3 is 3" as stored with its number, or "refused".
std::string loaded(const Validator& validator, const std::string& line) {
    Context context;
    if (context.load(line, {.validator = validator.get()}) != settings::kSuccess) {
        return "refused";
    }
    const std::string number = context.read(api.getInt, "k");
    return context.dump() + (number.starts_with("status") ? "" : " is " + number);
}

TEST(Validator, FixedTextsMatchFromTheLastOne) {
    const Validator validator = makeValidator([](auto* builder) {
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
    for (const auto& [line, expected] :
         {std::pair("k=on", "k=on is 4"),  // replaced in place, exact now
          std::pair("k=ON", "k=ON is 2"), std::pair("k=On", "refused"),
          std::pair("k=oFF", "k=Off is 3"),
          std::pair("k=twice", "k=twice is 6"),  // the entry behind wins
          std::pair("k=", "refused"), std::pair("k=@n", "refused")}) {
        EXPECT_EQ(loaded(validator, line), expected) << line;
    }
}

TEST(Validator, PathsAreAbsoluteWhereAskedFor) {
    const Validator absolute =
        makeValidator([](auto* builder) { api.addDirnameKey(builder, "k", 0); });
    const Validator any = makeValidator([](auto* builder) { api.addDirnameKey(builder, "k", 1); });
    const struct {
        bool accepted;
        std::vector<std::string> values;
    } cases[] = {{true, {"C:\\a\\..\\b", "c:/", "C:", "C:/\xE6\x97\xA5"}},
                 {false, {"x\\y", "\\\\server\\x", "1:/x", "CC:/x", "C/x", "", "C:/a*", "C:/NUL"}}};
    for (const auto& c : cases) {
        for (const std::string& value : c.values) {
            EXPECT_EQ(loaded(absolute, "k=" + value), c.accepted ? "k=" + value : "refused");
            EXPECT_EQ(loaded(any, "k=" + value), "k=" + value);
        }
    }
}

TEST(Validator, AKeyEndsUpWithOneRule) {
    using Builder = settings_validator_builder;
    const FixedValue word[] = {{"word", 9, settings::kExactCase}};
    const auto fixed = [&](Builder* b) { api.addFixedValues(b, "k", word, 1); };
    const auto number = [](Builder* b) { api.addIntKey(b, "k"); };
    const auto folder = [](Builder* b) { api.addDirnameKey(b, "k", 0); };
    const auto build = [](auto first, auto second) {
        return makeValidator([&](Builder* b) {
            first(b);
            second(b);
            api.allowUnknownKeys(b, 7);
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
        EXPECT_EQ(loaded(c.validator, "K=x"), "K=x") << c.what;  // unknown keys are raw
    }
    EXPECT_EQ(loaded(makeValidator([](auto*) {}), "k=1"), "refused");
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
}

}  // namespace
