// Collects the rules of a validator. Each key has one rule in the end.
#pragma once

#include <map>
#include <string>
#include <variant>
#include <vector>

#include "settings/share/ConfigValidator.h"
#include "settings/share/settings.h"

namespace settings_impl {

/// One accepted string of a key, owned.
struct ListedValue {
    std::string text;
    std::int32_t value;
    std::uint32_t flags;
};

class ConfigValidatorBuilder {
public:
    /// The key's value has this type. An existing directory rule of the key takes precedence.
    void addTypedKey(const std::string& key, ValueType type);
    /// The key's value is an absolute path, or any string if relative paths are allowed.
    void addDirnameKey(const std::string& key, bool allowRelative);
    /// The key's value is one of a list, to which these are added. An entry whose string is in the
    /// list already replaces that entry's value and flags.
    void addFixedValues(const std::string& key, const std::vector<ListedValue>& values);
    void allowUnknownKeys(bool allow) { allowUnknownKeys_ = allow; }

    /// The validator doesn't refer to the builder.
    ConfigValidator buildValidator() const;

private:
    /// The type of the value, whether its path may be relative, or the accepted strings.
    using Rule = std::variant<ValueType, bool, std::vector<ListedValue>>;

    std::map<std::string, Rule> rules_;
    bool allowUnknownKeys_ = false;
};

}  // namespace settings_impl
