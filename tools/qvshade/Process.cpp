#include "Process.h"

#include <algorithm>
#include <cstdlib>
#include <sstream>
#include <thread>

#if defined(_WIN32)
#include <windows.h>
#else
#include <cerrno>
#include <csignal>
#include <fcntl.h>
#include <spawn.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>
#endif

namespace {

constexpr std::size_t kBlockSize = 65536;

#if defined(_WIN32)

constexpr char kPathSeparator = ';';
constexpr const char* kProgramEnding = ".exe";

bool isProgram(const std::string& path) {
    const DWORD attributes = GetFileAttributesA(path.c_str());
    return attributes != INVALID_FILE_ATTRIBUTES && (attributes & FILE_ATTRIBUTE_DIRECTORY) == 0;
}

/// A handle that is closed when it goes out of sight, or before.
class Handle {
public:
    Handle() = default;
    Handle(const Handle&) = delete;
    Handle& operator=(const Handle&) = delete;
    ~Handle() { close(); }

    HANDLE get() const { return fHandle; }
    HANDLE* place() { return &fHandle; }
    void close() {
        if (fHandle != nullptr) {
            CloseHandle(fHandle);
            fHandle = nullptr;
        }
    }

private:
    HANDLE fHandle = nullptr;
};

bool writeAll(HANDLE pipe, const std::string& text) {
    std::size_t done = 0;
    while (done < text.size()) {
        const auto size = static_cast<DWORD>(std::min(kBlockSize, text.size() - done));
        DWORD written = 0;
        if (!WriteFile(pipe, text.data() + done, size, &written, nullptr)) {
            return false;
        }
        done += written;
    }
    return true;
}

void readAll(HANDLE pipe, std::string& text) {
    std::string block(kBlockSize, '\0');
    DWORD size = 0;
    while (ReadFile(pipe, block.data(), static_cast<DWORD>(block.size()), &size, nullptr) && size > 0) {
        text.append(block, 0, size);
    }
}

#else

constexpr char kPathSeparator = ':';
constexpr const char* kProgramEnding = "";

bool isProgram(const std::string& path) {
    struct stat status = {};
    return stat(path.c_str(), &status) == 0 && S_ISREG(status.st_mode) && access(path.c_str(), X_OK) == 0;
}

/// The two ends of a pipe; no program that is started keeps one unless it is told to.
class Pipe {
public:
    Pipe() = default;
    Pipe(const Pipe&) = delete;
    Pipe& operator=(const Pipe&) = delete;
    ~Pipe() {
        closeReadEnd();
        closeWriteEnd();
    }

    bool open() { return pipe2(fEnds, O_CLOEXEC) == 0; }
    int readEnd() const { return fEnds[0]; }
    int writeEnd() const { return fEnds[1]; }
    void closeReadEnd() { close(fEnds[0]); }
    void closeWriteEnd() { close(fEnds[1]); }

private:
    static void close(int& end) {
        if (end >= 0) {
            ::close(end);
            end = -1;
        }
    }

    int fEnds[2] = {-1, -1};
};

bool writeAll(int pipe, const std::string& text) {
    std::size_t done = 0;
    while (done < text.size()) {
        const ssize_t size = write(pipe, text.data() + done, text.size() - done);
        if (size < 0 && errno != EINTR) {
            return false;
        }
        done += size < 0 ? 0 : static_cast<std::size_t>(size);
    }
    return true;
}

void readAll(int pipe, std::string& text) {
    std::string block(kBlockSize, '\0');
    for (;;) {
        const ssize_t size = read(pipe, block.data(), block.size());
        if (size == 0 || (size < 0 && errno != EINTR)) {
            return;
        }
        text.append(block, 0, size < 0 ? 0 : static_cast<std::size_t>(size));
    }
}

#endif

} // namespace

std::string findProgram(const std::string& name) {
    const char* path = std::getenv("PATH");
    std::istringstream folders(path == nullptr ? "" : path);
    for (std::string file; std::getline(folders, file, kPathSeparator);) {
        if (!file.empty() && isProgram(file.append("/").append(name).append(kProgramEnding))) {
            return file;
        }
    }
    return {};
}

#if defined(_WIN32)

bool runProgram(const std::string& path, const std::string& argument, const std::string& input,
                std::string& output) {
    Handle inputRead;
    Handle inputWrite;
    Handle outputRead;
    Handle outputWrite;
    SECURITY_ATTRIBUTES inheritable = {sizeof(SECURITY_ATTRIBUTES), nullptr, TRUE};
    if (!CreatePipe(inputRead.place(), inputWrite.place(), &inheritable, 0) ||
        !CreatePipe(outputRead.place(), outputWrite.place(), &inheritable, 0)) {
        return false;
    }
    // The program would wait for the end of its input for ever if it held our end of it.
    SetHandleInformation(inputWrite.get(), HANDLE_FLAG_INHERIT, 0);
    SetHandleInformation(outputRead.get(), HANDLE_FLAG_INHERIT, 0);

    STARTUPINFOA start = {};
    start.cb = sizeof(start);
    start.dwFlags = STARTF_USESTDHANDLES;
    start.hStdInput = inputRead.get();
    start.hStdOutput = outputWrite.get();
    start.hStdError = GetStdHandle(STD_ERROR_HANDLE);
    PROCESS_INFORMATION started = {};
    std::string words = "\"" + path + "\" " + argument; // no file name has a quote there
    if (!CreateProcessA(path.c_str(), words.data(), nullptr, nullptr, TRUE, 0, nullptr, nullptr, &start,
                        &started)) {
        return false;
    }
    Handle process;
    *process.place() = started.hProcess;
    CloseHandle(started.hThread);
    inputRead.close();
    outputWrite.close();

    bool written = false;
    std::thread writer([&] {
        written = writeAll(inputWrite.get(), input);
        inputWrite.close();
    });
    readAll(outputRead.get(), output);
    outputRead.close();
    writer.join();
    DWORD status = 1;
    WaitForSingleObject(process.get(), INFINITE);
    return GetExitCodeProcess(process.get(), &status) && status == 0 && written;
}

#else

bool runProgram(const std::string& path, const std::string& argument, const std::string& input,
                std::string& output) {
    Pipe in;
    Pipe out;
    if (!in.open() || !out.open()) {
        return false;
    }
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_adddup2(&actions, in.readEnd(), STDIN_FILENO);
    posix_spawn_file_actions_adddup2(&actions, out.writeEnd(), STDOUT_FILENO);
    std::string first = path;
    std::string second = argument;
    char* const words[] = {first.data(), second.data(), nullptr};
    pid_t process = 0;
    const int error = posix_spawn(&process, path.c_str(), &actions, nullptr, words, environ);
    posix_spawn_file_actions_destroy(&actions);
    if (error != 0) {
        return false;
    }
    in.closeReadEnd();
    out.closeWriteEnd();

    std::signal(SIGPIPE, SIG_IGN); // a program that ends early is a failure, not our end
    bool written = false;
    std::thread writer([&] {
        written = writeAll(in.writeEnd(), input);
        in.closeWriteEnd();
    });
    readAll(out.readEnd(), output);
    out.closeReadEnd();
    writer.join();
    int status = 0;
    while (waitpid(process, &status, 0) < 0) {
        if (errno != EINTR) {
            return false;
        }
    }
    return WIFEXITED(status) && WEXITSTATUS(status) == 0 && written;
}

#endif
