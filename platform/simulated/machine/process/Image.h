// The functions of the simulated Windows by name and by address.
#pragma once

#include <optional>
#include <string>

namespace simulated {

/// Returns a function of Windows; null if this Windows has none of that name.
void* windowsFunction(const char* name);

/// Whose an address is.
struct AddressOwner {
    bool isProduct;
    std::string function;  ///< of Windows, if the address is the start of an exported one
};

/// Returns whose an address is; nothing if it is no one's.
std::optional<AddressOwner> ownerOfAddress(const void* address);

}  // namespace simulated
