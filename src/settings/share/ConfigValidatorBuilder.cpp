#include "settings/share/ConfigValidatorBuilder.h"

#include <algorithm>

#include "settings/share/Bytes.h"
#include "settings/share/FileName.h"

namespace settings_impl {

namespace {

using InvalidValue = ConfigValidator::InavlidValueError;

class TypeValidator : public IConfigValueValidator {
public:
    explicit TypeValidator(ValueType type) : type_(type) {}

    std::unique_ptr<ConfigValue> validate(const char* value) const override {
        if (!value) {
            if (type_ == ValueType::Boolean) {
                return nullptr;
            }
            throw InvalidValue();
        }
        return std::make_unique<ConfigValue>(type_, value);
    }

private:
    ValueType type_;
};

class DirnameValidator : public IConfigValueValidator {
public:
    explicit DirnameValidator(bool allowRelative) : allowRelative_(allowRelative) {}

    std::unique_ptr<ConfigValue> validate(const char* value) const override {
        if (!value || (!allowRelative_ && !isAbsolute(value))) {
            throw InvalidValue();
        }
        return std::make_unique<ConfigValue>(ValueType::String, value);
    }

private:
    static bool isAbsolute(const char* value) {
        try {
            std::vector<std::string> components;
            return splitPath(checkPath(value), components);
        } catch (const settings::Exception&) {
            return false;
        }
    }

    bool allowRelative_;
};

class FixedValueValidator : public IConfigValueValidator {
public:
    explicit FixedValueValidator(std::vector<ListedValue> values) : values_(std::move(values)) {}

    std::unique_ptr<ConfigValue> validate(const char* value) const override {
        if (!value) {
            throw InvalidValue();
        }
        const auto found =
            std::find_if(values_.rbegin(), values_.rend(), [value](const ListedValue& listed) {
                return (listed.flags & settings::kExactCase) != 0
                           ? listed.text == value
                           : equalsIgnoringCase(listed.text, value);
            });
        if (found == values_.rend()) {
            throw InvalidValue();
        }
        const bool storeListed = (found->flags & settings::kStoreListedText) != 0;
        return std::make_unique<ConfigValue>(
            ConfigValue::ofInteger(found->value, storeListed ? found->text.c_str() : value));
    }

private:
    std::vector<ListedValue> values_;
};

}  // namespace

void ConfigValidatorBuilder::addTypedKey(const std::string& key, ValueType type) {
    types_[key] = type;
    fixedValues_.erase(key);
}

void ConfigValidatorBuilder::addDirnameKey(const std::string& key, bool allowRelative) {
    dirnames_[key] = allowRelative;
    types_.erase(key);
    fixedValues_.erase(key);
}

void ConfigValidatorBuilder::addFixedValues(const std::string& key,
                                            const std::vector<ListedValue>& values) {
    std::vector<ListedValue>& list = fixedValues_[key];
    for (const ListedValue& added : values) {
        const auto listed =
            std::find_if(list.begin(), list.end(),
                         [&added](const ListedValue& entry) { return entry.text == added.text; });
        if (listed == list.end()) {
            list.push_back(added);
        } else {
            *listed = added;
        }
    }
    types_.erase(key);
    dirnames_.erase(key);
}

ConfigValidator ConfigValidatorBuilder::buildValidator() const {
    ConfigValidator::Rules rules;
    for (const auto& [key, type] : types_) {
        rules[key] = std::make_unique<TypeValidator>(type);
    }
    for (const auto& [key, allowRelative] : dirnames_) {
        rules[key] = std::make_unique<DirnameValidator>(allowRelative);
    }
    for (const auto& [key, values] : fixedValues_) {
        rules[key] = std::make_unique<FixedValueValidator>(values);
    }
    return ConfigValidator(std::move(rules), allowUnknownKeys_);
}

}  // namespace settings_impl
