// The open handles of the simulated process.
#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include <windef.h>

namespace simulated {

/// The object of a handle: an open file, a mapping, a token, a registry key, …
/// Closing a handle destroys its object.
class HandleObject {
public:
    virtual ~HandleObject() = default;

    /// What is open, for a report of handles that were not closed: "file C:\x", "key
    /// HKLM\Software".
    virtual std::string description() const = 0;

    /// Whether CloseHandle closes it; a search, a module and a view have functions of their own.
    virtual bool isOfKernel() const { return true; }
};

/// The handle table of one process. Values are multiples of 4 and are not used twice, so that a
/// stale handle is always noticed.
class Handles {
public:
    HANDLE add(std::shared_ptr<HandleObject> object);

    /// Returns the object of a handle if it is open and of this type, else null.
    template <class T>
    std::shared_ptr<T> find(const void* handle) const {
        const auto found = open_.find(reinterpret_cast<std::uintptr_t>(handle));
        return found == open_.end() ? nullptr : std::dynamic_pointer_cast<T>(found->second);
    }

    /// Closes a handle; false if it isn't open.
    bool close(const void* handle);

    /// Closes everything, as the end of a process does.
    void closeAll();

    /// Describes each handle that is still open.
    std::vector<std::string> open() const;

private:
    std::map<std::uintptr_t, std::shared_ptr<HandleObject>> open_;
    std::uintptr_t next_ = 0x100;
};

}  // namespace simulated
