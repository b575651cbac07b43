// The public API of the settings library: a table of entry points for configurations of `key=value`
// lines.
//
// A client copies the table next to each handle that it owns and calls only through it. Strings are
// NUL-terminated UTF-8, flags are non-zero for true. Every entry that returns a status returns one
// of `settings::k...`: kNullArgument when a pointer is null, unless the entry allows it. No entry
// but `create` throws.
#pragma once

#include <cstdint>

#include "settings/share/SettingsException.h"

// Opaque to clients.
struct settings_context;
struct settings_validator;
struct settings_validator_builder;
struct settings_key_mapper;
struct settings_key_mapper_builder;

namespace settings {

/// The string must match byte for byte; without this flag it is compared after `tolower` of every
/// byte.
constexpr std::uint32_t kExactCase = 1;
/// Stores the listed string instead of the given one.
constexpr std::uint32_t kStoreListedText = 2;

}  // namespace settings

/// One accepted string of a key and the number that it stands for.
struct FixedValue {
    const char* text;
    std::int32_t value;
    std::uint32_t flags;  ///< settings::kExactCase, settings::kStoreListedText
};

/// Called by `forEachKey` once for each key, in key order.
using settings_key_callback = void (*)(settings_context* context, std::uint32_t count,
                                       std::uint32_t index, const char* key, void* userData);

/// The entry points, in their fixed order.
struct settings_api {
    /// Returns a new context with an empty configuration, null when out of memory. Throws
    /// settings::Exception when the default path is unknown.
    settings_context* (*create)();
    /// The context may be null.
    void (*destroy)(settings_context* context);
    /// Returns the path of the runtime settings file. The string is valid as long as the context.
    settings::Status (*getPath)(settings_context* context, const char** path);
    /// Reads a file and merges it into the configuration. Validator and key mapper may be null.
    /// With `stopOnError` the first bad line ends the load and nothing of the file is kept; without
    /// it the good lines are merged, and the status is kBadLines all the same.
    settings::Status (*loadFile)(settings_context* context, const char* path,
                                 settings_validator* validator, settings_key_mapper* keyMapper,
                                 std::int32_t stopOnError, std::int32_t allowKeyWithoutValue);
    /// The same with a string instead of a file.
    settings::Status (*loadText)(settings_context* context, const char* text,
                                 settings_validator* validator, settings_key_mapper* keyMapper,
                                 std::int32_t stopOnError, std::int32_t allowKeyWithoutValue);
    /// Merges the configuration of `other` into this one; where both have a key, the entry of
    /// `other` wins.
    settings::Status (*merge)(settings_context* context, settings_context* other);
    /// Returns the failed lines of the last load, counted from 0. The array is valid until the next
    /// load, and null when no line failed.
    settings::Status (*getErrors)(settings_context* context, const std::int32_t** lines,
                                  std::uint32_t* count);
    /// Writes the configuration to a file; creates the file and its directories if they don't
    /// exist.
    settings::Status (*save)(settings_context* context, const char* path);
    settings::Status (*isEmpty)(settings_context* context, std::int32_t* flag);
    settings::Status (*equals)(settings_context* context, settings_context* other,
                               std::int32_t* flag);
    /// The keys are copied first, so the callback may change the context. `userData` must not be
    /// null.
    settings::Status (*forEachKey)(settings_context* context, settings_key_callback callback,
                                   void* userData);
    /// The string is valid until the next successful load, merge or removal on the context.
    settings::Status (*getString)(settings_context* context, const char* key, const char** text);
    /// A key without a value reads as 1.
    settings::Status (*getBool)(settings_context* context, const char* key, std::int32_t* flag);
    settings::Status (*getInt)(settings_context* context, const char* key, std::int32_t* number);
    settings::Status (*getDouble)(settings_context* context, const char* key, double* number);
    settings::Status (*removeKey)(settings_context* context, const char* key);

    /// A validator must outlive the loads that use it. May be null here.
    void (*destroyValidator)(settings_validator* validator);
    /// Returns null when out of memory.
    settings_validator_builder* (*createValidatorBuilder)();
    /// The builder may be null.
    void (*destroyValidatorBuilder)(settings_validator_builder* builder);
    /// The caller owns the validator, which doesn't refer to its builder.
    settings::Status (*buildValidator)(settings_validator_builder* builder,
                                       settings_validator** validator);
    settings::Status (*addStringKey)(settings_validator_builder* builder, const char* key);
    settings::Status (*addIntKey)(settings_validator_builder* builder, const char* key);
    settings::Status (*addBoolKey)(settings_validator_builder* builder, const char* key);
    settings::Status (*addDoubleKey)(settings_validator_builder* builder, const char* key);
    /// Whether keys without a rule are accepted; false by default.
    settings::Status (*allowUnknownKeys)(settings_validator_builder* builder, std::int32_t flag);
    /// Adds `count` accepted strings to a key; an entry whose string is listed already replaces
    /// that entry.
    settings::Status (*addFixedValues)(settings_validator_builder* builder, const char* key,
                                       const FixedValue* values, std::uint32_t count);
    /// The key's value is a path.
    settings::Status (*addDirnameKey)(settings_validator_builder* builder, const char* key,
                                      std::int32_t allowRelative);

    /// A key mapper must outlive the loads that use it. May be null here.
    void (*destroyKeyMapper)(settings_key_mapper* keyMapper);
    /// Returns null when out of memory.
    settings_key_mapper_builder* (*createKeyMapperBuilder)();
    /// The builder may be null.
    void (*destroyKeyMapperBuilder)(settings_key_mapper_builder* builder);
    /// The caller owns the key mapper, which doesn't refer to its builder.
    settings::Status (*buildKeyMapper)(settings_key_mapper_builder* builder,
                                       settings_key_mapper** keyMapper);
    /// Stores keys that equal `from` as `to`. Of several mappings that match, the one added last
    /// applies.
    settings::Status (*addKeyMapping)(settings_key_mapper_builder* builder, const char* from,
                                      const char* to, std::int32_t caseSensitive);
};

/// Fills the table.
void getSettingsApi(settings_api* table);
