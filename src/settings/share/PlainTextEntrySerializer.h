// Writes the entries of a configuration in the format that the parser reads.
#pragma once

#include <string>

namespace settings_impl {

class IConfigEntrySerializer {
public:
    virtual ~IConfigEntrySerializer() = default;
    virtual void writeKey(const std::string& key) = 0;
    virtual void writeEntry(const std::string& key, const std::string& value) = 0;
};

/// Writes one line for each entry; nothing is quoted or escaped.
class PlainTextEntrySerializer : public IConfigEntrySerializer {
public:
    void writeKey(const std::string& key) override { text_ += key + "\n"; }
    void writeEntry(const std::string& key, const std::string& value) override {
        text_ += key + "=" + value + "\n";
    }

    const std::string& text() const { return text_; }

private:
    std::string text_;
};

}  // namespace settings_impl
