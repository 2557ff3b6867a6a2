#include "OutputFiles.h"

#include "Failure.h"

#include <cerrno>
#include <cstdio>
#include <filesystem>

#include <fcntl.h>
#include <sys/stat.h>
#if defined(_WIN32)
#include <io.h>
#include <windows.h>
#else
#include <unistd.h>
#endif

namespace {

Failure cannotWrite(const std::string& name) {
    return failure(kBadOutput, "cannot write '" + name + "'");
}

// File names stay in the encoding of the command line, which std::filesystem would not keep on
// Windows; hence the functions of C.

enum class Kind { kNothing, kPlainFile, kReadOnlyFile, kFolder, kOther };

Kind kindOf(const std::string& path) {
    struct stat status = {};
    if (stat(path.c_str(), &status) != 0) {
        return Kind::kNothing;
    }
    if (S_ISDIR(status.st_mode)) {
        return Kind::kFolder;
    }
    if (!S_ISREG(status.st_mode)) {
        return Kind::kOther;
    }
    // The permission bits count for a superuser too.
    constexpr int kAnyoneWrites = 0222;
    const bool writable = (status.st_mode & kAnyoneWrites) != 0 && access(path.c_str(), W_OK) == 0;
    return writable ? Kind::kPlainFile : Kind::kReadOnlyFile;
}

/// Where a chain of links ends, also when nothing is there.
std::string behindLinks(const std::string& path) {
#if defined(_WIN32)
    return path;
#else
    namespace fs = std::filesystem;
    constexpr int kLongestChain = 40; // that of Linux
    fs::path result = path;
    std::error_code error;
    for (int i = 0; i < kLongestChain && fs::is_symlink(result, error); ++i) {
        const fs::path next = fs::read_symlink(result, error);
        result = next.is_absolute() ? next : result.parent_path() / next;
    }
    return result.string();
#endif
}

/// The folder of a path with its last separator; empty for the current one.
std::string folderOf(const std::string& path) {
#if defined(_WIN32)
    const std::size_t end = path.find_last_of("/\\:");
#else
    const std::size_t end = path.find_last_of('/');
#endif
    return end == std::string::npos ? "" : path.substr(0, end + 1);
}

bool createNew(const std::string& path) {
#if defined(_WIN32)
    const int file = _open(path.c_str(), _O_CREAT | _O_EXCL | _O_WRONLY | _O_BINARY, _S_IREAD | _S_IWRITE);
    return file >= 0 && _close(file) == 0;
#else
    constexpr int kEveryoneReadsAndWrites = 0666; // less what the user's mask takes away
    const int file = open(path.c_str(), O_CREAT | O_EXCL | O_WRONLY | O_CLOEXEC, kEveryoneReadsAndWrites);
    return file >= 0 && close(file) == 0;
#endif
}

/// Makes an empty file with a name that nothing had; an empty name when `folder` allows none.
std::string createTemporary(const std::string& folder) {
    constexpr int kTries = 1000; // left-overs of programs that were stopped, and programs beside us
    for (int i = 0; i < kTries; ++i) {
        std::string path = folder + "qvshade-" + std::to_string(i) + ".tmp";
        if (createNew(path)) {
            return path;
        }
        if (errno != EEXIST) {
            break;
        }
    }
    return {};
}

bool writeFile(const std::string& path, const std::string& bytes) {
    std::FILE* file = std::fopen(path.c_str(), "wb");
    if (file == nullptr) {
        return false;
    }
    const bool written = std::fwrite(bytes.data(), 1, bytes.size(), file) == bytes.size();
    return std::fclose(file) == 0 && written;
}

bool readFile(const std::string& path, std::string& bytes) {
    std::FILE* file = std::fopen(path.c_str(), "rb");
    if (file == nullptr) {
        return false;
    }
    constexpr std::size_t kBlockSize = 65536;
    std::string block(kBlockSize, '\0');
    std::size_t size = 0;
    while ((size = std::fread(block.data(), 1, block.size(), file)) > 0) {
        bytes.append(block, 0, size);
    }
    const bool read = std::ferror(file) == 0;
    std::fclose(file);
    return read;
}

bool moveOver(const std::string& from, const std::string& to) {
#if defined(_WIN32)
    return MoveFileExA(from.c_str(), to.c_str(), MOVEFILE_REPLACE_EXISTING) != 0;
#else
    return std::rename(from.c_str(), to.c_str()) == 0;
#endif
}

/// On Windows a file's permissions are those of its folder.
void copyPermissions([[maybe_unused]] const std::string& from, [[maybe_unused]] const std::string& to) {
#if !defined(_WIN32)
    struct stat status = {};
    constexpr unsigned int kPermissions = 07777;
    if (stat(from.c_str(), &status) == 0) {
        // Where they cannot be set, those of a new file do.
        static_cast<void>(chmod(to.c_str(), status.st_mode & kPermissions));
    }
#endif
}

} // namespace

OutputFiles::~OutputFiles() {
    undo();
}

void OutputFiles::add(const std::string& file, const std::string& bytes) {
    if (!writeFile(reserve(file), bytes)) {
        throw cannotWrite(file);
    }
}

std::string OutputFiles::reserve(const std::string& file) {
    Entry entry;
    entry.name = file;
    entry.target = behindLinks(file);
    const Kind kind = kindOf(entry.target);
    if (kind == Kind::kFolder || kind == Kind::kReadOnlyFile) {
        throw cannotWrite(file);
    }
    if (kind != Kind::kOther) {
        entry.temporary = createTemporary(folderOf(entry.target));
    }
    if (entry.temporary.empty()) {
        if (kind == Kind::kNothing) {
            throw cannotWrite(file);
        }
        entry.inPlace = true;
        std::error_code error;
        const std::string folder = std::filesystem::temp_directory_path(error).string();
        entry.temporary = createTemporary(error ? "" : folder + "/");
        if (entry.temporary.empty()) {
            throw cannotWrite(file);
        }
    }
    fEntries.push_back(entry);
    return entry.temporary;
}

void OutputFiles::commit() {
    for (const Entry& entry : fEntries) {
        if (entry.inPlace) {
            writeInPlace(entry);
        }
    }
    for (Entry& entry : fEntries) {
        if (!entry.inPlace) {
            // The last one can no longer be followed by a failure.
            rename(entry, &entry != &fEntries.back());
        }
    }
    for (Entry& entry : fEntries) {
        if (!entry.old.empty()) {
            std::remove(entry.old.c_str());
        }
        if (entry.inPlace) {
            std::remove(entry.temporary.c_str());
        }
    }
    fEntries.clear();
}

void OutputFiles::writeInPlace(const Entry& entry) {
    std::string bytes;
    if (!readFile(entry.temporary, bytes) || !writeFile(entry.target, bytes)) {
        throw cannotWrite(entry.name);
    }
}

void OutputFiles::rename(Entry& entry, bool keepOld) {
    const bool exists = kindOf(entry.target) != Kind::kNothing;
    if (exists) {
        copyPermissions(entry.target, entry.temporary);
        if (keepOld) {
            entry.old = createTemporary(folderOf(entry.target));
            if (entry.old.empty() || !moveOver(entry.target, entry.old)) {
                // What is under that name is still the empty file.
                std::remove(entry.old.c_str());
                entry.old.clear();
                throw cannotWrite(entry.name);
            }
        }
    }
    if (!moveOver(entry.temporary, entry.target)) {
        throw cannotWrite(entry.name);
    }
    entry.temporary.clear();
    entry.renamed = true;
}

void OutputFiles::undo() {
    for (const Entry& entry : fEntries) {
        if (!entry.old.empty()) {
            moveOver(entry.old, entry.target);
        } else if (entry.renamed) {
            std::remove(entry.target.c_str());
        }
        if (!entry.temporary.empty()) {
            std::remove(entry.temporary.c_str());
        }
    }
    fEntries.clear();
}
