// Brings the keys of a configuration into their listed form on the way in.
#pragma once

#include <memory>
#include <string>
#include <utility>
#include <vector>

namespace settings_impl {

class IKeyMapper {
public:
    virtual ~IKeyMapper() = default;
    /// The mapped key and whether the mapper matched; a key that it doesn't know comes back.
    virtual std::pair<std::string, bool> map(std::string key) const = 0;
};

/// A chain of mappers, of which the last added one that matches is the only one that applies.
class KeyMapper {
public:
    explicit KeyMapper(std::vector<std::unique_ptr<IKeyMapper>> mappers)
        : mappers_(std::move(mappers)) {}

    std::string map(std::string key) const;

private:
    std::vector<std::unique_ptr<IKeyMapper>> mappers_;
};

class KeyMapperBuilder {
public:
    class IKeyMapperFactory {
    public:
        virtual ~IKeyMapperFactory() = default;
        virtual std::unique_ptr<IKeyMapper> create() const = 0;
    };

    /// Keys that equal `from`, in its case or in any, become `to`.
    void addKeyMapping(const std::string& from, const std::string& to, bool caseSensitive);

    /// The mapper doesn't depend on the builder.
    KeyMapper buildKeyMapper() const;

private:
    std::vector<std::unique_ptr<IKeyMapperFactory>> factories_;
};

}  // namespace settings_impl
