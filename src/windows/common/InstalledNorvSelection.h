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

/// The highest version of each class; the earlier record wins a tie. Graphics products don't enter.
InstalledNorvSelection makeSelection(InstalledNorvRange products);

/// The slot of a class. Throws std::invalid_argument for a type or bits that have none.
std::size_t selectionIndex(std::int32_t type, std::uint32_t bits);

/// Only the two slots of the type.
InstalledNorvSelection selectByType(const InstalledNorvSelection& selection, std::int32_t type);

/// Only the two slots of the architecture.
InstalledNorvSelection selectByArch(const InstalledNorvSelection& selection, std::uint32_t bits);

/// Only the slots with the highest version of all.
InstalledNorvSelection keepLatest(const InstalledNorvSelection& selection);

/// The first product in the order: same type and architecture; same type; same architecture; any.
/// Null if the selection is empty.
const InstalledNorv* pickPreferred(const InstalledNorvSelection& selection, std::int32_t type,
                                   std::uint32_t bits);

/// The highest version of the type, rather of 64 bits than of 32; null if the type has no product.
const InstalledNorv* latestOfType(const InstalledNorvSelection& selection, std::int32_t type);

}  // namespace NorvEnvironment
