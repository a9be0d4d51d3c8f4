// The ground on Linux: the subset of the Windows base interface that the program
// uses, under its documented names. Declarations only; what stands behind them is
// in platform/base, platform/registry and platform/console.
#pragma once

#include <stddef.h>
#include <stdint.h>

// ---- types -------------------------------------------------------------------

#define WINAPI
#define CALLBACK
#define CONST const
#define VOID void
#define TRUE 1
#define FALSE 0

typedef int BOOL;
typedef unsigned char BYTE;
typedef BYTE* PBYTE;
typedef BYTE* LPBYTE;
typedef const BYTE* LPCBYTE;
typedef char CHAR;
typedef unsigned char UCHAR;
typedef wchar_t WCHAR;
typedef short SHORT;
typedef unsigned short WORD;
typedef WORD* LPWORD;
typedef int INT;
typedef unsigned int UINT;
typedef int32_t LONG;
typedef LONG* PLONG;
typedef uint32_t ULONG;
typedef uint32_t DWORD;
typedef DWORD* PDWORD;
typedef DWORD* LPDWORD;
typedef int64_t LONGLONG;
typedef uint64_t ULONGLONG;
typedef uint64_t DWORD64;
typedef intptr_t INT_PTR;
typedef intptr_t LONG_PTR;
typedef uintptr_t ULONG_PTR;
typedef uintptr_t DWORD_PTR;
typedef uintptr_t UINT_PTR;
typedef size_t SIZE_T;
typedef void* PVOID;
typedef void* LPVOID;
typedef const void* LPCVOID;
typedef CHAR* LPSTR;
typedef CHAR* PSTR;
typedef const CHAR* LPCSTR;
typedef WCHAR* LPWSTR;
typedef const WCHAR* LPCWSTR;
typedef void* HANDLE;
typedef HANDLE* PHANDLE;
typedef HANDLE HLOCAL;
typedef HANDLE HGLOBAL;
typedef struct HINSTANCE__* HINSTANCE;
typedef HINSTANCE HMODULE;
typedef INT_PTR(WINAPI* FARPROC)();
typedef struct HKEY__* HKEY;
typedef HKEY* PHKEY;
typedef struct HWND__* HWND;
typedef LONG HRESULT;
typedef LONG LSTATUS;
typedef DWORD ACCESS_MASK;
typedef ACCESS_MASK REGSAM;

typedef struct _FILETIME {
    DWORD dwLowDateTime;
    DWORD dwHighDateTime;
} FILETIME, *PFILETIME, *LPFILETIME;

typedef struct _SYSTEMTIME {
    WORD wYear;
    WORD wMonth;
    WORD wDayOfWeek;
    WORD wDay;
    WORD wHour;
    WORD wMinute;
    WORD wSecond;
    WORD wMilliseconds;
} SYSTEMTIME, *PSYSTEMTIME, *LPSYSTEMTIME;

typedef struct _OVERLAPPED OVERLAPPED, *LPOVERLAPPED;
typedef struct _SECURITY_ATTRIBUTES SECURITY_ATTRIBUTES, *LPSECURITY_ATTRIBUTES;

#define INVALID_HANDLE_VALUE ((HANDLE)(LONG_PTR)-1)
#define MAX_PATH 260

// ---- error values ------------------------------------------------------------

#define ERROR_SUCCESS 0
#define NO_ERROR 0
#define ERROR_FILE_NOT_FOUND 2
#define ERROR_PATH_NOT_FOUND 3
#define ERROR_TOO_MANY_OPEN_FILES 4
#define ERROR_ACCESS_DENIED 5
#define ERROR_INVALID_HANDLE 6
#define ERROR_NOT_ENOUGH_MEMORY 8
#define ERROR_BAD_FORMAT 11
#define ERROR_INVALID_DATA 13
#define ERROR_OUTOFMEMORY 14
#define ERROR_NOT_SAME_DEVICE 17
#define ERROR_NO_MORE_FILES 18
#define ERROR_WRITE_PROTECT 19
#define ERROR_BAD_UNIT 20
#define ERROR_WRITE_FAULT 29
#define ERROR_READ_FAULT 30
#define ERROR_GEN_FAILURE 31
#define ERROR_SHARING_VIOLATION 32
#define ERROR_LOCK_VIOLATION 33
#define ERROR_NOT_SUPPORTED 50
#define ERROR_FILE_EXISTS 80
#define ERROR_INVALID_PARAMETER 87
#define ERROR_BROKEN_PIPE 109
#define ERROR_DISK_FULL 112
#define ERROR_CALL_NOT_IMPLEMENTED 120
#define ERROR_INSUFFICIENT_BUFFER 122
#define ERROR_MOD_NOT_FOUND 126
#define ERROR_PROC_NOT_FOUND 127
#define ERROR_SEEK_ON_DEVICE 132
#define ERROR_DIR_NOT_EMPTY 145
#define ERROR_BAD_ARGUMENTS 160
#define ERROR_BUSY 170
#define ERROR_ALREADY_EXISTS 183
#define ERROR_BAD_EXE_FORMAT 193
#define ERROR_FILENAME_EXCED_RANGE 206
#define ERROR_FILE_TOO_LARGE 223
#define ERROR_MORE_DATA 234
#define ERROR_NO_MORE_ITEMS 259
#define ERROR_MR_MID_NOT_FOUND 317
#define ERROR_INVALID_FLAGS 1004
#define ERROR_NO_UNICODE_TRANSLATION 1113
#define ERROR_DLL_NOT_FOUND 1157
#define ERROR_KEY_DELETED 1018
#define ERROR_BADDB 1009
#define ERROR_IO_DEVICE 1117
#define ERROR_UNABLE_TO_MOVE_REPLACEMENT 1176
#define ERROR_CANCELLED 1223
#define ERROR_INTERNAL_ERROR 1359
#define ERROR_FILE_CORRUPT 1392
#define RPC_S_SERVER_UNAVAILABLE 1722
#define ERROR_CANT_RESOLVE_FILENAME 1921
#define ERROR_INVALID_OPERATION 4317
#define ERROR_OBJECT_ALREADY_EXISTS 5010
#define ERROR_INVALID_STATE 5023
#define ERROR_INTERNET_CANNOT_CONNECT 12029

#define S_OK ((HRESULT)0)
#define E_NOTIMPL ((HRESULT)0x80004001)
#define E_FAIL ((HRESULT)0x80004005)
#define E_ACCESSDENIED ((HRESULT)0x80070005)
#define E_OUTOFMEMORY ((HRESULT)0x8007000E)
#define SEC_E_CONTEXT_EXPIRED ((HRESULT)0x80090317)
#define E_INVALIDARG ((HRESULT)0x80070057)
#define E_UNEXPECTED ((HRESULT)0x8000FFFF)

#define SCARD_W_WRONG_CHV ((DWORD)0x8010006B)
#define SCARD_W_CANCELLED_BY_USER ((DWORD)0x8010006E)

#ifdef __cplusplus
extern "C" {
#endif

// ---- last error and texts ----------------------------------------------------

DWORD WINAPI GetLastError(void);
void WINAPI SetLastError(DWORD code);

#define FORMAT_MESSAGE_ALLOCATE_BUFFER 0x00000100
#define FORMAT_MESSAGE_IGNORE_INSERTS 0x00000200
#define FORMAT_MESSAGE_FROM_HMODULE 0x00000800
#define FORMAT_MESSAGE_FROM_SYSTEM 0x00001000

// Returns the count of characters without the terminator, 0 on failure. With
// FORMAT_MESSAGE_ALLOCATE_BUFFER `buffer` points to an LPSTR that the caller
// releases with LocalFree.
DWORD WINAPI FormatMessageA(DWORD flags, LPCVOID source, DWORD messageId, DWORD languageId,
                            LPSTR buffer, DWORD size, void* arguments);

HLOCAL WINAPI LocalFree(HLOCAL memory);
HGLOBAL WINAPI GlobalFree(HGLOBAL memory);
// System modules by name, ".dll" and case aside. Fails with ERROR_DLL_NOT_FOUND (1157) when
// the library that a module stands on is not installed, with ERROR_MOD_NOT_FOUND for others.
HMODULE WINAPI LoadLibraryA(LPCSTR name);
BOOL WINAPI FreeLibrary(HMODULE module);
FARPROC WINAPI GetProcAddress(HMODULE module, LPCSTR name);
// Finds modules that are loaded.
HMODULE WINAPI GetModuleHandleA(LPCSTR name);
DWORD WINAPI GetVersion(void);
DWORD WINAPI GetCurrentProcessId(void);

// Exit status: the low 8 bits of `code`, and 255 when those are 0 and `code` is not.
__attribute__((noreturn)) void WINAPI ExitProcess(UINT code);

// ---- text and time -----------------------------------------------------------

#define CP_ACP 0
#define CP_THREAD_ACP 3
#define CP_UTF8 65001
#define MB_ERR_INVALID_CHARS 0x00000008

int WINAPI MultiByteToWideChar(UINT codePage, DWORD flags, LPCSTR text, int length, LPWSTR out,
                               int capacity);
int WINAPI WideCharToMultiByte(UINT codePage, DWORD flags, LPCWSTR text, int length, LPSTR out,
                               int capacity, LPCSTR defaultChar, BOOL* usedDefaultChar);

BOOL WINAPI FileTimeToSystemTime(const FILETIME* fileTime, SYSTEMTIME* systemTime);
BOOL WINAPI SystemTimeToFileTime(const SYSTEMTIME* systemTime, FILETIME* fileTime);
void WINAPI GetSystemTimeAsFileTime(FILETIME* fileTime);

// ---- console -----------------------------------------------------------------

#define STD_INPUT_HANDLE ((DWORD)-10)
#define STD_OUTPUT_HANDLE ((DWORD)-11)
#define STD_ERROR_HANDLE ((DWORD)-12)
#define ENABLE_PROCESSED_INPUT 0x0001
#define ENABLE_LINE_INPUT 0x0002
#define ENABLE_ECHO_INPUT 0x0004

UINT WINAPI GetConsoleOutputCP(void);
HANDLE WINAPI GetStdHandle(DWORD which);
BOOL WINAPI GetConsoleMode(HANDLE console, DWORD* mode);
BOOL WINAPI SetConsoleMode(HANDLE console, DWORD mode);

// A line read from a console ends in CR LF, as the console delivers it.
BOOL WINAPI ReadFile(HANDLE file, LPVOID buffer, DWORD size, DWORD* read, LPOVERLAPPED overlapped);
BOOL WINAPI WriteFile(HANDLE file, LPCVOID data, DWORD size, DWORD* written,
                      LPOVERLAPPED overlapped);

// ---- files -------------------------------------------------------------------

#define GENERIC_READ 0x80000000u
#define GENERIC_WRITE 0x40000000u
#define FILE_SHARE_READ 0x00000001
#define FILE_SHARE_WRITE 0x00000002
#define FILE_SHARE_DELETE 0x00000004
#define CREATE_NEW 1
#define CREATE_ALWAYS 2
#define OPEN_EXISTING 3
#define FILE_ATTRIBUTE_READONLY 0x00000001
#define FILE_ATTRIBUTE_DIRECTORY 0x00000010
#define FILE_ATTRIBUTE_DEVICE 0x00000040
#define FILE_ATTRIBUTE_NORMAL 0x00000080
#define FILE_ATTRIBUTE_TEMPORARY 0x00000100
#define FILE_ATTRIBUTE_REPARSE_POINT 0x00000400
#define INVALID_FILE_ATTRIBUTES ((DWORD)-1)
#define REPLACEFILE_WRITE_THROUGH 0x00000001
#define MOVEFILE_REPLACE_EXISTING 0x00000001
#define MOVEFILE_WRITE_THROUGH 0x00000008

typedef struct _WIN32_FIND_DATAA {
    DWORD dwFileAttributes;
    FILETIME ftCreationTime;
    FILETIME ftLastAccessTime;
    FILETIME ftLastWriteTime;
    DWORD nFileSizeHigh;
    DWORD nFileSizeLow;
    DWORD dwReserved0;
    DWORD dwReserved1;
    CHAR cFileName[MAX_PATH];
    CHAR cAlternateFileName[14];
} WIN32_FIND_DATAA, *LPWIN32_FIND_DATAA;

// FILE_ATTRIBUTE_DIRECTORY, FILE_ATTRIBUTE_DEVICE for what is neither file nor folder (a
// FIFO, a socket, a device), FILE_ATTRIBUTE_READONLY without any write permission, else
// FILE_ATTRIBUTE_NORMAL. Links are followed; FILE_ATTRIBUTE_REPARSE_POINT for one that leads
// to a plain file as a process has it open (/dev/stdout). INVALID_FILE_ATTRIBUTES with the last
// error.
DWORD WINAPI GetFileAttributesA(LPCSTR name);
// FILE_ATTRIBUTE_READONLY takes every write permission; without that bit a file that has none
// gets its owner's back. Other bits say nothing here.
BOOL WINAPI SetFileAttributesA(LPCSTR name, DWORD attributes);
BOOL WINAPI CreateDirectoryA(LPCSTR name, LPSECURITY_ATTRIBUTES security);
// The last part of `mask` may hold "*" and "?". Names come in no order, "." and ".."
// among them.
HANDLE WINAPI FindFirstFileA(LPCSTR mask, LPWIN32_FIND_DATAA found);
BOOL WINAPI FindNextFileA(HANDLE search, LPWIN32_FIND_DATAA found);
BOOL WINAPI FindClose(HANDLE search);

// CREATE_NEW without sharing: the file has no name before its handle is closed, where the file
// system can hold such files, so that a process that ends before leaves nothing.
// FILE_ATTRIBUTE_TEMPORARY: only the owner may read it, and at a signal it goes, until
// MoveFileExA makes it an ordinary file, ReplaceFileA takes it or DeleteFileA does.
// OPEN_EXISTING for writing without FILE_SHARE_WRITE: ERROR_SHARING_VIOLATION while another
// process has the file open so.
HANDLE WINAPI CreateFileA(LPCSTR name, DWORD access, DWORD shareMode,
                          LPSECURITY_ATTRIBUTES security, DWORD disposition, DWORD flags,
                          HANDLE templateFile);
BOOL WINAPI FlushFileBuffers(HANDLE file);
BOOL WINAPI SetEndOfFile(HANDLE file);
BOOL WINAPI CloseHandle(HANDLE object);
BOOL WINAPI DeleteFileA(LPCSTR name);
BOOL WINAPI MoveFileExA(LPCSTR from, LPCSTR to, DWORD flags);
// Puts `replacement` in the place of the existing file `replaced`, which keeps its
// permissions, its owner and the links that lead to it. ERROR_SHARING_VIOLATION when this
// process has it open for writing without FILE_SHARE_WRITE, and it has become another file or
// was changed since. No backup is made. A failure leaves
// its content as it was, except ERROR_UNABLE_TO_MOVE_REPLACEMENT: then the replacement alone
// is whole and must not be deleted.
BOOL WINAPI ReplaceFileA(LPCSTR replaced, LPCSTR replacement, LPCSTR backup, DWORD flags,
                         LPVOID exclude, LPVOID reserved);

// ---- registry ----------------------------------------------------------------

#define HKEY_CLASSES_ROOT ((HKEY)(ULONG_PTR)0x80000000)
#define HKEY_CURRENT_USER ((HKEY)(ULONG_PTR)0x80000001)
#define HKEY_LOCAL_MACHINE ((HKEY)(ULONG_PTR)0x80000002)

#define KEY_QUERY_VALUE 0x0001
#define KEY_SET_VALUE 0x0002
#define KEY_ENUMERATE_SUB_KEYS 0x0008
#define KEY_READ 0x20019
#define KEY_WRITE 0x20006

#define REG_NONE 0
#define REG_SZ 1
#define REG_EXPAND_SZ 2
#define REG_BINARY 3
#define REG_DWORD 4
#define REG_MULTI_SZ 7
#define REG_QWORD 11

LSTATUS WINAPI RegOpenKeyExA(HKEY key, LPCSTR subKey, DWORD options, REGSAM access, HKEY* result);
LSTATUS WINAPI RegOpenKeyExW(HKEY key, LPCWSTR subKey, DWORD options, REGSAM access, HKEY* result);
LSTATUS WINAPI RegCloseKey(HKEY key);
LSTATUS WINAPI RegEnumKeyExA(HKEY key, DWORD index, LPSTR name, DWORD* nameSize, DWORD* reserved,
                             LPSTR className, DWORD* classSize, FILETIME* lastWrite);
LSTATUS WINAPI RegEnumKeyExW(HKEY key, DWORD index, LPWSTR name, DWORD* nameSize, DWORD* reserved,
                             LPWSTR className, DWORD* classSize, FILETIME* lastWrite);
LSTATUS WINAPI RegEnumValueA(HKEY key, DWORD index, LPSTR name, DWORD* nameSize, DWORD* reserved,
                             DWORD* type, BYTE* data, DWORD* dataSize);
LSTATUS WINAPI RegEnumValueW(HKEY key, DWORD index, LPWSTR name, DWORD* nameSize, DWORD* reserved,
                             DWORD* type, BYTE* data, DWORD* dataSize);
LSTATUS WINAPI RegQueryValueExA(HKEY key, LPCSTR name, DWORD* reserved, DWORD* type, BYTE* data,
                                DWORD* dataSize);
LSTATUS WINAPI RegQueryValueExW(HKEY key, LPCWSTR name, DWORD* reserved, DWORD* type, BYTE* data,
                                DWORD* dataSize);
// Lengths in characters without a terminator; data in bytes.
LSTATUS WINAPI RegQueryInfoKeyA(HKEY key, LPSTR className, DWORD* classSize, DWORD* reserved,
                                DWORD* subKeys, DWORD* longestSubKey, DWORD* longestClass,
                                DWORD* values, DWORD* longestValueName, DWORD* largestData,
                                DWORD* securitySize, FILETIME* lastWrite);
LSTATUS WINAPI RegQueryInfoKeyW(HKEY key, LPWSTR className, DWORD* classSize, DWORD* reserved,
                                DWORD* subKeys, DWORD* longestSubKey, DWORD* longestClass,
                                DWORD* values, DWORD* longestValueName, DWORD* largestData,
                                DWORD* securitySize, FILETIME* lastWrite);

#ifdef __cplusplus
}
#endif

#ifndef WIN32_LEAN_AND_MEAN
#include <wincrypt.h>
#endif
