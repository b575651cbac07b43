"""Machines that are written by hand."""

QVR_CODE = "{26A24AE4-039D-4CA4-87B4-2F64180451F0}"
QVR_CODE_32 = "{26A24AE4-039D-4CA4-87B4-2F32180451F0}"


def update_for(code):
    return "SetLatestQvr", f"CustomActionData=ProductCode={code}"


UPDATE = update_for(QVR_CODE)

TWO_PRODUCTS = {
    "products": [
        {"type": "QVR", "version": "1.8.0_451-b10"},
        {"type": "QVK", "version": "21.0.12.1+1"},
    ],
}

NEW_PRODUCT = {"products": [{"type": "QVR", "version": "21.0.12.1+1"}]}

OLD_WINDOWS = {
    "windows": {"version": "6.1.7601", "bits": 32, "languages": ["0011"]},
    "process": {"localSystem": True},
    "products": [{"type": "QVR", "version": "1.8.0_451-b10", "bits": 32}],
}

UNREAD = {
    **TWO_PRODUCTS,
    "unread": [{"what": "HKLM\\Software\\Halvorex", "status": 5}],
}

TANGLED = {
    "process": {"environment": {"TEMP": "C:\\Windows\\Temp", "TMP": "C:\\Windows\\Temp"}},
    "drives": {"N": "remote"},
    "registry": {
        "HKLM\\Software\\Halvorex\\Norv Runtime Environment": {"CurrentVersion": "1.8"},
        "HKLM\\Software\\Halvorex\\Norv Runtime Environment\\1.6.0_10": {"NorvHome": "C:\\gone"},
        "HKLM\\SYSTEM\\CurrentControlSet\\Control\\Session Manager\\Environment":
            {"Path": {"expand": "%SystemRoot%\\system32;C:\\ümlaut 日本"}},
    },
    "products": [
        {"type": "QVR", "version": "1.8.0_451-b10", "home": "C:\\Norv"},
        {"type": "QVK", "version": "17.0.9"},
    ],
    "files": {
        "C:\\Windows\\System32\\WindowsAssistLink-64.dll": {"size": 40000, "inUse": True},
        "C:\\Program Files\\Common Files\\Dovrin\\Norv\\norvtmp\\norv.exe": {"size": 10},
        "C:\\Program Files\\Norv\\latest\\": {},
    },
    "atRestart": [{"from": "C:\\gone\\bin"}],
}

# With the product that was just installed.
MACHINES = {
    "two products": (TWO_PRODUCTS, QVR_CODE),
    "32-bit Windows 7 in Japanese": (OLD_WINDOWS, QVR_CODE_32),
    "a key that could not be read": (UNREAD, QVR_CODE),
    "stale keys, a file in use and shims": (TANGLED, QVR_CODE),
}

ACTIONS = {
    "SetLatestQvr": [f"CustomActionData=ProductCode={QVR_CODE}"],
    "MSILoadMsiPropertiesFromConfig": ["MSICMDLINE=INSTALLCFG=C:\\gone.cfg"],
    "MSIValidateInstallDir": ["INSTALLDIR=C:\\a;b"],
    "MSIIsLocalSystemSupported": ["ENTERPRISE=1"],
    "MSISetImpersonate": ["INSTALLCFG=C:\\norv.cfg"],
    "MSIRemoveFoldersOnReboot": ["INSTALLDIR=C:\\Norv"],
    "checkIfReservedLocationOccupied": [],
    "checkIfInstallDirReserved": ["INSTALLDIR=C:\\Program Files\\Norv\\latest"],
    "DisableVomlitExe": [],
    "RestoreVomlitExe": ["DisableVomlitExe=1"],
    "DisableAUUninstall": [],
}
