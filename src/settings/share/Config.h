// Makes configurations. A configuration never changes once it is made: merging two and removing
// keys make a new one.
#pragma once

#include <map>
#include <memory>
#include <string>
#include <vector>

#include "settings/share/IConfig.h"

namespace settings_impl {

/// Keys in the order of their bytes; a null pointer stands for a key without a value.
using ConfigMap = std::map<std::string, std::unique_ptr<ConfigValue>>;

std::unique_ptr<IConfig> makeConfig(ConfigMap values);

/// The keys of both; where both have a key, the second one's stands, also without a value.
std::unique_ptr<IConfig> merge(const IConfig& first, const IConfig& second);

/// A copy without the keys. Throws ExceptionCode<303> if one of them isn't there.
std::unique_ptr<IConfig> removeKeys(const IConfig& config, const std::vector<std::string>& keys);

/// Whether both have the same keys with the same types and contents.
bool equal(const IConfig& first, const IConfig& second);

}  // namespace settings_impl
