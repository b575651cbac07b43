// Read access to a configuration.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "settings/share/ConfigValue.h"

namespace settings_impl {

/// Keys with their values. Every read throws ExceptionCode<303> if the key doesn't exist, and all
/// but `hasValue` throw ExceptionCode<301> if it has no value or one of another type. A `Raw` value
/// is converted to the requested type, which throws ExceptionCode<302> if it can't be.
class IConfig {
public:
    virtual ~IConfig() = default;
    virtual ValueType getType(const std::string& key) const = 0;
    virtual bool hasValue(const std::string& key) const = 0;
    /// The configuration owns the string.
    virtual const char* getString(const std::string& key) const = 0;
    virtual std::int32_t getInt(const std::string& key) const = 0;
    virtual double getDouble(const std::string& key) const = 0;
    virtual bool getBool(const std::string& key) const = 0;
    virtual std::string getText(const std::string& key) const = 0;
    /// Returns the keys in the order of their bytes; the configuration owns the strings.
    virtual std::vector<const char*> keys() const = 0;
};

}  // namespace settings_impl
