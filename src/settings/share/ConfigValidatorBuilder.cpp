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
    Rule& rule = rules_[key];
    if (!std::holds_alternative<bool>(rule)) {
        rule = type;
    }
}

void ConfigValidatorBuilder::addDirnameKey(const std::string& key, bool allowRelative) {
    rules_[key] = allowRelative;
}

void ConfigValidatorBuilder::addFixedValues(const std::string& key,
                                            const std::vector<ListedValue>& values) {
    Rule& rule = rules_[key];
    if (!std::holds_alternative<std::vector<ListedValue>>(rule)) {
        rule = std::vector<ListedValue>();
    }
    std::vector<ListedValue>& list = *std::get_if<std::vector<ListedValue>>(&rule);
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
}

ConfigValidator ConfigValidatorBuilder::buildValidator() const {
    ConfigValidator::Rules rules;
    for (const auto& [key, rule] : rules_) {
        std::unique_ptr<IConfigValueValidator>& made = rules[key];
        if (const auto* const type = std::get_if<ValueType>(&rule)) {
            made = std::make_unique<TypeValidator>(*type);
        } else if (const auto* const allowRelative = std::get_if<bool>(&rule)) {
            made = std::make_unique<DirnameValidator>(*allowRelative);
        } else {
            made = std::make_unique<FixedValueValidator>(
                *std::get_if<std::vector<ListedValue>>(&rule));
        }
    }
    return ConfigValidator(std::move(rules), allowUnknownKeys_);
}

}  // namespace settings_impl
