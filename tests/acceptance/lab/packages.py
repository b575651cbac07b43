"""Builds the packages of the tests with wixl: products of the platform, and small helpers."""

import re
import subprocess
import uuid
from dataclasses import dataclass, field
from pathlib import Path
from xml.sax.saxutils import quoteattr

REPOSITORY = Path(__file__).resolve().parents[3]
_names = uuid.UUID("a6f6dd0c-3d52-4a6c-9f43-0b2f4d1e7c11")


@dataclass
class Product:
    """One version of the development kit (QVK) or the runtime (QVR)."""

    kind: str                     # "QVR" or "QVK"
    full_version: str             # the package's property "FullVersion": "1.8.0_451-b10"
    product_code: str
    upgrade_code: str = None
    bits: int = 64
    files: dict = field(default_factory=dict)     # path below home -> file of this machine; None for the tool
    registry: list = field(default_factory=list)  # more (key, name, value) of HKLM
    trailing_backslash: bool = False              # whether "NorvHome" is written with one

    def __post_init__(self):
        self.version = re.split("[-+]", self.full_version)[0]   # the name of its version key
        legacy = {"QVR": "Norv Runtime Environment", "QVK": "Norv Development Kit"}
        family = legacy[self.kind] if self.version.startswith("1.") else self.kind
        self.family_key = f"Software\\Halvorex\\{family}"


def legacy_qvr(update=451, bits=64, **more):
    """A runtime of the 1.8 line, whose product code contains its version."""
    code = f"{{26A24AE4-039D-4CA4-87B4-2F{bits}180{update:03d}F0}}"
    return Product("QVR", f"1.8.0_{update}-b10", code, bits=bits, **more)


def legacy_qvk(bits=64, **more):
    """A development kit of the 1.8 line without an update number."""
    return Product("QVK", "1.8.0-b07", f"{{{bits}A3A4F4-B792-11D6-A78A-00B0D0180000}}", bits=bits, **more)


def zentra(kind, full_version, bits=64, **more):
    """A product of the Zentra scheme, which is found through the upgrade code of its family."""
    code = "{" + str(uuid.uuid5(_names, f"{kind}{full_version}{bits}")).upper() + "}"
    number = int(full_version.split(".")[0])
    upgrade_code = {"QVK": f"{{{bits}A3A4F4-B792-11D6-A78A-00B0D02{number:04d}0}}",
                    "QVR": f"{{57BDA5C6-443C-4D65-B233-28239{bits}2{number:04d}}}"}[kind]
    return Product(kind, full_version, code, upgrade_code, bits, **more)


# The arguments of an update that a product's own package runs for itself.
UPDATE = "ProductCode=[ProductCode]"

# Directories are known from here on. (By the name of CostFinalize wixl places an action last.)
AFTER_COSTS = 1020


def _element(name, *content, **attributes):
    text = "".join(f" {n}={quoteattr(str(value))}" for n, value in attributes.items())
    return f"<{name}{text}>{''.join(content)}</{name}>"


class Builder:
    """Makes packages in a directory. `library` is the DLL that goes into each, `tool` what most files are; `wix`
    is the kit's folder of sources.
    """

    def __init__(self, directory, library, tool, library_bits=64, wix=REPOSITORY / "kit/wix"):
        self.directory = Path(directory)
        self.directory.mkdir(parents=True, exist_ok=True)
        # The installer of a 32-bit package is the one that loads a 32-bit library.
        self.library, self.tool, self.library_bits, self.wix = library, tool, library_bits, wix
        self._count = 0

    def product(self, product, update=None, **more):
        """The package of a product; with `update` it runs the product update itself. `more` as for package()."""
        files = dict.fromkeys(f"bin\\{name}.exe" for name in ["norv", "norvw"] + ["norvc"] * (product.kind == "QVK"))
        home = f"Norv\\{product.kind}-{product.version}"
        directory = f"C:\\Program Files{'' if product.bits == 64 else ' (x86)'}\\{home}"
        key = f"{product.family_key}\\{product.version}"
        values = [(key, "NorvHome", "[INSTALLDIR]" if product.trailing_backslash else directory),
                  (key, "RuntimeLib", f"{directory}\\bin\\server\\norv.dll"),
                  (key, "MicroVersion", "0"), *product.registry]
        return self.package(f"Norv {product.kind} {product.version}", product.product_code, product.upgrade_code,
                            product.bits, home, files | product.files, values, product.full_version, update, **more)

    def package(self, name="Norv helper", product_code="*", upgrade_code=None, bits=None, home="", files=None,
                values=(("Software\\NorvLab", "installed", "1"),), full_version=None, update=None, immediate=(),
                actions=(), version="1.0.0", library=None, finished=True, more=""):
        """Builds one package.

        home       where its files are, below the program directory
        files      path below `home` -> file of this machine; None for the tool
        values     (key, name, value) written under HKLM
        update     the arguments of the product update, which the kit then places
        immediate  (export, its number in the sequence): declared here, not by the kit
        actions    names of the kit's actions
        version    the installer's version of the product
        library    another norvca.dll
        finished   whether wix/finish completes it
        more       more elements of the package's source
        """
        self._count += 1
        bits = bits or self.library_bits
        win64 = {"Win64": "yes"} if bits == 64 else {}
        components = []

        def component(*content):
            components.append(f"component{len(components)}")
            return _element("Component", *content, Id=components[-1], Guid="*", **win64)

        def folder(files, path=""):
            for name in dict.fromkeys(target.split("\\")[0] for target in files):
                here = f"{path}{name}"
                below = {t[len(name) + 1:]: source for t, source in files.items() if t.startswith(f"{name}\\")}
                if below:
                    identifier = "INSTALLDIR" if here == home else "d" + uuid.uuid5(_names, here).hex
                    yield _element("Directory", *folder(below, f"{here}\\"), Id=identifier, Name=name)
                else:
                    yield component(_element("File", Id="f" + uuid.uuid5(_names, here).hex, Name=name, KeyPath="yes",
                                             Source=self._local(files[name] or self.tool)))

        content = list(folder({f"{home}\\{path}": source for path, source in (files or {}).items()}))
        content.append(component(*[
            _element("RegistryValue", Root="HKLM", Key=key, Name=name, Value=value, Type="string",
                     KeyPath="no" if number else "yes") for number, (key, name, value) in enumerate(values)]))
        directory = _element("Directory", *content, Id="ProgramFiles64Folder" if bits == 64 else "ProgramFilesFolder")
        declared, sequence = [], []
        if home:
            declared.append(_element("CustomAction", Id="Location", Property="ARPINSTALLLOCATION", Value="[INSTALLDIR]"))
            sequence.append(_element("Custom", Action="Location", Sequence=AFTER_COSTS))
        for export, number in immediate:
            declared.append(_element("CustomAction", Id=export, BinaryKey="norvca", DllEntry=export, Return="check",
                                     Execute="immediate"))
            sequence.append(_element("Custom", Action=export, Sequence=number))
        if update:
            actions = [*actions, "SetLatestQvr"]
            if update != UPDATE:
                declared.append(_element("Property", Id="NORVCA_ARGUMENTS", Value=update))
        included = [f"<?include {action}.wxi ?>" for action in actions or (["norvca"] if immediate else [])]
        source = _element(
            "Wix", _element(
                "Product",
                _element("Package", InstallerVersion=200, Compressed="yes", InstallScope="perMachine"),
                _element("Media", Id=1, Cabinet="files.cab", EmbedCab="yes"),
                _element("Property", Id="FullVersion", Value=full_version) if full_version else "",
                _element("Directory", directory, Id="TARGETDIR", Name="SourceDir"),
                _element("Feature", *[_element("ComponentRef", Id=c) for c in components], Id="all", Level=1),
                *declared, *included, _element("InstallExecuteSequence", *sequence), more,
                Id=product_code, Name=name, Language=1033, Version=version, Manufacturer="Dovrin, Inc.",
                UpgradeCode=upgrade_code or f"{{{uuid.uuid4()}}}".upper()),
            xmlns="http://schemas.microsoft.com/wix/2006/wi")
        path = self.directory / f"package{self._count}.wxs"
        path.write_text(source, encoding="utf-8")
        subprocess.run(["wixl", "--arch", "x64" if bits == 64 else "x86", "-I", self.wix, "-D",
                        f"NorvcaLibrary={self._local(library or self.library)}", "-o", f"{path.stem}.msi", path.name],
                       check=True, stdout=subprocess.DEVNULL, cwd=self.directory)
        if included and finished:
            subprocess.run(["sh", self.wix / "finish", path.with_suffix(".msi")], check=True)
        return path.with_suffix(".msi")

    def _local(self, source):
        """A file under a name that wixl takes: relative to the package's source."""
        source = Path(source).resolve()
        link = self.directory / (uuid.uuid5(_names, str(source)).hex + source.suffix)
        if not link.exists():
            link.symlink_to(source)
        return link.name
