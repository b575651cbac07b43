#include "windows/installerdll/FileAssociation.h"

#include "windows/common/Paths.h"
#include "windows/common/Registry.h"

namespace {

tstring classKey(const TCHAR* name) {
    return FileUtils::combinePath(_T("Software\\Classes"), name);
}

/// Returns the value path of a key's default value.
tstring defaultValue(const tstring& key) {
    return key + _T("\\");
}

}  // namespace

void FileAssociation::add(const tstring& command, const tstring& description) const {
    const tstring identifierKey = classKey(identifier);
    HKLM64.setString(defaultValue(identifierKey), description);
    HKLM64.setString(defaultValue(identifierKey + _T("\\shell\\open\\command")), command);
    HKLM64.setString(defaultValue(classKey(extension)), identifier);
}

void FileAssociation::remove() const {
    HKLM64.deleteKeyTree(classKey(identifier));
    HKLM64.deleteKeyTree(classKey(extension));
}
