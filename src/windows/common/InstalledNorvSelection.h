// The latest product of each class.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

#include "windows/common/InstalledNorv.h"

/// QVR 32, QVR 64, QVK 32, QVK 64 bits. A slot is null or points into the list that the selection
/// was made from, which must outlive it.
using InstalledNorvSelection = std::array<const InstalledNorv*, 4>;

namespace NorvEnvironment {

/// Returns the highest version of each class; of equal versions the first in the list. Graphics
/// products are ignored.
InstalledNorvSelection makeSelection(InstalledNorvRange products);

/// Returns the slot of a class. Throws std::invalid_argument if type and bits are not those of a
/// class.
std::size_t selectionIndex(std::int32_t type, std::uint32_t bits);

/// Returns only the two slots of the type.
InstalledNorvSelection selectByType(const InstalledNorvSelection& selection, std::int32_t type);

/// Returns only the two slots of the architecture.
InstalledNorvSelection selectByArch(const InstalledNorvSelection& selection, std::uint32_t bits);

/// Returns only the slots with the highest version of all.
InstalledNorvSelection keepLatest(const InstalledNorvSelection& selection);

/// Returns the first product in the order: same type and architecture; same type; same
/// architecture; any. Null if the selection is empty.
const InstalledNorv* pickPreferred(const InstalledNorvSelection& selection, std::int32_t type,
                                   std::uint32_t bits);

/// Returns the highest version of the type, of equal versions the 64-bit product; null if there is
/// none.
const InstalledNorv* latestOfType(const InstalledNorvSelection& selection, std::int32_t type);

}  // namespace NorvEnvironment
