#include "imaging/OutputFile.h"

#include <atomic>
#include <cerrno>
#include <fcntl.h>
#include <string>
#include <sys/stat.h>

#if defined(_WIN32)
#include <io.h>
#include <process.h>
#include <windows.h>
#else
#include <unistd.h>
#endif

// The system's functions, in the two spellings of paths.

namespace {

using Text = std::basic_string<FilePath::Char>;

#if defined(_WIN32)

using Status = struct _stat64;

bool statusOf(const FilePath& path, Status& status) {
    return _wstat64(path.c_str(), &status) == 0;
}

std::FILE* openForReading(const FilePath& path) {
    return _wfopen(path.c_str(), L"rb");
}

// A new file; null with `errno` when there is one or none can be made.
std::FILE* createFile(const FilePath& path) {
    const int handle = _wopen(path.c_str(), _O_CREAT | _O_EXCL | _O_WRONLY | _O_BINARY, _S_IREAD | _S_IWRITE);
    std::FILE* const file = handle >= 0 ? _fdopen(handle, "wb") : nullptr;
    if (handle >= 0 && !file) { // no memory for it
        _close(handle);
        _wremove(path.c_str());
        errno = ENOMEM;
    }
    return file;
}

std::FILE* openForChanging(const FilePath& path) {
    return _wfopen(path.c_str(), L"r+b");
}

bool cutOff(std::FILE* file, std::size_t size) {
    return std::fflush(file) == 0 && _chsize_s(_fileno(file), static_cast<long long>(size)) == 0;
}

bool mayWrite(const FilePath& /*path*/, const Status& status) {
    return (status.st_mode & _S_IWRITE) != 0;
}

// What is there before is replaced, also while it is in use by those who allow that.
bool rename(const FilePath& from, const FilePath& to) {
    return MoveFileExW(from.c_str(), to.c_str(), MOVEFILE_REPLACE_EXISTING) != 0;
}

void remove(const FilePath& path) {
    _wremove(path.c_str());
}

// The attributes of a file stay with its name.
void keepMode(std::FILE* /*file*/, const Status& /*status*/) {}

FilePath behindLinks(const FilePath& path) {
    const DWORD attributes = GetFileAttributesW(path.c_str());
    if (attributes == INVALID_FILE_ATTRIBUTES || !(attributes & FILE_ATTRIBUTE_REPARSE_POINT)) {
        return path;
    }
    const HANDLE file = CreateFileW(path.c_str(), 0, FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE,
                                    nullptr, OPEN_EXISTING, FILE_FLAG_BACKUP_SEMANTICS, nullptr);
    if (file == INVALID_HANDLE_VALUE) {
        return path;
    }
    constexpr DWORD kLongestPath = 32768;
    Text target(kLongestPath, L'\0');
    const DWORD length = GetFinalPathNameByHandleW(file, target.data(), kLongestPath, 0);
    CloseHandle(file);
    if (length == 0 || length >= kLongestPath) {
        return path;
    }
    target.resize(length);
    return target;
}

Text temporaryName(unsigned int number) {
    return L"qv-" + std::to_wstring(_getpid()) + L"-" + std::to_wstring(number) + L".tmp";
}

constexpr const wchar_t* kSeparators = L"/\\:";

#else

using Status = struct stat;

bool statusOf(const FilePath& path, Status& status) {
    return stat(path.c_str(), &status) == 0;
}

std::FILE* openForReading(const FilePath& path) {
    return std::fopen(path.c_str(), "rb");
}

// A new file; null with `errno` when there is one or none can be made.
std::FILE* createFile(const FilePath& path) {
    const int handle = open(path.c_str(), O_CREAT | O_EXCL | O_WRONLY | O_CLOEXEC, 0666);
    std::FILE* const file = handle >= 0 ? fdopen(handle, "wb") : nullptr;
    if (handle >= 0 && !file) { // no memory for it
        close(handle);
        unlink(path.c_str());
        errno = ENOMEM;
    }
    return file;
}

std::FILE* openForChanging(const FilePath& path) {
    return std::fopen(path.c_str(), "r+b");
}

bool cutOff(std::FILE* file, std::size_t size) {
    return std::fflush(file) == 0 && ftruncate(fileno(file), static_cast<off_t>(size)) == 0;
}

// The mode counts for the superuser, too.
bool mayWrite(const FilePath& path, const Status& status) {
    return (status.st_mode & 0222) != 0 && access(path.c_str(), W_OK) == 0;
}

bool rename(const FilePath& from, const FilePath& to) {
    return std::rename(from.c_str(), to.c_str()) == 0;
}

void remove(const FilePath& path) {
    std::remove(path.c_str());
}

// Another owner or group is kept where the system allows that; bits that lend an owner's rights are not.
void keepMode(std::FILE* file, const Status& status) {
    if (fchown(fileno(file), status.st_uid, status.st_gid) != 0 &&
        fchown(fileno(file), static_cast<uid_t>(-1), status.st_gid) != 0) {
        errno = 0;
    }
    fchmod(fileno(file), status.st_mode & 0777);
}

// Where a chain of links ends, also when nothing is there.
FilePath behindLinks(const FilePath& path) {
    constexpr int kLongestChain = 40; // that of Linux
    constexpr std::size_t kLongestPath = 4096;
    Text target = path.text();
    for (int i = 0; i < kLongestChain; ++i) {
        Text next(kLongestPath, '\0');
        const ssize_t length = readlink(target.c_str(), next.data(), next.size());
        if (length <= 0) {
            return target;
        }
        next.resize(static_cast<std::size_t>(length));
        if (next[0] == '/') {
            target = next;
        } else {
            target.resize(target.rfind('/') + 1); // none: npos + 1 is 0
            target += next;
        }
    }
    return {}; // the links lead nowhere
}

Text temporaryName(unsigned int number) {
    return "qv-" + std::to_string(getpid()) + "-" + std::to_string(number) + ".tmp";
}

constexpr const char* kSeparators = "/";

#endif

bool isOrdinary(const Status& status) {
    return (status.st_mode & S_IFMT) == S_IFREG;
}

} // namespace

FilePath::FilePath(const char* path) {
#if defined(_WIN32)
    const int length = path ? MultiByteToWideChar(CP_ACP, MB_ERR_INVALID_CHARS, path, -1, nullptr, 0) : 0;
    if (length > 0) {
        fPath.resize(static_cast<std::size_t>(length));
        MultiByteToWideChar(CP_ACP, MB_ERR_INVALID_CHARS, path, -1, fPath.data(), length);
        fPath.pop_back(); // the closing zero
    }
#else
    fPath = path ? path : "";
#endif
}

std::FILE* openOrdinaryFile(const FilePath& path) {
    Status status = {};
    return statusOf(path, status) && isOrdinary(status) ? openForReading(path) : nullptr;
}

bool OutputFile::begin(const FilePath& path) {
    discard();
    fTarget = behindLinks(path);
    Status status = {};
    const bool exists = statusOf(fTarget, status);
    if (fTarget.isEmpty() || (exists && (!isOrdinary(status) || !mayWrite(fTarget, status)))) {
        return false;
    }
    if (openTemporary()) {
        if (exists) {
            keepMode(fFile, status);
        }
        return true;
    }
    // On a full disk there is no writing in place, which would lose what is there.
    return exists && (errno == EACCES || errno == EPERM) && openInPlace();
}

// Beside the target; a short name leaves the target's all the length that the file system allows.
bool OutputFile::openTemporary() {
    static std::atomic<unsigned int> fsNumber{0};
    Text folder = fTarget.text();
    folder.resize(folder.find_last_of(kSeparators) + 1); // none: npos + 1 is 0
    constexpr int kAttempts = 100;                       // what an earlier process left behind is passed over
    for (int attempt = 0; attempt < kAttempts; ++attempt) {
        fTemporary = folder + temporaryName(fsNumber++);
        fFile = createFile(fTemporary);
        if (fFile || errno != EEXIST) {
            break;
        }
    }
    return fFile != nullptr;
}

bool OutputFile::openInPlace() {
    fTemporary = FilePath();
    fFile = openForChanging(fTarget);
    return fFile != nullptr;
}

bool OutputFile::write(const unsigned char* bytes, std::size_t count) {
    fComplete =
        std::fwrite(bytes, 1, count, fFile) == count && (!fTemporary.isEmpty() || cutOff(fFile, count));
    return fComplete;
}

bool OutputFile::finish() {
    if (!fFile) {
        return false;
    }
    const bool complete = std::fclose(fFile) == 0 && fComplete;
    fFile = nullptr;
    fComplete = false;
    if (fTemporary.isEmpty() || (complete && rename(fTemporary, fTarget))) {
        return complete;
    }
    remove(fTemporary);
    return false;
}

void OutputFile::discard() {
    fComplete = false;
    finish();
}
