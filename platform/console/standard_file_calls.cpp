// The standard handles and their console modes; reading and writing by handle.
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <functional>
#include <iterator>

#include "platform/base/errno_map.h"
#include "platform/base/error.h"
#include "platform/base/open_file.h"
#include "platform/console/terminal.h"

namespace platform {
namespace {

// A standard handle is the address of its entry.
constexpr int kDescriptors[] = {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO};
constexpr DWORD kHandleNames[] = {STD_INPUT_HANDLE, STD_OUTPUT_HANDLE, STD_ERROR_HANDLE};

HANDLE HandleOf(DWORD name) {
    for (std::size_t i = 0; i < std::size(kHandleNames); ++i) {
        if (kHandleNames[i] == name) return const_cast<int*>(&kDescriptors[i]);
    }
    throw Error(ERROR_INVALID_HANDLE);
}

int DescriptorOf(HANDLE handle) {
    for (const int& descriptor : kDescriptors) {
        if (handle == &descriptor) return descriptor;
    }
    throw Error(ERROR_INVALID_HANDLE);
}

bool IsStandard(HANDLE handle) {
    const std::less<const void*> before;
    return !before(handle, std::begin(kDescriptors)) && before(handle, std::end(kDescriptors));
}

// The modes handled here are those of an input; a redirected one has none.
int ConsoleInputOf(HANDLE handle) {
    const int descriptor = DescriptorOf(handle);
    if (descriptor != STDIN_FILENO || isatty(descriptor) == 0) throw Error(ERROR_INVALID_HANDLE);
    return descriptor;
}

termios ModesOf(int terminal) {
    termios modes{};
    if (tcgetattr(terminal, &modes) != 0) throw Error(ErrnoToCode(errno));
    return modes;
}

struct ModeBit {
    DWORD mode;
    tcflag_t flag;
};

constexpr ModeBit kModeBits[] = {
    {ENABLE_PROCESSED_INPUT, ISIG},
    {ENABLE_LINE_INPUT, ICANON},
    {ENABLE_ECHO_INPUT, ECHO},
};

DWORD ReadMode(int terminal) {
    const termios modes = ModesOf(terminal);
    DWORD mode = 0;
    for (const ModeBit& bit : kModeBits) {
        if ((modes.c_lflag & bit.flag) != 0) mode |= bit.mode;
    }
    return mode;
}

void WriteMode(int terminal, DWORD mode) {
    termios modes = ModesOf(terminal);
    for (const ModeBit& bit : kModeBits) {
        modes.c_lflag &= ~bit.flag;
        if ((mode & bit.mode) != 0) modes.c_lflag |= bit.flag;
    }
    if (!SetTerminalModes(terminal, modes)) throw Error(ErrnoToCode(errno));
}

DWORD ReadSome(int descriptor, void* buffer, DWORD size) {
    for (;;) {
        const ssize_t got = read(descriptor, buffer, size);
        if (got >= 0) return static_cast<DWORD>(got);
        if (errno != EINTR) throw Error(ErrnoToCode(errno));
    }
}

// What is left of the line is for nobody: the next question is another one, and the shell must
// not take the end of a password for a command.
void DropRestOfLine(int terminal) {
    for (int byte = ReadByte(terminal); byte >= 0 && byte != '\n';) byte = ReadByte(terminal);
}

// A console's line ends in CR LF; of one that does not fit the end is dropped.
DWORD ReadConsoleLine(int terminal, char* buffer, DWORD size) {
    if (size == 0) return 0;
    DWORD got = ReadSome(terminal, buffer, size);
    if (got == 0) return got;
    if (buffer[got - 1] != '\n') {
        if (got == size && (ModesOf(terminal).c_lflag & ICANON) != 0) DropRestOfLine(terminal);
        return got;
    }
    buffer[got - 1] = '\r';
    if (got < size) buffer[got++] = '\n';
    return got;
}

// A file gives what was asked for, up to its end.
DWORD ReadFully(int file, char* buffer, DWORD size) {
    DWORD length = 0;
    while (length < size) {
        const DWORD got = ReadSome(file, buffer + length, size - length);
        if (got == 0) break;
        length += got;
    }
    return length;
}

DWORD Read(HANDLE file, char* buffer, DWORD size) {
    if (!IsStandard(file)) return ReadFully(Resolve<OpenFile>(file)->Get(), buffer, size);
    const int descriptor = DescriptorOf(file);
    if (isatty(descriptor) == 0) return ReadSome(descriptor, buffer, size);
    // What was printed before stands on the screen before the user answers.
    std::fflush(stdout);
    return ReadConsoleLine(descriptor, buffer, size);
}

void WriteFully(int descriptor, const char* data, DWORD size, DWORD& written) {
    while (written < size) {
        const ssize_t done = write(descriptor, data + written, size - written);
        if (done < 0 && errno != EINTR) throw Error(ErrnoToCode(errno));
        if (done > 0) written += static_cast<DWORD>(done);
    }
}

void Write(HANDLE file, const char* data, DWORD size, DWORD& written) {
    if (!IsStandard(file)) return WriteFully(Resolve<OpenFile>(file)->Get(), data, size, written);
    const int descriptor = DescriptorOf(file);
    // Text printed through the streams before comes first.
    std::fflush(descriptor == STDERR_FILENO ? stderr : stdout);
    WriteFully(descriptor, data, size, written);
}

}  // namespace
}  // namespace platform

using namespace platform;

HANDLE WINAPI GetStdHandle(DWORD which) {
    return Guarded<HANDLE>(INVALID_HANDLE_VALUE, [&] { return HandleOf(which); });
}

BOOL WINAPI GetConsoleMode(HANDLE console, DWORD* mode) {
    return GuardedBool([&] {
        if (mode == nullptr) throw Error(ERROR_INVALID_PARAMETER);
        *mode = ReadMode(ConsoleInputOf(console));
    });
}

BOOL WINAPI SetConsoleMode(HANDLE console, DWORD mode) {
    return GuardedBool([&] { WriteMode(ConsoleInputOf(console), mode); });
}

BOOL WINAPI ReadFile(HANDLE file, LPVOID buffer, DWORD size, DWORD* read, LPOVERLAPPED overlapped) {
    return GuardedBool([&] {
        if (buffer == nullptr || read == nullptr || overlapped != nullptr) {
            throw Error(ERROR_INVALID_PARAMETER);
        }
        *read = 0;
        *read = Read(file, static_cast<char*>(buffer), size);
    });
}

BOOL WINAPI WriteFile(HANDLE file, LPCVOID data, DWORD size, DWORD* written,
                      LPOVERLAPPED overlapped) {
    return GuardedBool([&] {
        if (data == nullptr || written == nullptr || overlapped != nullptr) {
            throw Error(ERROR_INVALID_PARAMETER);
        }
        *written = 0;
        Write(file, static_cast<const char*>(data), size, *written);
    });
}
