// The rules of keys: listed strings, types, directories, and how they combine.
#include "settings/share/ConfigValidator.h"

#include <gtest/gtest.h>

#include "support/Settings.h"

namespace {

/// Returns the value that is stored for `k=value`, or "refused".
std::string stored(const Validator& validator, const std::string& value) {
    Context context;
    const bool isLoaded =
        context.load("k=" + value, {.validator = validator.get()}) == settings::kSuccess;
    return isLoaded ? context.read(api.getString, "k") : "refused";
}

class ConfigValidatorListedStrings : public testing::Test {
protected:
    std::string number(const std::string& value) const {
        Context context;
        context.load("k=" + value, {.validator = validator.get()});
        return context.read(api.getInt, "k");
    }

    const Validator validator = makeValidator([](auto* builder) {
        const FixedValue values[] = {
            {"on", 9, 0}, {"ON", 2, settings::kExactCase}, {"Off", 3, settings::kStoreListedText}};
        const FixedValue replacement = {"on", 1, 0};
        api.addFixedValues(builder, "k", values, 3);
        api.addFixedValues(builder, "k", &replacement, 1);
    });
};

TEST_F(ConfigValidatorListedStrings, MatchInAnyCaseUnlessExact) {
    EXPECT_EQ(number("oN"), "1");
    EXPECT_EQ(number("ON"), "2") << "the entry added later matches first";
}

TEST_F(ConfigValidatorListedStrings, AreReplacedByALaterEntryOfTheSameString) {
    EXPECT_EQ(number("on"), "1");
}

TEST_F(ConfigValidatorListedStrings, AreStoredInTheirListedSpellingIfFlagged) {
    EXPECT_EQ(stored(validator, "oFF"), "Off");
    EXPECT_EQ(stored(validator, "oN"), "oN");
}

TEST_F(ConfigValidatorListedStrings, RefuseEverythingElse) {
    EXPECT_EQ(stored(validator, ""), "refused");
    EXPECT_EQ(stored(validator, "@n"), "refused");
}

TEST_F(ConfigValidatorListedStrings, MustNotBeNull) {
    makeValidator([](auto* builder) {
        const FixedValue nameless = {nullptr, 1, 0};
        EXPECT_EQ(api.addFixedValues(builder, "k", &nameless, 1), settings::kNullArgument);
    });
}

const std::vector<std::string> kAbsolutePaths = {"C:\\a\\..\\b", "c:/", "C:", "C:/日"};
const std::vector<std::string> kOtherPaths = {"x\\y", "\\\\server\\x", "CC:/x", "", "C:/NUL"};

void expectAccepted(const Validator& validator, const std::vector<std::string>& values) {
    for (const std::string& value : values) {
        EXPECT_EQ(stored(validator, value), value);
    }
}

void expectRefused(const Validator& validator, const std::vector<std::string>& values) {
    for (const std::string& value : values) {
        EXPECT_EQ(stored(validator, value), "refused") << value;
    }
}

TEST(ConfigValidator, DirectoriesAreAbsolutePaths) {
    const Validator validator =
        makeValidator([](auto* builder) { api.addDirnameKey(builder, "k", 0); });
    expectAccepted(validator, kAbsolutePaths);
    expectRefused(validator, kOtherPaths);
}

TEST(ConfigValidator, DirectoriesThatMayBeRelativeAreAnyString) {
    const Validator validator =
        makeValidator([](auto* builder) { api.addDirnameKey(builder, "k", 1); });
    expectAccepted(validator, kAbsolutePaths);
    expectAccepted(validator, kOtherPaths);
}

const FixedValue kWord = {"word", 9, settings::kExactCase};

TEST(ConfigValidator, ATypeReplacesAList) {
    const Validator validator = makeValidator([](auto* builder) {
        api.addFixedValues(builder, "k", &kWord, 1);
        api.addIntKey(builder, "k");
    });
    expectAccepted(validator, {"12"});
    expectRefused(validator, {"word"});
}

TEST(ConfigValidator, AListReplacesADirectory) {
    const Validator validator = makeValidator([](auto* builder) {
        api.addDirnameKey(builder, "k", 0);
        api.addFixedValues(builder, "k", &kWord, 1);
    });
    expectAccepted(validator, {"word"});
    expectRefused(validator, kAbsolutePaths);
}

TEST(ConfigValidator, ADirectoryReplacesAListAndOutlivesAType) {
    const Validator overList = makeValidator([](auto* builder) {
        api.addFixedValues(builder, "k", &kWord, 1);
        api.addDirnameKey(builder, "k", 0);
    });
    const Validator underType = makeValidator([](auto* builder) {
        api.addDirnameKey(builder, "k", 0);
        api.addIntKey(builder, "k");
    });
    for (const Validator& validator : {overList, underType}) {
        expectAccepted(validator, kAbsolutePaths);
        expectRefused(validator, {"word", "12"});
    }
}

TEST(ConfigValidator, UnknownKeysAreRefusedUnlessAllowed) {
    const Validator strict = makeValidator([](auto*) {});
    const Validator lenient =
        makeValidator([](auto* builder) { api.allowUnknownKeys(builder, 7); });
    expectRefused(strict, {"x"});
    expectAccepted(lenient, {"x"});
}

}  // namespace
