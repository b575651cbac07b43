// The values of a description, with their places, so that what is wrong with one is told in a line.
#pragma once

#include <cstdint>
#include <functional>
#include <stdexcept>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include <nlohmann/json.hpp>

using Json = nlohmann::json;

/// What is wrong with a description or a call, in one line.
class BadInput : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

/// The name among `known`, which is not empty, that is most like another one.
std::string nearestName(std::string_view name, const std::vector<std::string>& known);

/// Reads a text. Throws BadInput if it is no JSON, larger than 64 MB, or has a name twice in one
/// object; `name` is how messages call it.
Json parseJson(const std::string& name, const std::string& text);

/// One value. What isn't as it is asked for throws BadInput with place, expectation and finding.
class Node {
public:
    using Reader = std::function<void(const Node&)>;

    /// `place` is how messages call it. The value has to outlive the node.
    Node(std::string place, const Json& value) : place_(std::move(place)), value_(&value) {}

    const Json& json() const { return *value_; }
    bool has(const std::string& name) const { return value_->contains(name); }
    /// An object's members by name, and one of them, which is there.
    std::vector<std::pair<std::string, Node>> members() const;
    Node operator[](const std::string& name) const { return member(name, value_->at(name)); }
    /// Calls the reader of each member that is there, in this order. Other members are refused.
    void read(const std::vector<std::pair<std::string, Reader>>& readers) const;
    std::vector<Node> items() const;

    std::string utf8() const;
    std::u16string text() const;
    bool flag() const;
    std::uint64_t number(std::uint64_t most) const;
    std::uint32_t number32() const { return static_cast<std::uint32_t>(number(0xFFFFFFFF)); }

    /// `expected` is what should stand here; `found` is by default the value.
    [[noreturn]] void refuse(const std::string& expected, std::string found = {}) const;

private:
    Node member(const std::string& name, const Json& value) const {
        Node node(place_ + separator_ + name, value);
        node.separator_ = ".";
        return node;
    }

    std::string place_;
    const char* separator_ = ": ";  ///< in front of the name of a member
    const Json* value_;
};

/// The reader of a text, flag or number.
inline Node::Reader into(std::u16string& text) {
    return [&text](const Node& node) { text = node.text(); };
}
inline Node::Reader into(bool& flag) {
    return [&flag](const Node& node) { flag = node.flag(); };
}
inline Node::Reader into(std::uint32_t& number) {
    return [&number](const Node& node) { number = node.number32(); };
}
