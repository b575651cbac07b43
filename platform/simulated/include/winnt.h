// Constants and structures that kernel services share: versions, languages, registry rights and
// types, security identifiers, tokens and descriptors.
#pragma once

#include <windef.h>

#define PROCESSOR_ARCHITECTURE_INTEL 0
#define PROCESSOR_ARCHITECTURE_AMD64 9

#define VER_PLATFORM_WIN32_NT 2

struct OSVERSIONINFOW {
    DWORD dwOSVersionInfoSize;
    DWORD dwMajorVersion;
    DWORD dwMinorVersion;
    DWORD dwBuildNumber;
    DWORD dwPlatformId;
    WCHAR szCSDVersion[128];
};
using LPOSVERSIONINFOW = OSVERSIONINFOW*;

struct OSVERSIONINFOEXW {
    DWORD dwOSVersionInfoSize;
    DWORD dwMajorVersion;
    DWORD dwMinorVersion;
    DWORD dwBuildNumber;
    DWORD dwPlatformId;
    WCHAR szCSDVersion[128];
    WORD wServicePackMajor;
    WORD wServicePackMinor;
    WORD wSuiteMask;
    BYTE wProductType;
    BYTE wReserved;
};

// Registry rights, views and value types.
#define KEY_QUERY_VALUE 0x0001
#define KEY_SET_VALUE 0x0002
#define KEY_CREATE_SUB_KEY 0x0004
#define KEY_ENUMERATE_SUB_KEYS 0x0008
#define KEY_NOTIFY 0x0010
#define KEY_WOW64_64KEY 0x0100
#define KEY_WOW64_32KEY 0x0200
#define KEY_READ 0x20019
#define KEY_WRITE 0x20006
#define KEY_ALL_ACCESS 0xF003F

#define REG_OPTION_NON_VOLATILE 0
#define REG_CREATED_NEW_KEY 1
#define REG_OPENED_EXISTING_KEY 2

#define REG_NONE 0
#define REG_SZ 1
#define REG_EXPAND_SZ 2
#define REG_BINARY 3
#define REG_DWORD 4
#define REG_DWORD_BIG_ENDIAN 5
#define REG_LINK 6
#define REG_MULTI_SZ 7
#define REG_RESOURCE_LIST 8
#define REG_FULL_RESOURCE_DESCRIPTOR 9
#define REG_RESOURCE_REQUIREMENTS_LIST 10
#define REG_QWORD 11

// Shared memory.
#define PAGE_READWRITE 0x04

// Security identifiers.
#define SID_REVISION 1
#define SID_MAX_SUB_AUTHORITIES 15
#define SECURITY_MAX_SID_SIZE 68

struct SID {
    BYTE Revision;
    BYTE SubAuthorityCount;
    BYTE IdentifierAuthority[6];
    DWORD SubAuthority[1];
};
using PSID = PVOID;

struct SID_AND_ATTRIBUTES {
    PSID Sid;
    DWORD Attributes;
};

#define SE_GROUP_ENABLED 0x00000004u
#define SE_GROUP_USE_FOR_DENY_ONLY 0x00000010u

// Tokens.
#define TOKEN_QUERY 0x0008

enum TOKEN_INFORMATION_CLASS { TokenUser = 1, TokenGroups = 2, TokenElevation = 20 };

struct TOKEN_USER {
    SID_AND_ATTRIBUTES User;
};

struct TOKEN_GROUPS {
    DWORD GroupCount;
    SID_AND_ATTRIBUTES Groups[1];
};

struct TOKEN_ELEVATION {
    DWORD TokenIsElevated;
};

// Security descriptors, self-relative.
using PSECURITY_DESCRIPTOR = PVOID;

struct SECURITY_DESCRIPTOR_RELATIVE {
    BYTE Revision;
    BYTE Sbz1;
    WORD Control;
    DWORD Owner;  ///< offsets from the start, 0 for none
    DWORD Group;
    DWORD Sacl;
    DWORD Dacl;
};

#define SECURITY_DESCRIPTOR_REVISION 1
#define SE_DACL_PRESENT 0x0004
#define SE_SELF_RELATIVE 0x8000

#define ACL_REVISION 2

struct ACL {
    BYTE AclRevision;
    BYTE Sbz1;
    WORD AclSize;
    WORD AceCount;
    WORD Sbz2;
};

struct ACE_HEADER {
    BYTE AceType;
    BYTE AceFlags;
    WORD AceSize;
};

/// Followed by the rest of the SID.
struct ACCESS_ALLOWED_ACE {
    ACE_HEADER Header;
    DWORD Mask;
    DWORD SidStart;
};

#define ACCESS_ALLOWED_ACE_TYPE 0
#define OBJECT_INHERIT_ACE 0x01
#define CONTAINER_INHERIT_ACE 0x02
#define INHERITED_ACE 0x10

// The name of string tables among the types of resources.
#define RT_STRING MAKEINTRESOURCEW(6)
