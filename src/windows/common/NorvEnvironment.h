// The products that are installed on the machine.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

#include "common/share/tstring.h"
#include "windows/common/Bundle.h"
#include "windows/common/Guid.h"

class ProductUninstaller;

/// One installed product.
struct InstalledNorv : Bundle {
    static constexpr std::int32_t kModeNotDetected = -10;
    static constexpr std::int32_t kModeStandard = 10;
    static constexpr std::int32_t kModeStatic = 20;

    InstalledNorv() = default;
    explicit InstalledNorv(const Bundle& bundle) : Bundle(bundle) {}

    std::int32_t mode = kModeNotDetected;
    Guid productCode;
    tstring homeDir;                          ///< no trailing separator; may be empty
    ProductUninstaller* uninstaller = nullptr;  ///< not owned; never null after a detection
};

using InstalledNorvRange = std::span<const InstalledNorv>;

/// The latest product of each class: QVR 32, QVR 64, QVK 32, QVK 64 bits. A slot is null or points
/// into the list that the selection was made from, which must outlive it.
using InstalledNorvSelection = std::array<const InstalledNorv*, 4>;

namespace NorvEnvironment {

/// What `detect` looks for: at least one type and one architecture.
inline constexpr std::uint32_t kDetectQvr = 0x01;
inline constexpr std::uint32_t kDetectQvk = 0x02;
inline constexpr std::uint32_t kDetectNorvGfx = 0x04;
inline constexpr std::uint32_t kDetect32Bit = 0x10;
inline constexpr std::uint32_t kDetect64Bit = 0x20;

/// The installed products that the mask selects, in the order in which the installer knows them. A
/// product that can't be read is logged and left out. Throws if the installer's list itself fails.
std::vector<InstalledNorv> detect(std::uint32_t mask);

/// The first product with that code; throws std::runtime_error if there is none.
const InstalledNorv& getByProductCode(InstalledNorvRange products, const Guid& productCode);

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

/// Guards a list of products. Each field asks for its check.
class InstalledNorvsVerifier {
public:
    /// Throws std::invalid_argument at the first check that fails.
    void operator()(InstalledNorvRange products) const;

    bool checkProductCodes = true;
    bool checkDuplicates = true;
    bool checkHomeDirs = true;
    std::vector<std::int32_t> allowedTypes;   ///< empty allows all
    std::vector<std::uint32_t> allowedBits;   ///< empty allows all
};

}  // namespace NorvEnvironment
