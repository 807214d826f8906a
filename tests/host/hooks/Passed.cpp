// The system's functions that are only counted, and made to fail.
#include "hooks/Hooks.h"

#include <fltuser.h>
#include <msi.h>
#include <msiquery.h>
#include <objbase.h>
#include <oleauto.h>
#include <sddl.h>
#include <shellapi.h>
#include <shlobj.h>
#include <wincred.h>
#include <wincrypt.h>
#include <winhttp.h>
#include <winternl.h>
#include <wtsapi32.h>

extern "C" NTSYSAPI NTSTATUS NTAPI RtlGetVersion(PRTL_OSVERSIONINFOW);
extern "C" NTSTATUS NTAPI NtQueryKey(HANDLE, int, PVOID, ULONG, PULONG);

namespace host {

// clang-format off
const Registration hooks{
    PASS(AddDllDirectory), PASS(AdjustTokenPrivileges), PASS(AssignProcessToJobObject), PASS(CoCreateGuid),
    PASS(CoInitializeEx), PASS(CoSetProxyBlanket), PASS(CommandLineToArgvW),
    PASS(ConvertStringSecurityDescriptorToSecurityDescriptorW), PASS(ConvertStringSidToSidW), PASS(CopyFileW),
    PASS(CreateEventW), PASS(CreateJobObjectW), PASS(CreateNamedPipeW), PASS(CreateThreadpoolTimer),
    PASS(CreateWellKnownSid), PASS(CreateWindowExW), PASS(CredReadW), PASS(CryptAcquireContextW),
    PASS(CryptCreateHash), PASS(CryptGetHashParam), PASS(CryptHashData), PASS(DeleteFileW), PASS(DuplicateHandle),
    PASS(ExpandEnvironmentStringsW), PASS(FileTimeToSystemTime), PASS(FindFirstFileW), PASS(FindNextFileW),
    PASS(FindResourceW), PASS(FormatMessageW), PASS(GetExitCodeProcess), PASS(GetFileAttributesExW),
    PASS(GetFileAttributesW), PASS(GetFileInformationByHandle), PASS(GetFileSizeEx), PASS(GetFileVersionInfoSizeW),
    PASS(GetFileVersionInfoW), PASS(GetFullPathNameW), PASS(GetLongPathNameW), PASS(GetModuleFileNameW),
    PASS(GetModuleHandleExW), PASS(GetOverlappedResult), PASS(GetSecurityDescriptorDacl),
    PASS(GetSecurityDescriptorOwner), PASS(GetSystemDirectoryW), PASS(GetSystemWindowsDirectoryW),
    PASS(GetVolumeInformationW), PASS(GetVolumePathNameW), PASS(InitializeProcThreadAttributeList),
    PASS(LoadLibraryExW), PASS(LoadResource), PASS(LocalAlloc), PASS(LockResource), PASS(LookupAccountNameW),
    PASS(LookupPrivilegeValueW), PASS(MoveFileExW), PASS(MsiEnumRelatedProductsW), PASS(MsiGetProductInfoW),
    PASS(MsiOpenDatabaseW), PASS(MsiOpenPackageW), PASS(MsiOpenProductW), PASS(MsiQueryProductStateW),
    PASS(NtQueryKey), PASS(OpenProcessToken), PASS(OpenThreadToken), PASS(QueryDosDeviceW), PASS(ReadFile),
    PASS(RegCreateKeyExW), PASS(RegDeleteValueW), PASS(RegEnumKeyExW), PASS(RegOpenKeyExW), PASS(RegQueryInfoKeyW),
    PASS(RegQueryValueExW), PASS(RegSetValueExW), PASS(RegisterClassW), PASS(ReleaseMutex), PASS(RemoveDirectoryW),
    PASS(ResumeThread), PASS(RevertToSelf), PASS(RtlGetVersion), PASS(SHGetKnownFolderPath),
    PASS(SetDefaultDllDirectories), PASS(SetEnvironmentVariableW), PASS(SetEvent), PASS(SetFileAttributesW),
    PASS(SetFilePointerEx), PASS(SetInformationJobObject), PASS(SysAllocStringLen), PASS(SystemTimeToFileTime),
    PASS(UpdateProcThreadAttribute), PASS(VerQueryValueW), PASS(WTSGetActiveConsoleSessionId),
    PASS(WTSQueryUserToken), PASS(WinHttpConnect), PASS(WinHttpOpen), PASS(WinHttpOpenRequest),
    PASS(WinHttpQueryDataAvailable), PASS(WinHttpQueryHeaders), PASS(WinHttpQueryOption),
    PASS(WinHttpReceiveResponse), PASS(WinHttpSendRequest), PASS(WinHttpSetStatusCallback),
    PASS(WinHttpSetTimeouts), PASS(WinHttpWriteData), PASS(_read), PASS(malloc)};
// clang-format on

} // namespace host
