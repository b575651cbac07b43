// Checks the values of a configuration against the rules of their keys.
#pragma once

#include <map>
#include <memory>
#include <stdexcept>
#include <string>
#include <utility>

#include "settings/share/ConfigValue.h"

namespace settings_impl {

class IConfigValueValidator {
public:
    virtual ~IConfigValueValidator() = default;
    /// `value` may be null. Throws ConfigValidator::InavlidValueError or settings::Exception if the
    /// value is not accepted.
    virtual std::unique_ptr<ConfigValue> validate(const char* value) const = 0;
};

class ConfigValidator {
public:
    class Error : public std::runtime_error {
    public:
        Error() : std::runtime_error("") {}
    };
    /// The key is not accepted.
    class InavlidKeyError : public Error {};
    /// The value is not accepted.
    class InavlidValueError : public Error {};

    using Rules = std::map<std::string, std::unique_ptr<IConfigValueValidator>>;

    ConfigValidator(Rules rules, bool allowUnknownKeys)
        : rules_(std::move(rules)), allowUnknownKeys_(allowUnknownKeys) {}

    /// Returns the value, converted by the key's rule. A key without a rule is refused or, where
    /// unknown keys are allowed, becomes a `Raw` value.
    std::unique_ptr<ConfigValue> validate(const std::string& key, const char* value) const;

private:
    Rules rules_;
    bool allowUnknownKeys_;
};

}  // namespace settings_impl
