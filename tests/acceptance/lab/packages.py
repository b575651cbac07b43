"""Builds the packages of the tests with wixl: products of the platform, and small helpers."""

import itertools
import subprocess
import uuid
from dataclasses import dataclass, field
from pathlib import Path
from xml.sax.saxutils import quoteattr


@dataclass
class Product:
    """One version of the development kit (QVK) or the runtime (QVR)."""

    kind: str                     # "QVR" or "QVK"
    version: str                  # the name of its version key: "1.8.0_451", "21.0.12.1"
    product_code: str
    full_version: str = ""        # the package's property "FullVersion"
    upgrade_code: str = ""
    bits: int = 64
    home: str = ""                # below C:; by default in the program directory of its bits
    files: dict = field(default_factory=dict)    # path below home -> file of this machine
    registry: list = field(default_factory=list)  # more (key, name, value) of HKLM
    trailing_backslash: bool = False             # whether "NorvHome" is written with one

    @property
    def family_key(self):
        legacy = self.version.startswith("1.")
        return {
            ("QVR", True): "Software\\Halvorex\\Norv Runtime Environment",
            ("QVR", False): "Software\\Halvorex\\QVR",
            ("QVK", True): "Software\\Halvorex\\Norv Development Kit",
            ("QVK", False): "Software\\Halvorex\\QVK",
        }[self.kind, legacy]

    @property
    def home_directory(self):
        programs = "Program Files" if self.bits == 64 else "Program Files (x86)"
        return "C:\\" + (self.home or f"{programs}\\Norv\\{self.kind}-{self.version}")


# The product update runs behind PublishProduct: from there on the product is in the installer's list.
UPDATE = ("SetLatestQvr", "ProductCode=[ProductCode]", "PublishProduct")

# Directories are known from here on. (By the name of CostFinalize wixl places an action last.)
BEHIND_COSTS = 1001

_guids = uuid.UUID("a6f6dd0c-3d52-4a6c-9f43-0b2f4d1e7c11")


def _guid(*parts):
    return "{" + str(uuid.uuid5(_guids, "|".join(map(str, parts)))).upper() + "}"


def _identifier(*parts):
    return "i" + uuid.uuid5(_guids, "|".join(parts)).hex


def upgrade_code(kind, bits, first_number):
    """The upgrade code of a family of Zentra products."""
    if kind == "QVK":
        return f"{{{bits}A3A4F4-B792-11D6-A78A-00B0D02{first_number:04d}0}}"
    return f"{{57BDA5C6-443C-4D65-B233-28239{bits}2{first_number:04d}}}"


class Builder:
    """Makes packages in a directory. `library` is the DLL that goes into each."""

    def __init__(self, directory, library, stub, library_bits=64):
        self.directory = Path(directory)
        self.directory.mkdir(parents=True, exist_ok=True)
        self.library = Path(library)
        self.stub = Path(stub)
        # The installer of a 32-bit package is the one that loads a 32-bit library.
        self.library_bits = library_bits
        self.upgrade_codes = {}  # by package
        self._count = 0

    def product(self, product, update=None):
        """The package of a product; with `update` it runs the product update itself, deferred."""
        files = {"bin\\norv.exe": self.stub, "bin\\norvw.exe": self.stub}
        if product.kind == "QVK":
            files["bin\\norvc.exe"] = self.stub
        files.update(product.files)
        tail = "\\" if product.trailing_backslash else ""
        key = product.family_key + "\\" + product.version
        values = [(key, "NorvHome", "[INSTALLDIR]" if tail else product.home_directory),
                  (key, "RuntimeLib", product.home_directory + "\\bin\\server\\norv.dll"),
                  (key, "MicroVersion", "0"), *product.registry]
        properties = {"FullVersion": product.full_version} if product.full_version else {}
        return self.package(
            name=f"Norv {product.kind} {product.version}", product_code=product.product_code,
            upgrade_code=product.upgrade_code, bits=product.bits, home=product.home_directory[3:],
            files=files, values=values, properties=properties, deferred=[update] if update else [])

    def updater(self, arguments):
        """A small package that runs the product update with the given "CustomActionData"."""
        return self.package(name="Norv update", deferred=[("SetLatestQvr", arguments, "PublishProduct")])

    def package(self, name="Norv helper", product_code=None, upgrade_code="", bits=None, home="",
                files=None, values=(), properties=None, deferred=(), immediate=(), standard=(), tables=""):
        """Builds one package.

        files      path below `home` -> file of this machine
        values     (key, name, value) written under HKLM
        deferred   (export, CustomActionData, action behind which it stands)
        immediate  (export, its number in the sequence)
        standard   (standard action of the installer, its number in the sequence)
        tables     more elements of the package's source
        """
        self._count += 1
        bits = bits or self.library_bits
        product_code = product_code or _guid(name, self._count)
        directories, components = self._directories(home, files or {}, values, bits, product_code)
        actions, sequence = self._actions(deferred, immediate)
        sequence += "".join(f'<{action} Sequence="{number}"/>' for action, number in standard)
        upgrade_code = upgrade_code or _guid("upgrade", self._count)
        if home:
            sequence += f'<Custom Action="SetLocation" Sequence="{BEHIND_COSTS + 1}"/>'
        property_elements = "".join(
            f"<Property Id={quoteattr(n)} Value={quoteattr(v)}/>" for n, v in (properties or {}).items())
        source = f"""<?xml version="1.0" encoding="utf-8"?>
<Wix xmlns="http://schemas.microsoft.com/wix/2006/wi">
 <Product Id={quoteattr(product_code)} Name={quoteattr(name)} Language="1033" Version="1.0.0"
          Manufacturer="Dovrin, Inc." UpgradeCode={quoteattr(upgrade_code)}>
  <Package InstallerVersion="200" Compressed="yes" InstallScope="perMachine"/>
  <Media Id="1" Cabinet="files.cab" EmbedCab="yes"/>
  {property_elements}
  <Binary Id="library" SourceFile={quoteattr(self._local(self.library))}/>
  {directories}
  <Feature Id="all" Level="1">{''.join(f'<ComponentRef Id="component{c}"/>' for c in range(components))}</Feature>
  {actions}
  <InstallExecuteSequence>{sequence}</InstallExecuteSequence>
  {tables}
 </Product>
</Wix>
"""
        path = self.directory / f"package{self._count}.wxs"
        path.write_text(source, encoding="utf-8")
        package = path.with_suffix(".msi")
        subprocess.run(["wixl", "--arch", "x64" if bits == 64 else "x86", "-o", package.name, path.name],
                       check=True, stdout=subprocess.DEVNULL, cwd=self.directory)
        self.upgrade_codes[package] = upgrade_code
        return package

    def _local(self, source):
        """A file under a name that wixl takes: relative to the package's source."""
        source = Path(source).resolve()
        name = uuid.uuid5(_guids, str(source)).hex + source.suffix
        link = self.directory / name
        if not link.exists():
            link.symlink_to(source)
        return name

    def _directories(self, home, files, values, bits, product_code):
        """The directories with a component for each file and one for the values; how many components."""
        numbers = itertools.count()

        def component(content):
            number = next(numbers)
            win64 = ' Win64="yes"' if bits == 64 else ""
            return (f'<Component Id="component{number}" Guid="{_guid(product_code, home, number)}"{win64}>'
                    f"{content}</Component>")

        def directory(identifier, name, content):
            return f'<Directory Id="{identifier}" Name={quoteattr(name)}>{content}</Directory>'

        def folder(files, path=""):
            text = ""
            for name in dict.fromkeys(target.split("\\")[0] for target in files):
                if name in files:
                    text += component(f'<File Id="{_identifier(path, name)}" Name={quoteattr(name)} '
                                      f'Source={quoteattr(self._local(files[name]))} KeyPath="yes"/>')
                else:
                    below = {t[len(name) + 1:]: s for t, s in files.items() if t.startswith(name + "\\")}
                    text += directory(_identifier(path, name), name, folder(below, f"{path}{name}\\"))
            return text

        if not files and not values:
            values = [(f"Software\\NorvLab\\{product_code}", "installed", "1")]
        content = folder(files)
        if values:
            content += component("".join(
                f'<RegistryValue Root="HKLM" Key={quoteattr(k)} Name={quoteattr(n)} Value={quoteattr(v)} '
                f'Type="string" KeyPath="{"no" if i else "yes"}"/>' for i, (k, n, v) in enumerate(values)))
        programs = "ProgramFiles64Folder" if bits == 64 else "ProgramFilesFolder"
        parts = home.split("\\") if home else []
        root = programs if not parts or parts[0].startswith("Program Files") else "WindowsVolume"
        if root == programs:
            parts = parts[1:]
        for number, part in reversed(list(enumerate(parts, 1))):
            content = directory("INSTALLDIR" if number == len(parts) else f"parent{number}", part, content)
        return (f'<Directory Id="TARGETDIR" Name="SourceDir"><Directory Id="{root}">{content}</Directory></Directory>'
                + ('<CustomAction Id="SetLocation" Property="ARPINSTALLLOCATION" Value="[INSTALLDIR]"/>'
                   if home else "")), next(numbers)

    @staticmethod
    def _actions(deferred, immediate):
        actions, sequence = "", ""
        for export, data, after in deferred:
            # What a deferred action gets is the property of its own name.
            actions += (f'<CustomAction Id="{export}Data" Property="{export}" Value={quoteattr(data)}/>'
                        f'<CustomAction Id="{export}" BinaryKey="library" DllEntry="{export}" '
                        'Execute="deferred" Impersonate="no" Return="check"/>')
            sequence += (f'<Custom Action="{export}Data" Sequence="{BEHIND_COSTS}"/>'
                         f'<Custom Action="{export}" After="{after}"/>')
        for export, number in immediate:
            actions += (f'<CustomAction Id="{export}" BinaryKey="library" DllEntry="{export}" '
                        'Execute="immediate" Return="check"/>')
            sequence += f'<Custom Action="{export}" Sequence="{number}"/>'
        return actions, sequence
