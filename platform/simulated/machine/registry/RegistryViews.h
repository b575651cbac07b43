// How a 64-bit Windows shows its registry to 32-bit programs: which keys they have of their own, by
// Microsoft's "Registry Keys Affected by WOW64" for Windows 7 and later.
#pragma once

#include <string>
#include <vector>

namespace simulated {

using KeyPath = std::vector<std::u16string>;  ///< from the root on: "HKLM", "Software", "X"

/// Where the key lies that a 32-bit program reaches by a path, or that a path through a
/// "Wow6432Node" names: in the Wow6432Node of the redirected key above it, or, when it is shared,
/// in the one place that it has.
KeyPath pathIn32BitView(const KeyPath& path);

/// Whether a path already leads into a key of the 32-bit view, so that both views read it alike.
bool leadsInto32BitView(const KeyPath& path);

}  // namespace simulated
