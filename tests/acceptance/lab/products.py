"""The products of the tests, for either architecture."""

from lab.packages import Product, upgrade_code


def legacy_qvr(update=451, bits=64, **more):
    """A runtime of the 1.8 line, whose product code tells its version."""
    return Product("QVR", f"1.8.0_{update}", f"{{26A24AE4-039D-4CA4-87B4-2F{bits}180{update:03d}F0}}",
                   f"1.8.0_{update}-b10", bits=bits, **more)


def legacy_qvk(micro=0, bits=64, **more):
    """A development kit of the 1.8 line without an update number."""
    return Product("QVK", f"1.8.{micro}", f"{{{bits}A3A4F4-B792-11D6-A78A-00B0D018{micro}000}}",
                   f"1.8.{micro}-b07", bits=bits, **more)


def zentra(kind, full_version, number, bits=64, **more):
    """A product of the Zentra scheme, which is found through its upgrade code."""
    name = full_version.split("+")[0]
    code = f"{{8E1D6A51-2B0C-4B7E-9A55-{bits:04d}{'01' if kind == 'QVK' else '02'}{number:06d}}}"
    return Product(kind, name, code, full_version, upgrade_code(kind, bits, int(name.split(".")[0])),
                   bits=bits, **more)


def qvk17(bits=64, **more):
    return zentra("QVK", "17.0.9", 17, bits, **more)


def qvk21(bits=64, **more):
    """The version of the package that the library is built for."""
    return zentra("QVK", "21.0.12.1+1", 21, bits, **more)
