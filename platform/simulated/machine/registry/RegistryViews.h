// How 32-bit programs see the registry of a 64-bit Windows: which keys they have of their own, by
// Microsoft's "Registry Keys Affected by WOW64" for Windows 7 and later.
#pragma once

#include <string>
#include <vector>

namespace simulated {

using KeyPath = std::vector<std::u16string>;  ///< from the root on: "HKLM", "Software", "X"

/// Returns where a key is stored that a 32-bit program opens by this path, or that a path through
/// "Wow6432Node" names: below the Wow6432Node of the redirected key above it or, if it is shared,
/// at its one place.
KeyPath pathIn32BitView(const KeyPath& path);

/// Whether a path already leads into a key of the 32-bit view, so that both views read it alike.
bool leadsInto32BitView(const KeyPath& path);

}  // namespace simulated
